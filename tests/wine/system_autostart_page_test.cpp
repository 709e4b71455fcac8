// The machine-wide autostart places end to end under Wine: boot execute, the logon list values,
// the Winlogon notification packages and the policy scripts, written into the real registry,
// appear on the hosted page with their counts and details; Remove changes exactly the chosen
// entry, which a dump of the keys before and after shows; and a rewrite that would cut a path
// with a blank is refused with the failure message. Everything found is put back afterwards.
#include <map>
#include <memory>

#include "tests/support/win32/hosted_page.h"

namespace hostedpage {
namespace {

constexpr wchar_t kSessionManager[] = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager";
constexpr wchar_t kWinlogon[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Winlogon";
constexpr wchar_t kWindows[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Windows";
constexpr wchar_t kNotify[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Winlogon\\Notify";
constexpr wchar_t kStartupSet[] =
    L"SOFTWARE\\Policies\\Microsoft\\Windows\\System\\Scripts\\Startup\\0";
constexpr wchar_t kSystem32[] = L"C:\\windows\\system32\\";

std::wstring InSystem(const wchar_t* file) {
    return std::wstring(kSystem32) + file;
}

// Every value under root\path (with recurse, of its sub-keys too) as "sub-key|name" to
// "type:hex bytes"; a key without values shows as "sub-key|" to "<key>". Empty when the key
// is missing.
using Dump = std::map<std::wstring, std::wstring>;

void DumpKey(HKEY key, const std::wstring& prefix, bool recurse, Dump* out) {
    (*out)[prefix + L"|"] = L"<key>";
    wchar_t name[512];
    BYTE data[8192];
    for (DWORD i = 0;; ++i) {
        DWORD nameChars = 512, size = sizeof(data), type = 0;
        if (RegEnumValueW(key, i, name, &nameChars, nullptr, &type, data, &size) != ERROR_SUCCESS)
            break;
        std::wstring text = std::to_wstring(type) + L":";
        for (DWORD b = 0; b < size; ++b) {
            wchar_t hex[4];
            swprintf(hex, 4, L"%02x", data[b]);
            text += hex;
        }
        (*out)[prefix + L"|" + std::wstring(name, nameChars)] = text;
    }
    for (DWORD i = 0; recurse; ++i) {
        DWORD nameChars = 512;
        if (RegEnumKeyExW(key, i, name, &nameChars, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS)
            break;
        HKEY child;
        if (RegOpenKeyExW(key, name, 0, KEY_READ, &child) != ERROR_SUCCESS) continue;
        DumpKey(child, prefix + L"\\" + name, true, out);
        RegCloseKey(child);
    }
}

Dump DumpOf(const wchar_t* path, bool recurse) {
    Dump dump;
    HKEY key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) != ERROR_SUCCESS) return dump;
    DumpKey(key, L"", recurse, &dump);
    RegCloseKey(key);
    return dump;
}

// The dump line of a value of this type holding these UTF-16 characters.
std::wstring DumpedValue(DWORD type, const std::wstring& text) {
    Dump dump;
    HKEY key;
    RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\VistrelE2EScratch", 0, nullptr, 0,
                    KEY_ALL_ACCESS, nullptr, &key, nullptr);
    RegSetValueExW(key, L"v", 0, type, reinterpret_cast<const BYTE*>(text.data()),
                   static_cast<DWORD>(text.size() * sizeof(wchar_t)));
    DumpKey(key, L"", false, &dump);
    RegCloseKey(key);
    RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\VistrelE2EScratch");
    RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\VistrelE2EScratch");
    return dump[L"|v"];
}

// Notes a value of HKLM (or, with a null name, only a key) and puts it back as it was: a value
// that wasn't there goes, and so does the first level of the path that didn't exist.
class SavedMachineValue {
  public:
    SavedMachineValue(std::wstring path, const wchar_t* name)
        : path_(std::move(path)), name_(name ? name : L""), hasName_(name != nullptr) {
        for (std::size_t at = 0; at != std::wstring::npos && created_.empty();) {
            at = path_.find(L'\\', at + 1);
            const std::wstring level = path_.substr(0, at);
            HKEY key;
            if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, level.c_str(), 0, KEY_READ, &key) ==
                ERROR_SUCCESS)
                RegCloseKey(key);
            else
                created_ = level;
        }
        DWORD size = sizeof(data_);
        existed_ = hasName_ &&
                   RegGetValueW(HKEY_LOCAL_MACHINE, path_.c_str(), name_.c_str(),
                                RRF_RT_ANY | RRF_NOEXPAND, &type_, data_, &size) == ERROR_SUCCESS;
        size_ = size;
    }
    ~SavedMachineValue() {
        if (existed_)
            RegSetKeyValueW(HKEY_LOCAL_MACHINE, path_.c_str(), name_.c_str(), type_, data_, size_);
        else if (hasName_)
            RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, path_.c_str(), name_.c_str());
        if (!created_.empty()) {
            RegDeleteTreeW(HKEY_LOCAL_MACHINE, created_.c_str());
            RegDeleteKeyW(HKEY_LOCAL_MACHINE, created_.c_str());
        }
    }
    SavedMachineValue(const SavedMachineValue&) = delete;
    SavedMachineValue& operator=(const SavedMachineValue&) = delete;

  private:
    std::wstring path_, name_, created_;
    bool hasName_, existed_ = false;
    DWORD type_ = 0, size_ = 0;
    BYTE data_[4096] = {};
};

// Closes the next message box of this thread (a dialog without the confirmation's check box)
// and keeps its text.
class MessageBoxCloser {
  public:
    MessageBoxCloser()
        : thread_(GetCurrentThreadId()), worker_([this] {
              while (!stop_ && !closed_) {
                  EnumThreadWindows(thread_, Visit, reinterpret_cast<LPARAM>(this));
                  Sleep(20);
              }
          }) {}
    ~MessageBoxCloser() {
        stop_ = true;
        worker_.join();
    }
    bool Closed() const { return closed_; }
    std::wstring text;  // read once Closed()

  private:
    static BOOL CALLBACK Visit(HWND window, LPARAM param) {
        auto* self = reinterpret_cast<MessageBoxCloser*>(param);
        wchar_t className[64] = {};
        GetClassNameW(window, className, 64);
        if (wcscmp(className, L"#32770") != 0 || !IsWindowVisible(window) ||
            GetDlgItem(window, 22035) != nullptr)
            return TRUE;
        EnumChildWindows(window, Collect, param);
        PostMessageW(window, WM_COMMAND, MAKEWPARAM(IDOK, BN_CLICKED),
                     reinterpret_cast<LPARAM>(GetDlgItem(window, IDOK)));
        self->closed_ = true;
        return FALSE;
    }
    static BOOL CALLBACK Collect(HWND child, LPARAM param) {
        auto* self = reinterpret_cast<MessageBoxCloser*>(param);
        wchar_t className[64] = {};
        GetClassNameW(child, className, 64);
        if (_wcsicmp(className, L"Static") == 0) self->text += Text(child);
        return TRUE;
    }
    DWORD thread_;
    std::atomic<bool> stop_{false}, closed_{false};
    std::thread worker_;
};

void SetMachineValue(const wchar_t* path, const wchar_t* name, DWORD type,
                     const std::wstring& text) {
    ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, path, name, type, text.data(),
                              static_cast<DWORD>(text.size() * sizeof(wchar_t))),
              ERROR_SUCCESS);
}

class SystemAutostartPage : public HostedPage {
  protected:
    SystemAutostartPage() : HostedPage({}) {}
    // The page comes up only once the test has written what it is to show.
    void SetUp() override {}

    HTREEITEM Category(const wchar_t* name) { return Find(tree_, name); }
    // The child of parent with exactly this label.
    HTREEITEM Child(HTREEITEM parent, const std::wstring& label) {
        for (HTREEITEM i = TreeView_GetChild(tree_, parent); i;
             i = TreeView_GetNextSibling(tree_, i))
            if (Label(tree_, i) == label) return i;
        return nullptr;
    }
    int Children(HTREEITEM parent) {
        int count = 0;
        for (HTREEITEM i = TreeView_GetChild(tree_, parent); i;
             i = TreeView_GetNextSibling(tree_, i))
            ++count;
        return count;
    }
    static std::wstring Counted(const wchar_t* name, int count) {
        return std::wstring(name) + L"  (" + std::to_wstring(count) + L")";
    }
    // Selects item and presses Remove, confirming; true when the button could be pressed.
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

TEST_F(SystemAutostartPage, ListValuesShowTheirEntriesAndRemoveRewritesOnlyTheChosenOne) {
    for (auto [path, name] :
         {std::pair{kSessionManager, L"BootExecute"}, std::pair{kWinlogon, L"Userinit"},
          std::pair{kWindows, L"AppInit_DLLs"}})
        saved_.push_back(std::make_unique<SavedMachineValue>(path, name));
    const std::wstring kernel32 = InSystem(L"kernel32.dll");
    const std::wstring version = InSystem(L"version.dll");
    const std::wstring user32 = InSystem(L"user32.dll");
    ASSERT_NO_FATAL_FAILURE(SetMachineValue(
        kSessionManager, L"BootExecute", REG_MULTI_SZ,
        std::wstring(L"autocheck autochk *") + L'\0' + kernel32 + L" /x" + L'\0' + L'\0'));
    ASSERT_NO_FATAL_FAILURE(
        SetMachineValue(kWinlogon, L"Userinit", REG_SZ,
                        InSystem(L"userinit.exe") + L"," + kernel32 + L"," + L'\0'));
    // version.dll and user32.dll are separated by a blank alone: possibly one path.
    ASSERT_NO_FATAL_FAILURE(SetMachineValue(kWindows, L"AppInit_DLLs", REG_SZ,
                                            kernel32 + L"," + version + L" " + user32 + L'\0'));
    const Dump sessionBefore = DumpOf(kSessionManager, false);
    const Dump windowsBefore = DumpOf(kWindows, false);
    ASSERT_NO_FATAL_FAILURE(HostedPage::SetUp());
    ASSERT_NO_FATAL_FAILURE(ShowAndWait());

    // Boot execute: the disk check shows without its word, the details describe the file.
    HTREEITEM boot = Category(L"Boot execute");
    ASSERT_NE(boot, nullptr);
    EXPECT_EQ(Label(tree_, boot), Counted(L"Boot execute", 2));
    ASSERT_NE(Find(tree_, L"autochk *", boot), nullptr);
    HTREEITEM bootKernel = Find(tree_, kernel32 + L" /x", boot);
    ASSERT_NE(bootKernel, nullptr);
    Select(bootKernel);
    EXPECT_NE(Pane().find(L"kernel32.dll\r\n"), std::wstring::npos) << Pane();

    // Userinit lists both programs and offers no Remove.
    HTREEITEM userinit = Category(L"Userinit");
    ASSERT_NE(userinit, nullptr);
    EXPECT_EQ(Label(tree_, userinit), Counted(L"Userinit", 2));
    EXPECT_FALSE(RemoveSelected(Find(tree_, kernel32, userinit)));

    // AppInit DLLs: three entries; removing the first would join the two blank-separated ones
    // with a comma, so it is refused with the failure message and nothing changes.
    HTREEITEM appInit = Category(L"AppInit DLLs");
    ASSERT_NE(appInit, nullptr);
    EXPECT_EQ(Label(tree_, appInit), Counted(L"AppInit DLLs", 3));
    {
        MessageBoxCloser closer;
        ASSERT_TRUE(RemoveSelected(Find(tree_, kernel32, appInit)));
        ASSERT_TRUE(PumpUntil([&] { return closer.Closed(); }));
        EXPECT_EQ(closer.text.rfind(L"The action could not be completed.", 0), 0u) << closer.text;
    }
    EXPECT_EQ(DumpOf(kWindows, false), windowsBefore);
    EXPECT_EQ(Label(tree_, appInit), Counted(L"AppInit DLLs", 3));

    // Removing the last one keeps the other two whole, joined by a comma.
    ASSERT_TRUE(RemoveSelected(Find(tree_, user32, appInit)));
    Dump windowsExpected = windowsBefore;
    windowsExpected[L"|AppInit_DLLs"] =
        DumpedValue(REG_SZ, kernel32 + L", " + version + L", " + L'\0');
    EXPECT_EQ(DumpOf(kWindows, false), windowsExpected);
    EXPECT_EQ(Label(tree_, appInit), Counted(L"AppInit DLLs", 2));
    EXPECT_EQ(Find(tree_, user32, appInit), nullptr);

    // Boot execute without the second string: the disk check stays whole, the list ends in two
    // NULs, and nothing else under the session manager changes.
    ASSERT_TRUE(RemoveSelected(bootKernel));
    Dump sessionExpected = sessionBefore;
    sessionExpected[L"|BootExecute"] =
        DumpedValue(REG_MULTI_SZ, std::wstring(L"autocheck autochk *") + L'\0' + L'\0');
    EXPECT_EQ(DumpOf(kSessionManager, false), sessionExpected);
    EXPECT_EQ(Label(tree_, boot), Counted(L"Boot execute", 1));
}

TEST_F(SystemAutostartPage, PackagesAndScriptsAreSubKeysThatRemoveDeletesWhole) {
    const std::wstring package = std::wstring(kNotify) + L"\\VistrelE2E";
    const std::wstring otherPackage = std::wstring(kNotify) + L"\\VistrelE2E Other";
    const std::wstring scriptOne = std::wstring(kStartupSet) + L"\\0";
    const std::wstring scriptTwo = std::wstring(kStartupSet) + L"\\1";
    for (const std::wstring& key : {package, otherPackage, scriptOne, scriptTwo})
        saved_.push_back(std::make_unique<SavedMachineValue>(key, nullptr));
    ASSERT_NO_FATAL_FAILURE(
        SetMachineValue(package.c_str(), L"DllName", REG_SZ, InSystem(L"version.dll") + L'\0'));
    ASSERT_NO_FATAL_FAILURE(SetMachineValue(package.c_str(), L"Logon", REG_SZ, L"OnLogon"));
    ASSERT_NO_FATAL_FAILURE(SetMachineValue((package + L"\\Settings").c_str(), L"Keep", REG_SZ,
                                            std::wstring(L"1") + L'\0'));
    ASSERT_NO_FATAL_FAILURE(
        SetMachineValue(otherPackage.c_str(), L"DllName", REG_EXPAND_SZ,
                        std::wstring(L"%SystemRoot%\\system32\\user32.dll") + L'\0'));
    // The same script twice: the entries differ only by their sub-keys.
    const std::wstring script = InSystem(L"vistrel_e2e.cmd");
    for (const std::wstring& key : {scriptOne, scriptTwo})
        ASSERT_NO_FATAL_FAILURE(SetMachineValue(key.c_str(), L"Script", REG_SZ, script + L'\0'));
    const Dump notifyBefore = DumpOf(kNotify, true);
    const Dump scriptsBefore = DumpOf(kStartupSet, true);
    ASSERT_NO_FATAL_FAILURE(HostedPage::SetUp());
    ASSERT_NO_FATAL_FAILURE(ShowAndWait());

    // The tree shows the package's key name, the pane the library it names.
    HTREEITEM notify = Category(L"Winlogon notification packages");
    ASSERT_NE(notify, nullptr);
    const int packages = Children(notify);
    EXPECT_GE(packages, 2);
    EXPECT_EQ(Label(tree_, notify), Counted(L"Winlogon notification packages", packages));
    HTREEITEM ours = Child(notify, L"VistrelE2E");
    ASSERT_NE(ours, nullptr);
    Select(ours);
    EXPECT_NE(Pane().find(InSystem(L"version.dll")), std::wstring::npos) << Pane();

    ASSERT_TRUE(RemoveSelected(ours));
    Dump notifyExpected;
    for (const auto& [line, value] : notifyBefore)
        if (line.rfind(L"\\VistrelE2E|", 0) != 0 && line.rfind(L"\\VistrelE2E\\", 0) != 0)
            notifyExpected[line] = value;
    EXPECT_EQ(DumpOf(kNotify, true), notifyExpected);
    EXPECT_EQ(Label(tree_, notify), Counted(L"Winlogon notification packages", packages - 1));
    EXPECT_EQ(Child(notify, L"VistrelE2E"), nullptr);
    EXPECT_NE(Child(notify, L"VistrelE2E Other"), nullptr);

    // Scripts: two entries with the same text; Remove on the second deletes the second key.
    HTREEITEM startup = Category(L"Startup scripts");
    ASSERT_NE(startup, nullptr);
    EXPECT_EQ(Label(tree_, startup), Counted(L"Startup scripts", 2));
    HTREEITEM first = Child(startup, script);
    ASSERT_NE(first, nullptr);
    HTREEITEM second = TreeView_GetNextSibling(tree_, first);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(Label(tree_, second), script);
    ASSERT_TRUE(RemoveSelected(second));
    Dump scriptsExpected;
    for (const auto& [line, value] : scriptsBefore)
        if (line.rfind(L"\\1|", 0) != 0) scriptsExpected[line] = value;
    EXPECT_EQ(DumpOf(kStartupSet, true), scriptsExpected);
    EXPECT_EQ(Label(tree_, startup), Counted(L"Startup scripts", 1));
}

}  // namespace
}  // namespace hostedpage
