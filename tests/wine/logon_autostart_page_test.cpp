// Boot and logon autostart places end to end under Wine: boot execute, the logon list values,
// the Winlogon notification packages and the policy scripts, written into the real registry,
// appear on the hosted page with their counts and details; Remove changes exactly the chosen
// entry (a dump of the keys before and after shows it), a rewrite that would cut a path with a
// blank is refused with the failure message, and everything found is put back afterwards.
#include <map>
#include <memory>

#include "tests/support/win32/hosted_page.h"

namespace hostedpage {
namespace {

constexpr wchar_t kSession[] = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager";
constexpr wchar_t kWinlogon[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Winlogon";
constexpr wchar_t kWindows[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Windows";
constexpr wchar_t kNotify[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Winlogon\\Notify";
constexpr wchar_t kScripts[] =
    L"SOFTWARE\\Policies\\Microsoft\\Windows\\System\\Scripts\\Startup\\0";
const std::wstring kKernel32 = L"C:\\windows\\system32\\kernel32.dll";
const std::wstring kVersion = L"C:\\windows\\system32\\version.dll";
const std::wstring kUser32 = L"C:\\windows\\system32\\user32.dll";
constexpr wchar_t kNul = L'\0';

std::wstring Hex(DWORD type, const void* data, std::size_t bytes) {
    std::wstring text = std::to_wstring(type) + L":";
    for (std::size_t i = 0; i < bytes; ++i) {
        wchar_t two[3];
        swprintf(two, 3, L"%02x", static_cast<const BYTE*>(data)[i]);
        text += two;
    }
    return text;
}
std::wstring Hex(DWORD type, const std::wstring& text) {
    return Hex(type, text.data(), text.size() * sizeof(wchar_t));
}

// Every value under HKLM\path (with recurse, of its sub-keys too) as "sub-key|name" to its type
// and bytes, and every key as "sub-key|" to "<key>".
using Dump = std::map<std::wstring, std::wstring>;
Dump DumpOf(const std::wstring& path, bool recurse, const std::wstring& prefix = L"") {
    Dump dump;
    HKEY key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return dump;
    dump[prefix + L"|"] = L"<key>";
    wchar_t name[512];
    BYTE data[8192];
    for (DWORD i = 0, chars = 512, size = sizeof(data), type = 0;
         RegEnumValueW(key, i, name, &chars, nullptr, &type, data, &size) == ERROR_SUCCESS;
         ++i, chars = 512, size = sizeof(data))
        dump[prefix + L"|" + std::wstring(name, chars)] = Hex(type, data, size);
    for (DWORD i = 0, chars = 512; recurse && RegEnumKeyExW(key, i, name, &chars, nullptr, nullptr,
                                                            nullptr, nullptr) == ERROR_SUCCESS;
         ++i, chars = 512)
        dump.merge(DumpOf(path + L"\\" + name, true, prefix + L"\\" + name));
    RegCloseKey(key);
    return dump;
}

// Notes a value of HKLM (or, with a null name, only its key) and puts it back as it was: a value
// that wasn't there goes, and so does the first level of the path that didn't exist.
class SavedMachineValue {
  public:
    SavedMachineValue(std::wstring path, const wchar_t* name) : path_(std::move(path)) {
        for (std::size_t at = 0; at != std::wstring::npos && created_.empty();) {
            at = path_.find(L'\\', at + 1);
            HKEY key;
            if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path_.substr(0, at).c_str(), 0, KEY_READ, &key) !=
                ERROR_SUCCESS)
                created_ = path_.substr(0, at);
            else
                RegCloseKey(key);
        }
        if (name) name_ = name;
        DWORD size = sizeof(data_);
        existed_ =
            name && RegGetValueW(HKEY_LOCAL_MACHINE, path_.c_str(), name, RRF_RT_ANY | RRF_NOEXPAND,
                                 &type_, data_, &size) == ERROR_SUCCESS;
        size_ = size;
    }
    ~SavedMachineValue() {
        if (existed_)
            RegSetKeyValueW(HKEY_LOCAL_MACHINE, path_.c_str(), name_.c_str(), type_, data_, size_);
        else if (!name_.empty())
            RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, path_.c_str(), name_.c_str());
        if (!created_.empty()) RegDeleteTreeW(HKEY_LOCAL_MACHINE, created_.c_str());
        if (!created_.empty()) RegDeleteKeyW(HKEY_LOCAL_MACHINE, created_.c_str());
    }

  private:
    std::wstring path_, name_, created_;
    bool existed_ = false;
    DWORD type_ = 0, size_ = 0;
    BYTE data_[4096] = {};
};

// Presses OK in the next message box of this thread (a dialog without the confirmation's check
// box) and keeps its text.
class MessageBoxCloser {
  public:
    MessageBoxCloser()
        : thread_(GetCurrentThreadId()), worker_([this] {
              for (; !stop_ && !closed_; Sleep(20))
                  EnumThreadWindows(thread_, Visit, reinterpret_cast<LPARAM>(this));
          }) {}
    ~MessageBoxCloser() {
        stop_ = true;
        worker_.join();
    }
    std::atomic<bool> closed_{false};
    std::wstring text;  // read once closed_

  private:
    static BOOL CALLBACK Visit(HWND window, LPARAM self) {
        wchar_t name[16] = {};
        GetClassNameW(window, name, 16);
        if (wcscmp(name, L"#32770") != 0 || !IsWindowVisible(window) || GetDlgItem(window, 22035))
            return TRUE;
        reinterpret_cast<MessageBoxCloser*>(self)->text = Text(GetDlgItem(window, 0xFFFF));
        PostMessageW(window, WM_COMMAND, IDOK, 0);
        reinterpret_cast<MessageBoxCloser*>(self)->closed_ = true;
        return FALSE;
    }
    DWORD thread_;
    std::atomic<bool> stop_{false};
    std::thread worker_;
};

class LogonAutostartPage : public HostedPage {
  protected:
    LogonAutostartPage() : HostedPage({}) {}
    void SetUp() override {}  // the page comes up once the test has written its entries

    // Notes what the value was, then writes text (its NULs as given).
    void Write(const std::wstring& path, const wchar_t* name, DWORD type, const std::wstring& text,
               bool save = true) {
        if (save) saved_.push_back(std::make_unique<SavedMachineValue>(path, name));
        ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, path.c_str(), name, type, text.data(),
                                  static_cast<DWORD>(text.size() * sizeof(wchar_t))),
                  ERROR_SUCCESS);
    }
    void ShowPage() {
        ASSERT_NO_FATAL_FAILURE(HostedPage::SetUp());
        ASSERT_NO_FATAL_FAILURE(ShowAndWait());
    }
    // The category, checked against its name and count.
    HTREEITEM Category(const wchar_t* name, int count) {
        HTREEITEM category = Find(tree_, name);
        EXPECT_EQ(Label(tree_, category),
                  std::wstring(name) + L"  (" + std::to_wstring(count) + L")");
        return category;
    }
    HTREEITEM Child(HTREEITEM parent, const std::wstring& label) {
        for (HTREEITEM i = TreeView_GetChild(tree_, parent); i;
             i = TreeView_GetNextSibling(tree_, i))
            if (Label(tree_, i) == label) return i;
        return nullptr;
    }
    // Selects item and presses Remove, confirming; false when Remove isn't offered.
    bool RemoveSelected(HTREEITEM item) {
        Select(item);
        if (!IsWindowVisible(Button(2)) || !IsWindowEnabled(Button(2))) return false;
        ConfirmationClicker clicker(IDOK, false);
        PostMessageW(Button(2), BM_CLICK, 0, 0);
        EXPECT_TRUE(PumpUntil([&] { return clicker.Clicked(); }));
        Pump(std::chrono::milliseconds(150));
        return true;
    }

    std::vector<std::unique_ptr<SavedMachineValue>> saved_;
};

TEST_F(LogonAutostartPage, ListValuesShowTheirEntriesAndRemoveRewritesOnlyTheChosenOne) {
    Write(kSession, L"BootExecute", REG_MULTI_SZ,
          L"autocheck autochk *" + std::wstring(1, kNul) + kKernel32 + L" /x" + kNul + kNul);
    Write(kWinlogon, L"Userinit", REG_SZ,
          L"C:\\windows\\system32\\userinit.exe," + kKernel32 + kNul);
    // version.dll and user32.dll are separated by a blank alone: possibly one path.
    Write(kWindows, L"AppInit_DLLs", REG_SZ, kKernel32 + L"," + kVersion + L" " + kUser32 + kNul);
    const Dump sessionBefore = DumpOf(kSession, false), windowsBefore = DumpOf(kWindows, false);
    ASSERT_NO_FATAL_FAILURE(ShowPage());

    HTREEITEM boot = Category(L"Boot execute", 2);
    EXPECT_NE(Child(boot, L"autochk *"), nullptr);
    HTREEITEM bootKernel = Child(boot, kKernel32 + L" /x");
    Select(bootKernel);
    EXPECT_NE(Pane().find(L"kernel32.dll\r\n"), std::wstring::npos) << Pane();
    EXPECT_FALSE(RemoveSelected(Child(Category(L"Userinit", 2), kKernel32)));

    HTREEITEM appInit = Category(L"AppInit DLLs", 3);
    {
        MessageBoxCloser closer;
        ASSERT_TRUE(RemoveSelected(Child(appInit, kKernel32)));
        ASSERT_TRUE(PumpUntil([&] { return closer.closed_.load(); }));
        EXPECT_EQ(closer.text.rfind(L"The action could not be completed.", 0), 0u) << closer.text;
    }
    EXPECT_EQ(DumpOf(kWindows, false), windowsBefore);
    Category(L"AppInit DLLs", 3);

    ASSERT_TRUE(RemoveSelected(Child(appInit, kUser32)));
    Dump expected = windowsBefore;
    expected[L"|AppInit_DLLs"] = Hex(REG_SZ, kKernel32 + L", " + kVersion + L", " + kNul);
    EXPECT_EQ(DumpOf(kWindows, false), expected);
    EXPECT_EQ(Child(Category(L"AppInit DLLs", 2), kUser32), nullptr);

    ASSERT_TRUE(RemoveSelected(bootKernel));
    expected = sessionBefore;
    expected[L"|BootExecute"] = Hex(REG_MULTI_SZ, L"autocheck autochk *" + std::wstring(2, kNul));
    EXPECT_EQ(DumpOf(kSession, false), expected);
    Category(L"Boot execute", 1);
}

TEST_F(LogonAutostartPage, PackagesAndScriptsAreSubKeysThatRemoveDeletesWhole) {
    const std::wstring ours = std::wstring(kNotify) + L"\\VistrelE2E";
    const std::wstring script = L"C:\\windows\\system32\\vistrel_e2e.cmd";
    Write(ours, L"DllName", REG_SZ, kVersion + kNul);
    Write(ours + L"\\Settings", L"Keep", REG_SZ, L"1", false);
    Write(ours + L" Other", L"DllName", REG_EXPAND_SZ, L"%SystemRoot%\\system32\\user32.dll");
    Write(kScripts + std::wstring(L"\\0"), L"Script", REG_SZ, script + kNul);
    Write(kScripts + std::wstring(L"\\1"), L"Script", REG_SZ, script + kNul);
    const Dump notifyBefore = DumpOf(kNotify, true), scriptsBefore = DumpOf(kScripts, true);
    ASSERT_NO_FATAL_FAILURE(ShowPage());

    // The tree shows the package's key name, the pane the library it names.
    HTREEITEM notify = Find(tree_, L"Winlogon notification packages");
    int packages = 0;
    for (HTREEITEM i = TreeView_GetChild(tree_, notify); i; i = TreeView_GetNextSibling(tree_, i))
        ++packages;
    Category(L"Winlogon notification packages", packages);
    Select(Child(notify, L"VistrelE2E"));
    EXPECT_NE(Pane().find(kVersion), std::wstring::npos) << Pane();
    ASSERT_TRUE(RemoveSelected(Child(notify, L"VistrelE2E")));
    Dump expected;
    for (const auto& [line, value] : notifyBefore)
        if (line.rfind(L"\\VistrelE2E|", 0) && line.rfind(L"\\VistrelE2E\\", 0))
            expected[line] = value;
    EXPECT_EQ(DumpOf(kNotify, true), expected);
    Category(L"Winlogon notification packages", packages - 1);
    EXPECT_NE(Child(notify, L"VistrelE2E Other"), nullptr);

    // Two entries with the same script; Remove on the second deletes the second key.
    HTREEITEM startup = Category(L"Startup scripts", 2);
    HTREEITEM second = TreeView_GetNextSibling(tree_, Child(startup, script));
    EXPECT_EQ(Label(tree_, second), script);
    ASSERT_TRUE(RemoveSelected(second));
    expected.clear();
    for (const auto& [line, value] : scriptsBefore)
        if (line.rfind(L"\\1|", 0)) expected[line] = value;
    EXPECT_EQ(DumpOf(kScripts, true), expected);
    Category(L"Startup scripts", 1);
}

}  // namespace
}  // namespace hostedpage
