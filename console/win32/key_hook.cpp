#include "console/win32/key_hook.h"

#include "console/win32/win32_view.h"
#include "platform/win32/windows_api.h"

namespace console::win32 {
namespace {

// One page per thread is what a host shows; the hook belongs to the page's thread.
thread_local HHOOK t_hook = nullptr;
thread_local CWin32VistrelView* t_view = nullptr;

bool IsPageKey(WPARAM key) {
    return key == VK_RETURN || key == VK_ESCAPE || key == VK_DELETE || key == VK_F5;
}

LRESULT CALLBACK GetMessageHook(int code, WPARAM removal, LPARAM lParam) {
    // Only a message that leaves the queue counts, so that a peek doesn't handle a key twice.
    if (code == HC_ACTION && removal == PM_REMOVE && t_view) {
        MSG* msg = reinterpret_cast<MSG*>(lParam);
        if (msg->message == WM_KEYDOWN && IsPageKey(msg->wParam) && t_view->Contains(msg->hwnd)) {
            t_view->PostKey(static_cast<std::uint32_t>(msg->wParam));
            msg->message = WM_NULL;
        }
    }
    return CallNextHookEx(t_hook, code, removal, lParam);
}

}  // namespace

void InstallKeyHook(CWin32VistrelView* view) {
    t_view = view;
    if (t_hook == nullptr)
        t_hook = SetWindowsHookExW(WH_GETMESSAGE, &GetMessageHook, nullptr, GetCurrentThreadId());
}

void RemoveKeyHook(CWin32VistrelView* view) {
    if (t_view != view) return;
    t_view = nullptr;
    if (t_hook) UnhookWindowsHookEx(t_hook);
    t_hook = nullptr;
}

}  // namespace console::win32
