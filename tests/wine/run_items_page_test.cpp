// Run items end to end under Wine: values written into the real HKCU Run key appear on the page
// hosted in-process, the pane describes their files, Remove deletes exactly the chosen value and
// Go to leaves the editor's "LastKey" at the key.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "include/vistrel/host.h"
#include "platform/win32/windows_api.h"
// After the wrapper: the process snapshot needs its types.
#include <tlhelp32.h>

#include "tests/support/win32/build_paths.h"

namespace {

constexpr wchar_t kRunKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";
constexpr wchar_t kEditorKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Applets\\Regedit";
constexpr wchar_t kValueOne[] = L"VistrelE2E One";
constexpr wchar_t kValueTwo[] = L"VistrelE2E Two";
constexpr int kTreeId = 22033;
constexpr int kPaneId = 22032;
constexpr int kFirstButtonId = 22007;

void HostAllows(std::uint32_t, std::int32_t* answer) {
    *answer = 1;
}

void Pump(std::chrono::milliseconds duration) {
    const auto end = std::chrono::steady_clock::now() + duration;
    MSG msg;
    while (std::chrono::steady_clock::now() < end) {
        while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&msg);
            DispatchMessageW(&msg);
        }
        Sleep(10);
    }
}

template <class Done>
bool PumpUntil(Done done, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (std::chrono::steady_clock::now() < end) {
        if (done()) return true;
        Pump(std::chrono::milliseconds(20));
    }
    return done();
}

std::wstring WindowText(HWND window) {
    wchar_t buffer[4096] = {};
    GetWindowTextW(window, buffer, 4096);
    return buffer;
}

std::wstring ItemText(HWND tree, HTREEITEM item) {
    wchar_t buffer[512] = {};
    TVITEMW tvi = {};
    tvi.mask = TVIF_TEXT;
    tvi.hItem = item;
    tvi.pszText = buffer;
    tvi.cchTextMax = 512;
    SendMessageW(tree, TVM_GETITEMW, 0, reinterpret_cast<LPARAM>(&tvi));
    return buffer;
}

HTREEITEM Next(HWND tree, HTREEITEM item, UINT how) {
    return reinterpret_cast<HTREEITEM>(
        SendMessageW(tree, TVM_GETNEXTITEM, how, reinterpret_cast<LPARAM>(item)));
}

std::vector<HTREEITEM> Children(HWND tree, HTREEITEM parent) {
    std::vector<HTREEITEM> out;
    for (HTREEITEM item = parent ? Next(tree, parent, TVGN_CHILD) : Next(tree, nullptr, TVGN_ROOT);
         item; item = Next(tree, item, TVGN_NEXT))
        out.push_back(item);
    return out;
}

HTREEITEM FindChild(HWND tree, HTREEITEM parent, const std::wstring& label) {
    for (HTREEITEM item : Children(tree, parent))
        if (ItemText(tree, item) == label) return item;
    return nullptr;
}

DWORD CountValues(HKEY root, const wchar_t* path) {
    HKEY key;
    if (RegOpenKeyExW(root, path, 0, KEY_QUERY_VALUE, &key) != ERROR_SUCCESS) return 0;
    DWORD count = 0;
    RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &count, nullptr,
                     nullptr, nullptr, nullptr);
    RegCloseKey(key);
    return count;
}

bool ValueExists(const wchar_t* name) {
    return RegGetValueW(HKEY_CURRENT_USER, kRunKey, name, RRF_RT_ANY, nullptr, nullptr, nullptr) ==
           ERROR_SUCCESS;
}

void SetRunValue(const wchar_t* name, const std::wstring& data) {
    HKEY key;
    ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, kRunKey, 0, nullptr, 0, KEY_SET_VALUE, nullptr,
                              &key, nullptr),
              ERROR_SUCCESS);
    RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(data.c_str()),
                   static_cast<DWORD>((data.size() + 1) * sizeof(wchar_t)));
    RegCloseKey(key);
}

void DeleteRunValue(const wchar_t* name) {
    HKEY key;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, kRunKey, 0, KEY_SET_VALUE, &key) != ERROR_SUCCESS) return;
    RegDeleteValueW(key, name);
    RegCloseKey(key);
}

std::vector<DWORD> EditorProcesses() {
    std::vector<DWORD> pids;
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE) return pids;
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL ok = Process32FirstW(snapshot, &entry); ok; ok = Process32NextW(snapshot, &entry))
        if (_wcsicmp(entry.szExeFile, L"regedit.exe") == 0) pids.push_back(entry.th32ProcessID);
    CloseHandle(snapshot);
    return pids;
}

void EndEditors() {
    for (DWORD pid : EditorProcesses()) {
        HANDLE process = OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, pid);
        if (!process) continue;
        TerminateProcess(process, 0);
        WaitForSingleObject(process, 5000);
        CloseHandle(process);
    }
}

// Answers the confirmation dialog of this process with OK as soon as it shows.
class ConfirmationAnswerer {
  public:
    ConfirmationAnswerer() : worker_([this] { Run(); }) {}
    ~ConfirmationAnswerer() {
        stop_ = true;
        worker_.join();
    }
    bool Answered() const { return answered_; }

  private:
    static BOOL CALLBACK Visit(HWND window, LPARAM self) {
        DWORD pid = 0;
        GetWindowThreadProcessId(window, &pid);
        wchar_t cls[64] = {};
        GetClassNameW(window, cls, 64);
        // The confirmation is the dialog that holds the "don't ask again" box.
        if (pid == GetCurrentProcessId() && wcscmp(cls, L"#32770") == 0 &&
            IsWindowVisible(window) && GetDlgItem(window, 22035) != nullptr) {
            PostMessageW(window, WM_COMMAND, MAKEWPARAM(IDOK, BN_CLICKED),
                         reinterpret_cast<LPARAM>(GetDlgItem(window, IDOK)));
            reinterpret_cast<ConfirmationAnswerer*>(self)->answered_ = true;
            return FALSE;
        }
        return TRUE;
    }
    void Run() {
        while (!stop_ && !answered_) {
            EnumWindows(Visit, reinterpret_cast<LPARAM>(this));
            Sleep(50);
        }
    }
    std::atomic<bool> stop_{false};
    std::atomic<bool> answered_{false};
    std::thread worker_;
};

class RunItemsPage : public ::testing::Test {
  protected:
    void SetUp() override {
        INITCOMMONCONTROLSEX icc = {sizeof(icc), ICC_TREEVIEW_CLASSES};
        InitCommonControlsEx(&icc);
        EndEditors();
        SetRunValue(kValueOne, L"C:\\windows\\system32\\kernel32.dll /quiet");
        SetRunValue(kValueTwo, L"notepad");
        expected_ = CountValues(HKEY_CURRENT_USER, kRunKey);

        dist_ = testpaths::DistDir();
        module_ = LoadLibraryW((dist_ + L"\\vistrel.dll").c_str());
        ASSERT_NE(module_, nullptr);
        processData_ = reinterpret_cast<vistrel::ProcessDataFunction>(
            reinterpret_cast<void*>(GetProcAddress(module_, vistrel::kProcessDataName)));
        ASSERT_NE(processData_, nullptr);

        parent_ = CreateWindowExW(0, L"STATIC", L"host", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0,
                                  800, 700, nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
        ASSERT_NE(parent_, nullptr);
        context_ = {};
        context_.install_path = reinterpret_cast<const char16_t*>(dist_.c_str());
        context_.host_callback = HostAllows;
        ASSERT_EQ(
            processData_(vistrel::kCommandInitialise, reinterpret_cast<std::uintptr_t>(&context_)),
            1u);
        parentObject_ = {nullptr, parent_};
        ASSERT_NE(processData_(vistrel::kCommandCreatePage,
                               reinterpret_cast<std::uintptr_t>(&parentObject_)),
                  0u);
        page_ = GetWindow(parent_, GW_CHILD);
        ASSERT_NE(page_, nullptr);
        tree_ = GetDlgItem(page_, kTreeId);
        ASSERT_NE(tree_, nullptr);
        ShowAndWait();
    }

    void TearDown() override {
        if (processData_) {
            processData_(vistrel::kCommandHidePage, 0);
            processData_(vistrel::kCommandDestroyPage, 0);
            processData_(vistrel::kCommandTearDown, 0);
        }
        if (parent_) DestroyWindow(parent_);
        if (module_) FreeLibrary(module_);
        DeleteRunValue(kValueOne);
        DeleteRunValue(kValueTwo);
        EndEditors();
    }

    void ShowAndWait() {
        processData_(vistrel::kCommandShowPage, 0);
        // A finished population leaves Refresh alone at position 0 and a filled tree.
        ASSERT_TRUE(PumpUntil(
            [&] {
                HWND refresh = GetDlgItem(page_, kFirstButtonId);
                return refresh && IsWindowVisible(refresh) &&
                       SendMessageW(tree_, TVM_GETCOUNT, 0, 0) > 0;
            },
            std::chrono::seconds(30)));
    }

    // The current user's Run leaf: the first child of the first category.
    HTREEITEM RunCategory() {
        auto top = Children(tree_, nullptr);
        if (top.empty()) return nullptr;
        auto leaves = Children(tree_, top[0]);
        return leaves.empty() ? nullptr : leaves[0];
    }

    void Select(HTREEITEM item) {
        SendMessageW(tree_, TVM_SELECTITEM, TVGN_CARET, reinterpret_cast<LPARAM>(item));
        Pump(std::chrono::milliseconds(50));
    }

    HMODULE module_ = nullptr;
    vistrel::ProcessDataFunction processData_ = nullptr;
    std::wstring dist_;
    vistrel::HostContext context_ = {};
    vistrel::ParentWindowObject parentObject_ = {};
    HWND parent_ = nullptr;
    HWND page_ = nullptr;
    HWND tree_ = nullptr;
    DWORD expected_ = 0;
};

TEST_F(RunItemsPage, ValuesAppearWithCountDetailsAndRemoveDeletesExactlyOne) {
    HTREEITEM category = RunCategory();
    ASSERT_NE(category, nullptr);
    const std::wstring label = ItemText(tree_, category);
    const std::wstring count = L"  (" + std::to_wstring(expected_) + L")";
    ASSERT_GE(label.size(), count.size());
    EXPECT_EQ(label.substr(label.size() - count.size()), count) << label;

    HTREEITEM one = FindChild(tree_, category, kValueOne);
    HTREEITEM two = FindChild(tree_, category, kValueTwo);
    ASSERT_NE(one, nullptr);
    ASSERT_NE(two, nullptr);

    Select(one);
    const std::wstring pane = WindowText(GetDlgItem(page_, kPaneId));
    EXPECT_NE(pane.find(L"C:\\windows\\system32\\kernel32.dll /quiet"), std::wstring::npos) << pane;
    EXPECT_NE(pane.find(L"kernel32.dll\r\n"), std::wstring::npos) << pane;
    // Wine's kernel32 has a version block: the version lines are dotted numbers.
    EXPECT_NE(pane.find(L"."), std::wstring::npos);

    HWND remove = GetDlgItem(page_, kFirstButtonId + 2);
    ASSERT_NE(remove, nullptr);
    ASSERT_TRUE(IsWindowVisible(remove) && IsWindowEnabled(remove));
    {
        ConfirmationAnswerer answerer;
        PostMessageW(remove, BM_CLICK, 0, 0);
        ASSERT_TRUE(PumpUntil([&] { return !ValueExists(kValueOne); }, std::chrono::seconds(15)));
        EXPECT_TRUE(answerer.Answered());
    }
    Pump(std::chrono::milliseconds(100));
    EXPECT_TRUE(ValueExists(kValueTwo));
    EXPECT_EQ(FindChild(tree_, category, kValueOne), nullptr);
    EXPECT_NE(FindChild(tree_, category, kValueTwo), nullptr);
    const std::wstring lowered = L"  (" + std::to_wstring(expected_ - 1) + L")";
    const std::wstring after = ItemText(tree_, category);
    EXPECT_EQ(after.substr(after.size() - lowered.size()), lowered) << after;
}

TEST_F(RunItemsPage, GoToLeavesLastKeyAtTheRunKeyAndStartsTheEditor) {
    HTREEITEM category = RunCategory();
    ASSERT_NE(category, nullptr);
    HTREEITEM two = FindChild(tree_, category, kValueTwo);
    ASSERT_NE(two, nullptr);
    Select(two);
    HWND goTo = GetDlgItem(page_, kFirstButtonId + 1);
    ASSERT_NE(goTo, nullptr);
    PostMessageW(goTo, BM_CLICK, 0, 0);
    ASSERT_TRUE(PumpUntil([] { return !EditorProcesses().empty(); }, std::chrono::seconds(15)));

    wchar_t lastKey[512] = {};
    DWORD size = sizeof(lastKey);
    ASSERT_EQ(RegGetValueW(HKEY_CURRENT_USER, kEditorKey, L"LastKey", RRF_RT_REG_SZ, nullptr,
                           lastKey, &size),
              ERROR_SUCCESS);
    EXPECT_STREQ(lastKey,
                 L"Computer\\HKEY_CURRENT_USER\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run");
    // Go to changes nothing in the tree.
    EXPECT_NE(FindChild(tree_, category, kValueTwo), nullptr);
    EXPECT_TRUE(ValueExists(kValueTwo));
}

}  // namespace
