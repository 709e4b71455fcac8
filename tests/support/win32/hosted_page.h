// The page of vistrel.dll hosted in this process as a host holds it: the library loaded, a
// parent window, commands 0 and 3, the page's controls at hand, values written into the current
// user's Run key for the page to show (and put back as they were afterwards), and a thread that
// answers the confirmation dialog.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <deque>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "include/vistrel/host.h"
#include "platform/win32/windows_api.h"
#include "tests/support/win32/build_paths.h"

namespace hostedpage {

inline constexpr wchar_t kRunKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";
inline constexpr wchar_t kUserRun[] = L"Run (current user)";  // its category's name on the page
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

inline bool ValueExists(const wchar_t* path, const wchar_t* name) {
    return RegGetValueW(HKEY_CURRENT_USER, path, name, RRF_RT_ANY, nullptr, nullptr, nullptr) ==
           ERROR_SUCCESS;
}

// Notes a value of HKCU, and whether its key exists, and puts both back as they were on
// destruction: a key that was not there goes with everything in it.
class SavedValue {
  public:
    SavedValue(const wchar_t* path, const wchar_t* name) : path_(path), name_(name) {
        HKEY key;
        keyExisted_ = RegOpenKeyExW(HKEY_CURRENT_USER, path, 0, KEY_READ, &key) == ERROR_SUCCESS;
        if (keyExisted_) RegCloseKey(key);
        DWORD size = sizeof(data_);
        valueExisted_ = RegGetValueW(HKEY_CURRENT_USER, path, name, RRF_RT_ANY | RRF_NOEXPAND,
                                     &type_, data_, &size) == ERROR_SUCCESS;
        size_ = size;
    }
    ~SavedValue() {
        if (!keyExisted_)
            RegDeleteTreeW(HKEY_CURRENT_USER, path_.c_str());
        else if (valueExisted_)
            RegSetKeyValueW(HKEY_CURRENT_USER, path_.c_str(), name_.c_str(), type_, data_, size_);
        else
            RegDeleteKeyValueW(HKEY_CURRENT_USER, path_.c_str(), name_.c_str());
    }

  private:
    std::wstring path_, name_;
    bool keyExisted_ = false, valueExisted_ = false;
    DWORD type_ = 0, size_ = 0;
    BYTE data_[4096] = {};
};

// Finds the confirmation dialog of the thread that makes it (the dialog with the "don't ask
// again" box), ticks the box if asked, notes its texts and presses a button.
class ConfirmationClicker {
  public:
    ConfirmationClicker(int button, bool tick)
        : button_(button), tick_(tick), thread_(GetCurrentThreadId()), worker_([this] {
              while (!stop_ && !clicked_) {
                  EnumThreadWindows(thread_, Visit, reinterpret_cast<LPARAM>(this));
                  Sleep(20);
              }
          }) {}
    ~ConfirmationClicker() {
        stop_ = true;
        worker_.join();
    }
    bool Clicked() const { return clicked_; }
    std::wstring message, caption;  // read once Clicked()

  private:
    static BOOL CALLBACK Visit(HWND window, LPARAM param) {
        auto* self = reinterpret_cast<ConfirmationClicker*>(param);
        HWND box = GetDlgItem(window, 22035);
        if (box == nullptr || !IsWindowVisible(window)) return TRUE;
        self->message = Text(GetDlgItem(window, 22037));
        self->caption = Text(window);
        if (self->tick_) SendMessageW(box, BM_SETCHECK, BST_CHECKED, 0);
        PostMessageW(window, WM_COMMAND, MAKEWPARAM(self->button_, BN_CLICKED),
                     reinterpret_cast<LPARAM>(GetDlgItem(window, self->button_)));
        self->clicked_ = true;
        return FALSE;
    }
    int button_;
    bool tick_;
    DWORD thread_;
    std::atomic<bool> stop_{false}, clicked_{false};
    std::thread worker_;
};

// The page created in a visible host window, over the given Run key values (name, data).
class HostedPage : public ::testing::Test {
  protected:
    explicit HostedPage(std::vector<std::pair<const wchar_t*, const wchar_t*>> values)
        : values_(std::move(values)) {}

    void SetUp() override {
        g_hostAnswer = 1;
        g_hostAsked = 0;
        for (const auto& [name, data] : values_) {
            saved_.emplace_back(kRunKey, name);
            ASSERT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, kRunKey, name, REG_SZ, data,
                                      static_cast<DWORD>((wcslen(data) + 1) * sizeof(wchar_t))),
                      ERROR_SUCCESS);
        }
        dist_ = testpaths::DistDir();
        module_ = LoadLibraryW((dist_ + L"\\vistrel.dll").c_str());
        ASSERT_NE(module_, nullptr);
        processData_ = reinterpret_cast<vistrel::ProcessDataFunction>(
            reinterpret_cast<void*>(GetProcAddress(module_, vistrel::kProcessDataName)));
        ASSERT_NE(processData_, nullptr);
        parent_ = CreateWindowExW(0, L"STATIC", L"host", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0,
                                  800, 700, nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
        ASSERT_NE(parent_, nullptr);
        context_.install_path = reinterpret_cast<const char16_t*>(dist_.c_str());
        context_.host_callback = &HostService;
        ASSERT_EQ(Command(vistrel::kCommandInitialise, &context_), 1u);
        parentObject_ = {nullptr, parent_};
        ASSERT_NE(Command(vistrel::kCommandCreatePage, &parentObject_), 0u);
        page_ = GetWindow(parent_, GW_CHILD);
        ASSERT_NE(page_, nullptr);
        tree_ = GetDlgItem(page_, kTreeId);
        ASSERT_NE(tree_, nullptr);
        normalTitle_ = Text(GetDlgItem(page_, kTitleId));
    }
    void TearDown() override {
        if (processData_) {
            Command(vistrel::kCommandHidePage);
            Command(vistrel::kCommandDestroyPage);
            Command(vistrel::kCommandTearDown);
        }
        if (parent_) DestroyWindow(parent_);
        if (module_) FreeLibrary(module_);
        saved_.clear();
    }

    std::uint64_t Command(std::uint32_t command, void* argument = nullptr) {
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
    // A key as the user types it: to the control that has the focus.
    void Key(HWND target, WPARAM key) {
        SetFocus(target);
        PostMessageW(target, WM_KEYDOWN, key, 1);
        PostMessageW(target, WM_KEYUP, key, 0xC0000001);
        Pump(std::chrono::milliseconds(50));
    }
    HWND Button(int action) { return GetDlgItem(page_, kFirstButtonId + action); }
    std::wstring Pane() { return Text(GetDlgItem(page_, kPaneId)); }

    HWND parent_ = nullptr, page_ = nullptr, tree_ = nullptr;
    std::wstring normalTitle_;

  private:
    std::vector<std::pair<const wchar_t*, const wchar_t*>> values_;
    std::deque<SavedValue> saved_;
    std::wstring dist_;
    HMODULE module_ = nullptr;
    vistrel::ProcessDataFunction processData_ = nullptr;
    vistrel::HostContext context_{};
    vistrel::ParentWindowObject parentObject_{};
};

}  // namespace hostedpage
