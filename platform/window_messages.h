// Windows and messages concern: finding other programs' windows and talking to them.
#pragma once

#include <cstdint>

#include "platform/types.h"

namespace platform {

inline constexpr std::uint32_t kWmKeyDown = 0x0100;
inline constexpr std::uint32_t kWmChar = 0x0102;
inline constexpr std::uint32_t kVkHome = 36;
inline constexpr std::uint32_t kVkLeft = 37;
inline constexpr std::uint32_t kVkRight = 39;

class Windows {
  public:
    virtual ~Windows() = default;

    // FindWindowW: class and title compared as Windows does; null when none.
    virtual WindowHandle Find(const char16_t* className, const char16_t* title) = 0;
    // FindWindowExW.
    virtual WindowHandle FindChild(WindowHandle parent, WindowHandle after,
                                   const char16_t* className, const char16_t* title) = 0;
    virtual bool IsWindow(WindowHandle window) = 0;
    // GetWindowThreadProcessId: the owning process, 0 for no window.
    virtual std::uint32_t GetProcessId(WindowHandle window) = 0;
    // GetWindowPlacement (length 44): the showCmd field. False when the call fails.
    virtual bool GetShowCommand(WindowHandle window, std::uint32_t* showCmd) = 0;
    virtual bool Show(WindowHandle window, int command) = 0;
    virtual bool SetForeground(WindowHandle window) = 0;
    virtual bool SetFocus(WindowHandle window) = 0;
    // SendMessageW (named Send: windows.h makes SendMessage a macro).
    virtual std::intptr_t Send(WindowHandle window, std::uint32_t message, std::uintptr_t wParam,
                               std::intptr_t lParam) = 0;
    virtual void Sleep(std::uint32_t milliseconds) = 0;
};

}  // namespace platform
