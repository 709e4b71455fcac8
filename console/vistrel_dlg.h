// CVistrelDlg: the plug-in's page. This header is extended by the console; the operations
// below are the ones the frame's commands use and must keep their meaning.
#pragma once

#include <cstdint>

#include "platform/types.h"

class CVistrelDlg {
public:
    // Constructs the page object with the host's drawing resources; no window exists yet.
    explicit CVistrelDlg(void* gdiManager);
    virtual ~CVistrelDlg();

    // Creates the modeless page window from dialog template templateId as a child of parent.
    bool Create(std::uint32_t templateId, platform::WindowHandle parent);
    // The page's window, or null when there is none.
    platform::WindowHandle GetSafeHwnd() const;
    // ShowWindow on the page window (platform::kSwShow / kSwHide). Showing starts a population,
    // hiding stops one.
    void ShowWindow(int command);
    // SendMessageW(WM_CLOSE) to the page window.
    void SendClose();
    // Destroys the page window.
    void DestroyWindow();
};
