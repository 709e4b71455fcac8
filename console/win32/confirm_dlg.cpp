#include "console/win32/confirm_dlg.h"

#include <string>

#include "libs/talguictl/tal_skins.h"
#include "platform/win32/windows_api.h"

namespace console::win32 {
namespace {
constexpr std::uint32_t kTemplate = 22036;
constexpr int kCheckId = 22035;
constexpr int kMessageId = 22037;
constexpr int kTitleId = 22001;

const wchar_t* Wide(const std::u16string& text) {
    return reinterpret_cast<const wchar_t*>(text.c_str());
}

INT_PTR CALLBACK ConfirmProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    auto* self = reinterpret_cast<CConfirmDlg*>(GetWindowLongPtrW(window, DWLP_USER));
    switch (message) {
        case WM_INITDIALOG:
            SetWindowLongPtrW(window, DWLP_USER, lParam);
            reinterpret_cast<CConfirmDlg*>(lParam)->OnInitDialog(window);
            return TRUE;
        case WM_COMMAND:
            if (LOWORD(wParam) == IDOK || LOWORD(wParam) == IDCANCEL) {
                EndDialog(window, LOWORD(wParam));
                return TRUE;
            }
            return FALSE;
        case WM_CLOSE:
            // The close box counts as Cancel.
            EndDialog(window, IDCANCEL);
            return TRUE;
        case WM_DESTROY:
            if (self) self->OnDestroy(window);
            return FALSE;
        default:
            return FALSE;
    }
}
}  // namespace

CConfirmDlg::CConfirmDlg(void* parent, TextForControl* texts)
    : CTalDialog(kTemplate), parent_(parent), texts_(texts) {
    SetSkin(talskin::kPopupSmall);
}

std::intptr_t CConfirmDlg::DoModal(void* module) {
    return DialogBoxParamW(static_cast<HINSTANCE>(module), MAKEINTRESOURCEW(kTemplate),
                           static_cast<HWND>(parent_), &ConfirmProc,
                           reinterpret_cast<LPARAM>(this));
}

void CConfirmDlg::OnInitDialog(void* window) {
    HWND dialog = static_cast<HWND>(window);
    okButton.SetSkin(talskin::kButtonSmall);
    cancelButton.SetSkin(talskin::kButtonSmall);
    askCheck.SetSkin(talskin::kCheckbox);
    messageStatic.SetSkin(talskin::kDefault);
    titleStatic.SetSkin(talskin::kTitleWhite);
    std::u16string text;
    texts_->GetText(22478, text);
    SetDlgItemTextW(dialog, kTitleId, Wide(text));
    SetWindowTextW(dialog, Wide(text));
    texts_->GetText(22480, text);
    SetDlgItemTextW(dialog, IDCANCEL, Wide(text));
    texts_->GetText(22479, text);
    SetDlgItemTextW(dialog, IDOK, Wide(text));
    texts_->GetText(22481, text);
    SetDlgItemTextW(dialog, kCheckId, Wide(text));
    texts_->GetText(22482, text);
    SetDlgItemTextW(dialog, kMessageId, Wide(text));
}

void CConfirmDlg::OnDestroy(void* window) {
    // The box is read here: once DialogBoxParamW has returned the control is gone.
    askCheck.SetCheckState(
        IsDlgButtonChecked(static_cast<HWND>(window), kCheckId) == BST_CHECKED ? 1 : 0);
    askAlways = askCheck.GetCheck() != 1;
}

}  // namespace console::win32
