// The page of vistrel.dll hosted in this process as a host holds it: the library loaded, a
// parent window, commands 0 and 3, the page's controls at hand, a registry fixture put back once
// the page is gone, and a thread that answers the page's dialogs.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "include/vistrel/host.h"
#include "platform/win32/windows_api.h"
#include "tests/support/win32/build_paths.h"
#include "tests/support/win32/registry_fixture.h"
// After the wrapper: the process snapshot needs its types.
#include <tlhelp32.h>

namespace hostedpage {

using regfix::Dump;
using regfix::DumpOf;
using regfix::Without;

inline const std::wstring kRunPath = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";
inline const std::wstring kRunKey = L"HKCU\\" + kRunPath;
inline constexpr int kTreeId = 22033, kPaneId = 22032, kTitleId = 22101, kFirstButtonId = 22007;

inline std::atomic<int> g_hostAnswer{1};
inline std::atomic<int> g_hostAsked{0};  // requests to allow an action
inline void HostService(std::uint32_t code, std::int32_t* answer) {
    if (code == vistrel::kHostCodeAllowAction) ++g_hostAsked;
    *answer = g_hostAnswer.load();
}

// Dispatches this thread's messages for duration.
inline void Pump(std::chrono::milliseconds duration) {
    const auto end = std::chrono::steady_clock::now() + duration;
    MSG msg;
    do {
        while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&msg);
            DispatchMessageW(&msg);
        }
        Sleep(5);
    } while (std::chrono::steady_clock::now() < end);
}

template <class Done>
bool PumpUntil(Done done, std::chrono::milliseconds limit = std::chrono::seconds(30)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > end) return false;
        Pump(std::chrono::milliseconds(10));
    }
    return true;
}

inline std::wstring Text(HWND window) {
    wchar_t buffer[4096] = {};
    GetWindowTextW(window, buffer, 4096);
    return buffer;
}

inline std::wstring Label(HWND tree, HTREEITEM item) {
    wchar_t buffer[512] = {};
    TVITEMW info = {};
    info.mask = TVIF_TEXT;
    info.hItem = item;
    info.pszText = buffer;
    info.cchTextMax = 512;
    SendMessageW(tree, TVM_GETITEMW, 0, reinterpret_cast<LPARAM>(&info));
    return buffer;
}

// The first node under parent, depth first, whose label starts with prefix.
inline HTREEITEM Find(HWND tree, const std::wstring& prefix, HTREEITEM parent = TVI_ROOT) {
    for (HTREEITEM item = TreeView_GetChild(tree, parent); item;
         item = TreeView_GetNextSibling(tree, item)) {
        if (Label(tree, item).rfind(prefix, 0) == 0) return item;
        if (HTREEITEM found = Find(tree, prefix, item)) return found;
    }
    return nullptr;
}

// The running processes of a program (started by parent, when given); with end, they are ended
// and waited for.
inline std::vector<DWORD> Running(const wchar_t* program, bool end = false, DWORD parent = 0) {
    std::vector<DWORD> ids;
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL ok = Process32FirstW(snapshot, &entry); ok; ok = Process32NextW(snapshot, &entry)) {
        if (_wcsicmp(entry.szExeFile, program) || (parent && entry.th32ParentProcessID != parent))
            continue;
        ids.push_back(entry.th32ProcessID);
        if (HANDLE p =
                end ? OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, ids.back()) : nullptr) {
            TerminateProcess(p, 0);
            WaitForSingleObject(p, 5000);
            CloseHandle(p);
        }
    }
    CloseHandle(snapshot);
    return ids;
}

// A hidden notepad, ended and waited for on every way out of the test.
class Notepad {
  public:
    Notepad() {
        wchar_t command[] = L"notepad.exe";
        STARTUPINFOW startup = {};
        startup.cb = sizeof(startup);
        startup.dwFlags = STARTF_USESHOWWINDOW;
        startup.wShowWindow = SW_HIDE;
        EXPECT_TRUE(CreateProcessW(nullptr, command, nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                                   &startup, &info_));
        CloseHandle(info_.hThread);
        WaitForInputIdle(info_.hProcess, 10000);
    }
    ~Notepad() { End(); }
    void End() {
        if (info_.hProcess == nullptr) return;
        TerminateProcess(info_.hProcess, 0);
        WaitForSingleObject(info_.hProcess, 10000);
        CloseHandle(std::exchange(info_.hProcess, nullptr));
    }
    DWORD Id() const { return info_.dwProcessId; }

  private:
    PROCESS_INFORMATION info_ = {};
};

// Answers the dialogs this thread brings up while it lives: the confirmation (the dialog with
// the "don't ask again" box) with button, ticking the box if asked, a message box with OK.
class Answerer {
  public:
    explicit Answerer(int button = IDOK, bool tick = false)
        : button_(button), tick_(tick), thread_(GetCurrentThreadId()), worker_([this] {
              for (; !stop_; Sleep(20))
                  EnumThreadWindows(thread_, Visit, reinterpret_cast<LPARAM>(this));
          }) {}
    ~Answerer() {
        stop_ = true;
        worker_.join();
    }
    std::atomic<int> confirmations{0}, boxes{0};
    std::wstring message, caption, box;  // the confirmation's texts, the message box's

  private:
    static BOOL CALLBACK Visit(HWND window, LPARAM param) {
        auto* self = reinterpret_cast<Answerer*>(param);
        wchar_t name[16] = {};
        GetClassNameW(window, name, 16);
        if (window == self->last_ || wcscmp(name, L"#32770") || !IsWindowVisible(window))
            return TRUE;
        self->last_ = window;
        HWND tick = GetDlgItem(window, 22035);
        const int button = tick ? self->button_ : IDOK;
        if (tick && self->tick_) SendMessageW(tick, BM_SETCHECK, BST_CHECKED, 0);
        if (tick) self->message = Text(GetDlgItem(window, 22037)), self->caption = Text(window);
        if (!tick) self->box = Text(GetDlgItem(window, 0xFFFF));
        PostMessageW(window, WM_COMMAND, MAKEWPARAM(button, BN_CLICKED),
                     reinterpret_cast<LPARAM>(GetDlgItem(window, button)));
        ++(tick ? self->confirmations : self->boxes);
        return FALSE;
    }
    int button_;
    bool tick_;
    DWORD thread_;
    HWND last_ = nullptr;
    std::atomic<bool> stop_{false};
    std::thread worker_;
};

// The page created in a visible host window once the test has written its fixtures (reg_).
class HostedPage : public ::testing::Test {
  protected:
    HostedPage() {
        g_hostAnswer = 1;
        g_hostAsked = 0;
        context_.install_path = reinterpret_cast<const char16_t*>(dist_.c_str());
        context_.host_callback = &HostService;
    }
    void Load() {
        module_ = LoadLibraryW((dist_ + L"\\vistrel.dll").c_str());
        ASSERT_NE(module_, nullptr);
        // FARPROC has no parameters; going through void* keeps the cast explicit.
        processData_ = reinterpret_cast<vistrel::ProcessDataFunction>(
            reinterpret_cast<void*>(GetProcAddress(module_, vistrel::kProcessDataName)));
        ASSERT_NE(processData_, nullptr);
    }
    // Commands 0 and 3 with a fresh host window; the first word of the object is the host's own.
    void Open(void* table = nullptr) {
        if (module_ == nullptr) Load();
        ASSERT_NE(processData_, nullptr);
        parent_ = CreateWindowExW(0, L"STATIC", L"host", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0,
                                  800, 700, nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
        ASSERT_NE(parent_, nullptr);
        ASSERT_EQ(Command(vistrel::kCommandInitialise, &context_), 1u);
        parentObject_ = {table, parent_};
        ASSERT_NE(Command(vistrel::kCommandCreatePage, &parentObject_), 0u);
        page_ = GetWindow(parent_, GW_CHILD);
        ASSERT_NE(page_, nullptr);
        tree_ = GetDlgItem(page_, kTreeId);
        ASSERT_NE(tree_, nullptr);
        normalTitle_ = Text(GetDlgItem(page_, kTitleId));
    }
    void Show() {
        if (page_ == nullptr) Open();
        if (page_ != nullptr) ShowAndWait();
    }
    void TearDown() override {
        if (processData_) {
            Command(vistrel::kCommandHidePage);
            Command(vistrel::kCommandDestroyPage);
            Command(vistrel::kCommandTearDown);
        }
        if (parent_) DestroyWindow(parent_);
        EXPECT_TRUE(!module_ || FreeLibrary(module_));
        reg_.Restore();
    }

    std::uint64_t Command(std::uint32_t command, const void* argument = nullptr) {
        return processData_(command, reinterpret_cast<std::uintptr_t>(argument));
    }
    // A fill ends with the normal title over a tree that has nodes.
    bool Filled() {
        return Text(GetDlgItem(page_, kTitleId)) == normalTitle_ && TreeView_GetCount(tree_) > 0;
    }
    void ShowAndWait() {
        Command(vistrel::kCommandShowPage);
        ASSERT_TRUE(PumpUntil([&] { return Filled(); }));
    }
    // Selects through the tree control, which tells the page.
    void Select(HTREEITEM item) {
        ASSERT_NE(item, nullptr);
        TreeView_SelectItem(tree_, item);
        Pump(std::chrono::milliseconds(20));
    }
    std::wstring Details(HTREEITEM item) {
        Select(item);
        return Pane();
    }
    // A key as the user types it: to the control that has the focus.
    void Key(HWND target, WPARAM key) {
        SetFocus(target);
        PostMessageW(target, WM_KEYDOWN, key, 1);
        PostMessageW(target, WM_KEYUP, key, 0xC0000001);
        Pump(std::chrono::milliseconds(50));
    }
    HWND Button(int action) { return GetDlgItem(page_, kFirstButtonId + action); }
    bool Offered(int action) {
        return IsWindowVisible(Button(action)) && IsWindowEnabled(Button(action));
    }
    std::wstring Pane() { return Text(GetDlgItem(page_, kPaneId)); }

    // The nodes under parent, or those labelled label.
    int Count(HTREEITEM parent, const std::wstring* label = nullptr) {
        int count = 0;
        for (HTREEITEM i = TreeView_GetChild(tree_, parent); i;
             i = TreeView_GetNextSibling(tree_, i))
            count += !label || Label(tree_, i) == *label;
        return count;
    }
    // The direct child of parent labelled exactly label.
    HTREEITEM Child(HTREEITEM parent, const std::wstring& label) {
        for (HTREEITEM i = TreeView_GetChild(tree_, parent); i;
             i = TreeView_GetNextSibling(tree_, i))
            if (Label(tree_, i) == label) return i;
        return nullptr;
    }
    // The category of this name, checked to show as many entries as it has nodes.
    HTREEITEM Category(const std::wstring& name, HTREEITEM parent = TVI_ROOT) {
        HTREEITEM category = Find(tree_, name + L"  (", parent);
        EXPECT_NE(category, nullptr) << testing::PrintToString(name);
        const std::wstring label = category ? Label(tree_, category) : name;
        EXPECT_EQ(label, name + L"  (" + std::to_wstring(category ? Count(category) : 0) + L")");
        return category;
    }
    // Presses the button of action, answering the dialogs; the action runs on this thread inside
    // the click, so it is done when this returns. Gives the confirmations answered.
    int Press(int action, int button = IDOK, bool tick = false) {
        Answerer answerer(button, tick);
        PostMessageW(Button(action), BM_CLICK, 0, 0);
        Pump(std::chrono::milliseconds(150));
        box_ = answerer.box;
        return answerer.confirmations;
    }
    // Removes item, confirmed, and gives the dump of key (if any) afterwards; its category loses
    // gone nodes of its label (and a message box's text is in box_).
    Dump Remove(HTREEITEM item, const std::wstring& key = L"", int gone = 1) {
        Select(item);
        EXPECT_TRUE(Offered(2));
        HTREEITEM parent = TreeView_GetParent(tree_, item);
        const std::wstring label = Label(tree_, item);
        const int nodes = Count(parent), same = Count(parent, &label);
        EXPECT_EQ(Press(2), 1);
        EXPECT_EQ(Count(parent), nodes - gone);
        EXPECT_EQ(Count(parent, &label), same - gone) << testing::PrintToString(label);
        return key.empty() ? Dump() : DumpOf(key);
    }

    regfix::Fixture reg_;
    HWND parent_ = nullptr, page_ = nullptr, tree_ = nullptr;
    std::wstring normalTitle_, box_, dist_ = testpaths::DistDir();
    HMODULE module_ = nullptr;
    vistrel::ProcessDataFunction processData_ = nullptr;
    vistrel::HostContext context_{};
    vistrel::ParentWindowObject parentObject_{};
};

}  // namespace hostedpage
