// CConfirmDlg: the modal question in front of Remove, with a box to stop asking.
#pragma once

#include <cstdint>

#include "console/text_for_control.h"
#include "libs/talguictl/tal_controls.h"

namespace console::win32 {

class CConfirmDlg : public CTalDialog {
  public:
    CConfirmDlg(void* parent, TextForControl* texts);
    // DialogBoxParamW of template 22036 from module: IDOK, IDCANCEL, or -1/0 when it could not
    // be shown.
    std::intptr_t DoModal(void* module);

    // The dialog procedure's work on WM_INITDIALOG and WM_DESTROY; window is the HWND.
    void OnInitDialog(void* window);
    void OnDestroy(void* window);

    bool askAlways = true;  // after the window has gone: false if the box was ticked

  private:
    void* parent_;
    TextForControl* texts_;
    CTalButton okButton;
    CTalButton cancelButton;
    CTalCheckbox askCheck;
    CTalStatic messageStatic;
    CTalStatic titleStatic;
};

}  // namespace console::win32
