// The memory windows: other programs' windows as set up, found as FindWindow finds them, and
// every call of the concern written to a log. The log's lines:
//   "Find <class> <title>"            (a null argument shows as "(null)")
//   "FindChild <parent> <after> <class> <title>"
//   "IsWindow <w>"  "GetProcessId <w>"  "GetShowCommand <w>"
//   "Show <w> <command>"  "SetForeground <w>"  "SetFocus <w>"
//   "Send <w> <message> <wParam> <lParam>"  (decimal numbers)
//   "Sleep <milliseconds>"
// Handles show as "0x" and lower-case hex digits.
#include <cstdio>

#include "platform/memory/memory_state.h"
#include "platform/memory/memory_text.h"

namespace platform::memory::detail {
namespace {

std::string Arg(const char16_t* text) {
    return text == nullptr ? "(null)" : ToUtf8(text);
}

}  // namespace

std::string HandleText(WindowHandle window) {
    char text[32];
    std::snprintf(text, sizeof text, "0x%llx",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(window)));
    return text;
}

void MemoryWindows::Log(std::string call) {
    calls.push_back(std::move(call));
}

WindowRecord* MemoryWindows::Record(WindowHandle window) {
    const auto id = reinterpret_cast<std::uintptr_t>(window);
    for (WindowRecord& w : windows)
        if (w.id == id) return &w;
    return nullptr;
}

WindowHandle MemoryWindows::Search(std::uintptr_t parent, WindowHandle after,
                                   const char16_t* className, const char16_t* title) {
    const auto afterId = reinterpret_cast<std::uintptr_t>(after);
    bool passed = afterId == 0;
    for (const WindowRecord& w : windows) {
        if (w.parent != parent) continue;
        if (!passed) {
            passed = w.id == afterId;
            continue;
        }
        // Class names and titles both compare without regard to case, as FindWindowW does.
        if (className != nullptr && !EqualNoCase(w.className, WideView(className))) continue;
        if (title != nullptr && !EqualNoCase(w.title, WideView(title))) continue;
        return reinterpret_cast<WindowHandle>(w.id);
    }
    return nullptr;
}

WindowHandle MemoryWindows::Find(const char16_t* className, const char16_t* title) {
    Lock lock(state_.mutex);
    Log("Find " + Arg(className) + " " + Arg(title));
    return Search(0, nullptr, className, title);
}

WindowHandle MemoryWindows::FindChild(WindowHandle parent, WindowHandle after,
                                      const char16_t* className, const char16_t* title) {
    Lock lock(state_.mutex);
    Log("FindChild " + HandleText(parent) + " " + HandleText(after) + " " + Arg(className) + " " +
        Arg(title));
    const auto parentId = reinterpret_cast<std::uintptr_t>(parent);
    if (parentId != 0 && Record(parent) == nullptr) {
        state_.SetLastError(1400);  // ERROR_INVALID_WINDOW_HANDLE
        return nullptr;
    }
    return Search(parentId, after, className, title);
}

bool MemoryWindows::IsWindow(WindowHandle window) {
    Lock lock(state_.mutex);
    Log("IsWindow " + HandleText(window));
    return Record(window) != nullptr;
}

std::uint32_t MemoryWindows::GetProcessId(WindowHandle window) {
    Lock lock(state_.mutex);
    Log("GetProcessId " + HandleText(window));
    const WindowRecord* w = Record(window);
    return w == nullptr ? 0 : w->processId;
}

bool MemoryWindows::GetShowCommand(WindowHandle window, std::uint32_t* showCmd) {
    Lock lock(state_.mutex);
    Log("GetShowCommand " + HandleText(window));
    const WindowRecord* w = Record(window);
    if (w == nullptr) {
        state_.SetLastError(1400);
        return false;
    }
    if (showCmd != nullptr) *showCmd = w->showCmd;
    return true;
}

bool MemoryWindows::Show(WindowHandle window, int command) {
    Lock lock(state_.mutex);
    Log("Show " + HandleText(window) + " " + std::to_string(command));
    WindowRecord* w = Record(window);
    if (w == nullptr) return false;
    // ShowWindow answers whether the window was visible before.
    const bool wasVisible = w->showCmd != static_cast<std::uint32_t>(kSwHide);
    switch (command) {
        case kSwShow:
        case kSwShowDefault:
            // Shows the window in the state it had; a hidden one comes back normal.
            if (w->showCmd == static_cast<std::uint32_t>(kSwHide)) w->showCmd = 1;
            break;
        case kSwRestore:
            w->showCmd = 1;  // SW_SHOWNORMAL
            break;
        case 6:  // SW_MINIMIZE
        case 7:  // SW_SHOWMINNOACTIVE
            w->showCmd = kSwShowMinimized;
            break;
        default:
            w->showCmd = static_cast<std::uint32_t>(command);
            break;
    }
    return wasVisible;
}

bool MemoryWindows::SetForeground(WindowHandle window) {
    Lock lock(state_.mutex);
    Log("SetForeground " + HandleText(window));
    return Record(window) != nullptr;
}

bool MemoryWindows::SetFocus(WindowHandle window) {
    Lock lock(state_.mutex);
    Log("SetFocus " + HandleText(window));
    const WindowRecord* w = Record(window);
    if (w == nullptr || w->failSetFocus) {
        state_.SetLastError(w == nullptr ? 1400 : static_cast<std::uint32_t>(kErrorAccessDenied));
        return false;
    }
    return true;
}

std::intptr_t MemoryWindows::Send(WindowHandle window, std::uint32_t message, std::uintptr_t wParam,
                                  std::intptr_t lParam) {
    Lock lock(state_.mutex);
    Log("Send " + HandleText(window) + " " + std::to_string(message) + " " +
        std::to_string(wParam) + " " + std::to_string(lParam));
    return 0;
}

void MemoryWindows::Sleep(std::uint32_t milliseconds) {
    Lock lock(state_.mutex);
    // Tests don't wait: the pause is only recorded.
    Log("Sleep " + std::to_string(milliseconds));
}

}  // namespace platform::memory::detail

namespace platform::memory {

using detail::Lock;

WindowHandle MemoryMachine::AddWindow(std::u16string_view className, std::u16string_view title,
                                      std::uint32_t processId, WindowHandle parent) {
    Lock lock(state_->mutex);
    detail::WindowRecord record;
    record.id = state_->windows.nextWindow++;
    record.className = std::u16string(className);
    record.title = std::u16string(title);
    record.processId = processId;
    record.parent = reinterpret_cast<std::uintptr_t>(parent);
    state_->windows.windows.push_back(record);
    return reinterpret_cast<WindowHandle>(record.id);
}

void MemoryMachine::SetShowCommand(WindowHandle window, std::uint32_t showCmd) {
    Lock lock(state_->mutex);
    if (detail::WindowRecord* w = state_->windows.Record(window)) w->showCmd = showCmd;
}

void MemoryMachine::FailSetFocus(WindowHandle window) {
    Lock lock(state_->mutex);
    if (detail::WindowRecord* w = state_->windows.Record(window)) w->failSetFocus = true;
}

const std::vector<std::string>& MemoryMachine::WindowCalls() const {
    Lock lock(state_->mutex);
    return state_->windows.calls;
}

}  // namespace platform::memory
