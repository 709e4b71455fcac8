// Installed components and file associations end to end under Wine: fixtures in the real
// registry appear on the hosted page with their counts and details, Remove deletes exactly the
// chosen component's key, Restore writes exactly the default command into the chosen class key,
// and everything is put back as it was found.
#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "tests/support/win32/hosted_page.h"

namespace hostedpage {
namespace {

constexpr wchar_t kComponents[] = L"SOFTWARE\\Microsoft\\Active Setup\\Installed Components";
constexpr wchar_t kDefaultCommand[] = L"\"%1\" %*";

// A value's type and bytes, or absent.
struct Stored {
    bool present = false;
    DWORD type = 0;
    std::vector<BYTE> bytes;
    bool operator==(const Stored&) const = default;
};
Stored Read(HKEY root, const std::wstring& path, const wchar_t* name) {
    Stored s;
    HKEY key;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_QUERY_VALUE, &key) != ERROR_SUCCESS) return s;
    BYTE data[8192];
    DWORD size = sizeof(data);
    s.present = RegQueryValueExW(key, name, nullptr, &s.type, data, &size) == ERROR_SUCCESS;
    if (s.present) s.bytes.assign(data, data + size);
    RegCloseKey(key);
    return s;
}
bool KeyExists(HKEY root, const std::wstring& path) {
    HKEY key;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_QUERY_VALUE, &key) != ERROR_SUCCESS) return false;
    RegCloseKey(key);
    return true;
}
void Write(HKEY root, const std::wstring& path, const wchar_t* name, DWORD type, const void* data,
           DWORD size) {
    ASSERT_EQ(RegSetKeyValueW(root, path.c_str(), name, type, data, size), ERROR_SUCCESS) << path;
}
DWORD TextBytes(const wchar_t* text) {
    return static_cast<DWORD>((wcslen(text) + 1) * 2);
}

// The sub-key names of a key, in the registry's order.
std::vector<std::wstring> SubKeys(HKEY root, const wchar_t* path) {
    std::vector<std::wstring> names;
    HKEY key;
    if (RegOpenKeyExW(root, path, 0, KEY_ENUMERATE_SUB_KEYS, &key) != ERROR_SUCCESS) return names;
    wchar_t name[512];
    for (DWORD i = 0;; ++i) {
        DWORD length = 512;
        if (RegEnumKeyExW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS)
            break;
        names.emplace_back(name, length);
    }
    RegCloseKey(key);
    return names;
}

// The direct child of parent whose label is exactly label.
HTREEITEM Child(HWND tree, HTREEITEM parent, const std::wstring& label) {
    for (HTREEITEM item = TreeView_GetChild(tree, parent); item;
         item = TreeView_GetNextSibling(tree, item))
        if (Label(tree, item) == label) return item;
    return nullptr;
}
int Children(HWND tree, HTREEITEM parent) {
    int count = 0;
    for (HTREEITEM item = TreeView_GetChild(tree, parent); item;
         item = TreeView_GetNextSibling(tree, item))
        ++count;
    return count;
}
// The shown button that runs action: hidden buttons may carry the same id.
HWND ShownButton(HWND page, int action) {
    for (HWND child = GetWindow(page, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT))
        if (GetDlgCtrlID(child) == kFirstButtonId + action && IsWindowVisible(child)) return child;
    return nullptr;
}
std::wstring Counted(const wchar_t* name, int count) {
    return std::wstring(name) + L"  (" + std::to_wstring(count) + L")";
}

// ---------------------------------------------------------------------------------------------

struct ComponentFixture {
    const wchar_t* key;
    const wchar_t* shown;  // the node's label; null when it must not be listed
    DWORD nameType;        // REG_NONE: no default value
    std::wstring name;     // bytes as written, terminator included where wanted
    DWORD stubType;        // REG_NONE: no "StubPath"
    std::wstring stub;
};

std::wstring Raw(const wchar_t* text) {
    return std::wstring(text) + L'\0';
}

const ComponentFixture kComponentFixtures[] = {
    {L"{VistrelE2E-1-Named}", L"Vistrel E2E component", REG_SZ, Raw(L"Vistrel E2E component"),
     REG_SZ, Raw(L"C:\\windows\\system32\\kernel32.dll /install")},
    {L"{VistrelE2E-2-Nameless}", L"rundll32.exe vistrel_e2e_nameless", REG_NONE, L"", REG_SZ,
     Raw(L"rundll32.exe vistrel_e2e_nameless")},
    {L"{VistrelE2E-3-ZeroName}", L"C:\\windows\\notepad.exe /zero", REG_SZ, L"", REG_SZ,
     Raw(L"C:\\windows\\notepad.exe /zero")},
    {L"{VistrelE2E-4-BinaryName}", L"Vistrel E2E binary", REG_BINARY, L"Vistrel E2E binary",
     REG_EXPAND_SZ, Raw(L"%SystemRoot%\\notepad.exe /b")},
    {L"{VistrelE2E-5-NoStub}", nullptr, REG_SZ, Raw(L"Vistrel E2E no stub"), REG_NONE, L""},
    {L"{VistrelE2E-6-ZeroStub}", nullptr, REG_SZ, Raw(L"Vistrel E2E zero stub"), REG_SZ, L""},
};

std::wstring ComponentKey(const wchar_t* name) {
    return std::wstring(kComponents) + L"\\" + name;
}

class ComponentsPage : public HostedPage {
  protected:
    ComponentsPage() : HostedPage({}) {}
    void SetUp() override {
        found_ = SubKeys(HKEY_LOCAL_MACHINE, kComponents);
        for (const ComponentFixture& f : kComponentFixtures) {
            const std::wstring key = ComponentKey(f.key);
            ASSERT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, key)) << "left from an earlier run";
            made_.push_back(key);
            HKEY created;
            ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0, KEY_WRITE,
                                      nullptr, &created, nullptr),
                      ERROR_SUCCESS);
            RegCloseKey(created);
            if (f.nameType != REG_NONE)
                Write(HKEY_LOCAL_MACHINE, key, nullptr, f.nameType, f.name.data(),
                      static_cast<DWORD>(f.name.size() * 2));
            if (f.stubType != REG_NONE)
                Write(HKEY_LOCAL_MACHINE, key, L"StubPath", f.stubType, f.stub.data(),
                      static_cast<DWORD>(f.stub.size() * 2));
        }
        Write(HKEY_LOCAL_MACHINE, ComponentKey(kComponentFixtures[0].key) + L"\\Inner", L"x",
              REG_SZ, L"y", 4);
        // Counted apart from the collector: the components with a "StubPath" that isn't empty.
        for (const std::wstring& name : SubKeys(HKEY_LOCAL_MACHINE, kComponents)) {
            const Stored stub = Read(HKEY_LOCAL_MACHINE, ComponentKey(name.c_str()), L"StubPath");
            if (stub.bytes.size() >= 2 && (stub.bytes[0] | stub.bytes[1]) != 0) ++listed_;
        }
        ASSERT_NO_FATAL_FAILURE(HostedPage::SetUp());
        ASSERT_NO_FATAL_FAILURE(ShowAndWait());
        category_ = Find(tree_, L"Installed components");
        ASSERT_NE(category_, nullptr);
    }
    void TearDown() override {
        HostedPage::TearDown();
        for (const std::wstring& key : made_) RegDeleteTreeW(HKEY_LOCAL_MACHINE, key.c_str());
        EXPECT_EQ(SubKeys(HKEY_LOCAL_MACHINE, kComponents), found_);
    }

    std::vector<std::wstring> found_, made_;
    int listed_ = 0;
    HTREEITEM category_ = nullptr;
};

TEST_F(ComponentsPage, ComponentsWithACommandAppearAndRemoveDeletesExactlyOneKey) {
    EXPECT_EQ(Label(tree_, category_), Counted(L"Installed components", listed_));
    EXPECT_EQ(Children(tree_, category_), listed_);
    for (const ComponentFixture& f : kComponentFixtures) {
        SCOPED_TRACE(testing::Message() << f.key);
        if (f.shown) {
            EXPECT_NE(Child(tree_, category_, f.shown), nullptr);
        }
    }
    EXPECT_EQ(Child(tree_, category_, L"Vistrel E2E no stub"), nullptr);
    EXPECT_EQ(Child(tree_, category_, L"Vistrel E2E zero stub"), nullptr);
    EXPECT_EQ(Child(tree_, category_, L"(Default)"), nullptr);

    Select(Child(tree_, category_, L"Vistrel E2E component"));
    const std::wstring pane = Pane();
    EXPECT_NE(pane.find(L"Object: C:\\windows\\system32\\kernel32.dll /install\r\n"),
              std::wstring::npos)
        << pane;
    EXPECT_NE(pane.find(L"File: kernel32.dll\r\n"), std::wstring::npos) << pane;

    const std::vector<std::wstring> before = SubKeys(HKEY_LOCAL_MACHINE, kComponents);
    {
        ConfirmationClicker clicker(IDOK, false);
        PostMessageW(Button(2), BM_CLICK, 0, 0);
        ASSERT_TRUE(PumpUntil([&] {
            return !KeyExists(HKEY_LOCAL_MACHINE, ComponentKey(kComponentFixtures[0].key));
        }));
        EXPECT_TRUE(clicker.Clicked());
    }
    Pump(std::chrono::milliseconds(100));
    std::vector<std::wstring> expected = before;
    expected.erase(std::find(expected.begin(), expected.end(), kComponentFixtures[0].key));
    EXPECT_EQ(SubKeys(HKEY_LOCAL_MACHINE, kComponents), expected);
    for (const ComponentFixture& f : kComponentFixtures) {
        if (&f == &kComponentFixtures[0]) continue;
        SCOPED_TRACE(testing::Message() << f.key);
        const std::wstring key = ComponentKey(f.key);
        EXPECT_EQ(Read(HKEY_LOCAL_MACHINE, key, L"StubPath").bytes.size(),
                  f.stubType == REG_NONE ? 0u : f.stub.size() * 2);
    }
    EXPECT_EQ(Child(tree_, category_, L"Vistrel E2E component"), nullptr);
    EXPECT_EQ(Label(tree_, category_), Counted(L"Installed components", listed_ - 1));
}

// ---------------------------------------------------------------------------------------------

constexpr std::array<const wchar_t*, 4> kClasses = {L"exefile", L"comfile", L"batfile", L"piffile"};
std::wstring CommandKey(const wchar_t* cls) {
    return std::wstring(cls) + L"\\shell\\open\\command";
}
std::wstring MachineKey(const wchar_t* cls) {
    return L"Software\\CLASSES\\" + CommandKey(cls);
}

// The default values of the eight command keys, as the registry holds them.
std::vector<Stored> DumpCommands() {
    std::vector<Stored> dump;
    for (HKEY root : {HKEY_CLASSES_ROOT, HKEY_LOCAL_MACHINE})
        for (const wchar_t* cls : kClasses)
            dump.push_back(
                Read(root, root == HKEY_CLASSES_ROOT ? CommandKey(cls) : MachineKey(cls), nullptr));
    return dump;
}

// A class's command key as found: the value, and the outermost level that wasn't there.
struct SavedCommand {
    std::wstring cls;
    Stored value;
    std::wstring firstMissing;
};

const wchar_t kHijack[] = L"C:\\vistrel_e2e\\hijack.exe \"%1\" %*";
const wchar_t kPifCommand[] = L"C:\\vistrel_e2e\\pif.exe";

class FileAssocPage : public HostedPage {
  protected:
    FileAssocPage() : HostedPage({}) {}
    void SetUp() override {
        found_ = DumpCommands();
        for (const wchar_t* cls : {L"exefile", L"batfile", L"piffile"}) {
            SavedCommand saved{cls, Read(HKEY_LOCAL_MACHINE, MachineKey(cls), nullptr), L""};
            std::wstring level = L"Software\\CLASSES\\" + std::wstring(cls);
            for (const wchar_t* next : {L"", L"\\shell", L"\\open", L"\\command"}) {
                level += next;
                if (!KeyExists(HKEY_LOCAL_MACHINE, level)) {
                    saved.firstMissing = level;
                    break;
                }
            }
            saved_.push_back(saved);
        }
        // A hijacked command, one of zero bytes, and binary data without terminator and with an
        // odd last byte.
        Write(HKEY_LOCAL_MACHINE, MachineKey(L"exefile"), nullptr, REG_SZ, kHijack,
              TextBytes(kHijack));
        Write(HKEY_LOCAL_MACHINE, MachineKey(L"batfile"), nullptr, REG_SZ, L"", 0);
        Write(HKEY_LOCAL_MACHINE, MachineKey(L"piffile"), nullptr, REG_BINARY, kPifCommand,
              static_cast<DWORD>(wcslen(kPifCommand) * 2 + 1));
        for (const Stored& s : DumpCommands()) listed_ += s.present && s.bytes.size() <= 4096;
        ASSERT_NO_FATAL_FAILURE(HostedPage::SetUp());
        ASSERT_NO_FATAL_FAILURE(ShowAndWait());
        ASSERT_NE(Category(), nullptr);
    }
    void TearDown() override {
        HostedPage::TearDown();
        for (const SavedCommand& s : saved_) {
            if (!s.firstMissing.empty())
                RegDeleteTreeW(HKEY_LOCAL_MACHINE, s.firstMissing.c_str());
            else if (s.value.present)
                RegSetKeyValueW(HKEY_LOCAL_MACHINE, MachineKey(s.cls.c_str()).c_str(), nullptr,
                                s.value.type, s.value.bytes.data(),
                                static_cast<DWORD>(s.value.bytes.size()));
            else
                RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, MachineKey(s.cls.c_str()).c_str(), nullptr);
        }
        EXPECT_EQ(DumpCommands(), found_);
    }
    HTREEITEM Category() { return Find(tree_, L"Program file associations"); }
    std::wstring Details(const std::wstring& root, const std::wstring& path,
                         const std::wstring& command) {
        return L"Path: " + root + L"\\" + path + L"\r\nCurrent command: " + command +
               L"\r\nDefault command: " + kDefaultCommand;
    }

    std::vector<Stored> found_;
    std::vector<SavedCommand> saved_;
    int listed_ = 0;
};

TEST_F(FileAssocPage, CommandsAppearWithDetailsAndRestoreWritesExactlyTheDefault) {
    HTREEITEM category = Category();
    EXPECT_EQ(Label(tree_, category), Counted(L"Program file associations", listed_));
    EXPECT_EQ(Children(tree_, category), listed_);

    // Each class stands under both roots; under Wine the merged view is the machine's classes.
    const std::pair<const wchar_t*, std::wstring> shown[] = {
        {L"exefile", kHijack}, {L"batfile", L""}, {L"piffile", kPifCommand}};
    for (const auto& [cls, command] : shown) {
        SCOPED_TRACE(testing::Message() << cls);
        Select(Child(tree_, category, CommandKey(cls)));
        EXPECT_EQ(Pane(), Details(L"HKEY_CLASSES_ROOT", CommandKey(cls), command));
        Select(Child(tree_, category, MachineKey(cls)));
        EXPECT_EQ(Pane(), Details(L"HKEY_LOCAL_MACHINE", MachineKey(cls), command));
    }

    // Refresh, Go to and Restore; Restore is the third button and runs action 3.
    Select(Child(tree_, category, MachineKey(L"piffile")));
    HWND restore = ShownButton(page_, 3);
    ASSERT_NE(restore, nullptr);
    EXPECT_TRUE(IsWindowEnabled(restore));
    EXPECT_EQ(Text(restore), L"Restore");
    EXPECT_EQ(ShownButton(page_, 2), nullptr);

    const std::vector<Stored> before = DumpCommands();
    g_hostAsked = 0;
    PostMessageW(restore, BM_CLICK, 0, 0);
    const Stored restored{true, REG_SZ,
                          std::vector<BYTE>(reinterpret_cast<const BYTE*>(kDefaultCommand),
                                            reinterpret_cast<const BYTE*>(kDefaultCommand) + 16)};
    ASSERT_TRUE(PumpUntil(
        [&] { return Read(HKEY_LOCAL_MACHINE, MachineKey(L"piffile"), nullptr) == restored; }));
    EXPECT_EQ(g_hostAsked.load(), 1);
    const std::vector<Stored> after = DumpCommands();
    for (std::size_t k = 0; k < after.size(); ++k) {
        SCOPED_TRACE(testing::Message() << "key " << k);
        // piffile under either root: both name the one key of the machine's classes.
        EXPECT_EQ(after[k], k % 4 == 3 ? restored : before[k]);
    }

    // The page reads again and shows the class with its default command.
    ASSERT_TRUE(PumpUntil([&] {
        HTREEITEM c = Category();
        return Filled() && c && Child(tree_, c, MachineKey(L"piffile"));
    }));
    Select(Child(tree_, Category(), MachineKey(L"piffile")));
    EXPECT_EQ(Pane(), Details(L"HKEY_LOCAL_MACHINE", MachineKey(L"piffile"), kDefaultCommand));
}

}  // namespace
}  // namespace hostedpage
