// The windows concern: other programs' windows through user32.
#include "platform/win32/win32_concerns.h"
#include "platform/win32/windows_api.h"
#include "platform/window_messages.h"

namespace platform::win32 {
namespace {

HWND ToHwnd(WindowHandle window) {
    return reinterpret_cast<HWND>(window);
}
WindowHandle FromHwnd(HWND window) {
    return reinterpret_cast<WindowHandle>(window);
}

class Win32Windows final : public Windows {
  public:
    WindowHandle Find(const char16_t* className, const char16_t* title) override {
        return FromHwnd(::FindWindowW(Wide(className), Wide(title)));
    }

    WindowHandle FindChild(WindowHandle parent, WindowHandle after, const char16_t* className,
                           const char16_t* title) override {
        return FromHwnd(
            ::FindWindowExW(ToHwnd(parent), ToHwnd(after), Wide(className), Wide(title)));
    }

    bool IsWindow(WindowHandle window) override { return ::IsWindow(ToHwnd(window)) != FALSE; }

    std::uint32_t GetProcessId(WindowHandle window) override {
        DWORD process = 0;
        if (::GetWindowThreadProcessId(ToHwnd(window), &process) == 0) return 0;
        return process;
    }

    bool GetShowCommand(WindowHandle window, std::uint32_t* showCmd) override {
        WINDOWPLACEMENT placement = {};
        placement.length = sizeof(placement);
        if (!::GetWindowPlacement(ToHwnd(window), &placement)) return false;
        *showCmd = placement.showCmd;
        return true;
    }

    bool Show(WindowHandle window, int command) override {
        return ::ShowWindow(ToHwnd(window), command) != FALSE;
    }

    bool SetForeground(WindowHandle window) override {
        return ::SetForegroundWindow(ToHwnd(window)) != FALSE;
    }

    bool SetFocus(WindowHandle window) override { return ::SetFocus(ToHwnd(window)) != nullptr; }

    std::intptr_t Send(WindowHandle window, std::uint32_t message, std::uintptr_t wParam,
                       std::intptr_t lParam) override {
        return ::SendMessageW(ToHwnd(window), message, wParam, lParam);
    }

    void Sleep(std::uint32_t milliseconds) override { ::Sleep(milliseconds); }
};

}  // namespace

Windows& WindowsBackend() {
    static Win32Windows instance;
    return instance;
}

}  // namespace platform::win32
