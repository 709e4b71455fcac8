// Installed components and file associations end to end under Wine: fixtures in the real
// registry appear on the hosted page with their counts and details, Remove deletes exactly the
// chosen component's key, Restore writes exactly the default command into the chosen class key,
// and everything is put back as it was found.
#include <array>
#include <string>
#include <vector>

#include "tests/support/win32/hosted_page.h"

namespace hostedpage {
namespace {

constexpr wchar_t kComponents[] = L"SOFTWARE\\Microsoft\\Active Setup\\Installed Components";
constexpr wchar_t kDefaultCommand[] = L"\"%1\" %*";

// A value as the registry holds it; present false when it or its key is missing.
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
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
    RegCloseKey(key);
    return true;
}
// Text as a value of type: binary data without terminator, an empty string as zero bytes.
void Write(HKEY root, const std::wstring& path, const wchar_t* name, DWORD type,
           const wchar_t* text) {
    const std::size_t chars = wcslen(text) + (type == REG_BINARY || !*text ? 0 : 1);
    ASSERT_EQ(RegSetKeyValueW(root, path.c_str(), name, type, text, DWORD(chars * 2)), 0) << path;
}
std::vector<std::wstring> SubKeys(HKEY root, const wchar_t* path) {
    std::vector<std::wstring> names;
    HKEY key;
    if (RegOpenKeyExW(root, path, 0, KEY_ENUMERATE_SUB_KEYS, &key) != ERROR_SUCCESS) return names;
    wchar_t name[512];
    for (DWORD i = 0, length = 512;
         RegEnumKeyExW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr) == 0;
         ++i, length = 512)
        names.emplace_back(name, length);
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
// The shown button that runs action: a hidden one may carry the same id.
HWND ShownButton(HWND page, int action) {
    for (HWND child = GetWindow(page, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT))
        if (GetDlgCtrlID(child) == kFirstButtonId + action && IsWindowVisible(child)) return child;
    return nullptr;
}
std::wstring Counted(const wchar_t* name, int count) {
    return std::wstring(name) + L"  (" + std::to_wstring(count) + L")";
}

// --- Installed components ---

struct ComponentFixture {
    const wchar_t* key;
    DWORD nameType;  // REG_NONE: no default value
    const wchar_t* name;
    DWORD stubType;  // REG_NONE: no "StubPath"
    const wchar_t* stub;
    const wchar_t* shown;  // the node's label; null when it is no entry
};
const ComponentFixture kComponentFixtures[] = {
    {L"{VistrelE2E-1}", REG_SZ, L"Vistrel E2E component", REG_SZ,
     L"C:\\windows\\system32\\kernel32.dll /install", L"Vistrel E2E component"},
    {L"{VistrelE2E-2}", REG_SZ, L"", REG_EXPAND_SZ, L"%SystemRoot%\\notepad.exe /zero",
     L"%SystemRoot%\\notepad.exe /zero"},
    {L"{VistrelE2E-3}", REG_BINARY, L"Vistrel E2E binary", REG_SZ, L"notepad.exe /b",
     L"Vistrel E2E binary"},
    {L"{VistrelE2E-4}", REG_SZ, L"Vistrel E2E no stub", REG_NONE, L"", nullptr},
    {L"{VistrelE2E-5}", REG_SZ, L"Vistrel E2E zero stub", REG_SZ, L"", nullptr},
};
std::wstring ComponentKey(const std::wstring& name) {
    return std::wstring(kComponents) + L"\\" + name;
}
// Every component with its name and command.
std::vector<std::pair<std::wstring, std::array<Stored, 2>>> DumpComponents() {
    std::vector<std::pair<std::wstring, std::array<Stored, 2>>> dump;
    for (const std::wstring& name : SubKeys(HKEY_LOCAL_MACHINE, kComponents))
        dump.push_back({name,
                        {Read(HKEY_LOCAL_MACHINE, ComponentKey(name), nullptr),
                         Read(HKEY_LOCAL_MACHINE, ComponentKey(name), L"StubPath")}});
    return dump;
}

class ComponentsPage : public HostedPage {
  protected:
    ComponentsPage() : HostedPage({}) {}
    void SetUp() override {
        found_ = DumpComponents();
        for (const ComponentFixture& f : kComponentFixtures) {
            const std::wstring key = ComponentKey(f.key);
            ASSERT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, key)) << "left from an earlier run";
            made_.push_back(key);
            Write(HKEY_LOCAL_MACHINE, key, nullptr, f.nameType, f.name);
            if (f.stubType != REG_NONE)
                Write(HKEY_LOCAL_MACHINE, key, L"StubPath", f.stubType, f.stub);
        }
        Write(HKEY_LOCAL_MACHINE, made_[0] + L"\\Inner", L"x", REG_SZ, L"y");
        // Counted apart from the collector: components whose "StubPath" holds a character.
        for (const auto& [name, values] : DumpComponents())
            listed_ += values[1].bytes.size() >= 2 && (values[1].bytes[0] | values[1].bytes[1]);
        ASSERT_NO_FATAL_FAILURE(HostedPage::SetUp());
        ASSERT_NO_FATAL_FAILURE(ShowAndWait());
        category_ = Find(tree_, L"Installed components");
        ASSERT_NE(category_, nullptr);
    }
    void TearDown() override {
        HostedPage::TearDown();
        for (const std::wstring& key : made_) RegDeleteTreeW(HKEY_LOCAL_MACHINE, key.c_str());
        EXPECT_EQ(DumpComponents(), found_);
    }

    std::vector<std::pair<std::wstring, std::array<Stored, 2>>> found_;
    std::vector<std::wstring> made_;
    int listed_ = 0;
    HTREEITEM category_ = nullptr;
};

TEST_F(ComponentsPage, ComponentsWithACommandAppearAndRemoveDeletesExactlyOneKey) {
    EXPECT_EQ(Label(tree_, category_), Counted(L"Installed components", listed_));
    for (const ComponentFixture& f : kComponentFixtures) {
        SCOPED_TRACE(testing::Message() << f.key);
        EXPECT_EQ(Child(tree_, category_, f.shown ? f.shown : f.name) != nullptr,
                  f.shown != nullptr);
    }
    EXPECT_EQ(Child(tree_, category_, L"(Default)"), nullptr);

    Select(Child(tree_, category_, L"Vistrel E2E component"));
    const std::wstring pane = Pane();
    EXPECT_NE(pane.find(L"Object: C:\\windows\\system32\\kernel32.dll /install\r\nFile: "
                        L"kernel32.dll\r\n"),
              std::wstring::npos)
        << pane;

    auto expected = DumpComponents();
    std::erase_if(expected, [](const auto& entry) { return entry.first == L"{VistrelE2E-1}"; });
    {
        ConfirmationClicker clicker(IDOK, false);
        PostMessageW(Button(2), BM_CLICK, 0, 0);
        ASSERT_TRUE(PumpUntil([&] { return !KeyExists(HKEY_LOCAL_MACHINE, made_[0]); }));
        EXPECT_TRUE(clicker.Clicked());
    }
    Pump(std::chrono::milliseconds(100));
    EXPECT_EQ(DumpComponents(), expected);
    EXPECT_EQ(Child(tree_, category_, L"Vistrel E2E component"), nullptr);
    EXPECT_EQ(Label(tree_, category_), Counted(L"Installed components", listed_ - 1));
}

// --- File associations ---

constexpr std::array<const wchar_t*, 4> kClasses = {L"exefile", L"comfile", L"batfile", L"piffile"};
std::wstring CommandKey(const wchar_t* cls) {
    return std::wstring(cls) + L"\\shell\\open\\command";
}
std::wstring MachineKey(const wchar_t* cls) {
    return L"Software\\CLASSES\\" + CommandKey(cls);
}
// The default values of the eight command keys.
std::vector<Stored> DumpCommands() {
    std::vector<Stored> dump;
    for (const wchar_t* cls : kClasses)
        dump.push_back(Read(HKEY_CLASSES_ROOT, CommandKey(cls), nullptr));
    for (const wchar_t* cls : kClasses)
        dump.push_back(Read(HKEY_LOCAL_MACHINE, MachineKey(cls), nullptr));
    return dump;
}

// A hijacked command, one of zero bytes, and binary data without terminator.
const std::pair<const wchar_t*, const wchar_t*> kCommands[] = {
    {L"exefile", L"C:\\vistrel_e2e\\hijack.exe \"%1\" %*"},
    {L"batfile", L""},
    {L"piffile", L"C:\\pif.exe"}};

class FileAssocPage : public HostedPage {
  protected:
    FileAssocPage() : HostedPage({}) {}
    void SetUp() override {
        found_ = DumpCommands();
        for (const auto& [cls, command] : kCommands) {
            // The value as found, or the outermost level that wasn't there.
            std::wstring level = L"Software\\CLASSES\\" + std::wstring(cls), missing;
            for (const wchar_t* next : {L"", L"\\shell", L"\\open", L"\\command"})
                if (missing.empty() && !KeyExists(HKEY_LOCAL_MACHINE, level += next))
                    missing = level;
            saved_.push_back({Read(HKEY_LOCAL_MACHINE, MachineKey(cls), nullptr), missing});
            Write(HKEY_LOCAL_MACHINE, MachineKey(cls), nullptr,
                  cls == std::wstring(L"piffile") ? REG_BINARY : REG_SZ, command);
        }
        for (const Stored& s : DumpCommands()) listed_ += s.present && s.bytes.size() <= 4096;
        ASSERT_NO_FATAL_FAILURE(HostedPage::SetUp());
        ASSERT_NO_FATAL_FAILURE(ShowAndWait());
        ASSERT_NE(Category(), nullptr);
    }
    void TearDown() override {
        HostedPage::TearDown();
        for (std::size_t i = 0; i < saved_.size(); ++i) {
            const auto& [value, missing] = saved_[i];
            const std::wstring key = MachineKey(kCommands[i].first);
            if (!missing.empty())
                RegDeleteTreeW(HKEY_LOCAL_MACHINE, missing.c_str());
            else if (value.present)
                RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), nullptr, value.type,
                                value.bytes.data(), DWORD(value.bytes.size()));
            else
                RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), nullptr);
        }
        EXPECT_EQ(DumpCommands(), found_);
    }
    HTREEITEM Category() { return Find(tree_, L"Program file associations"); }
    std::wstring Details(const wchar_t* root, const std::wstring& path,
                         const std::wstring& command) {
        return L"Path: " + (root + (L"\\" + path)) + L"\r\nCurrent command: " + command +
               L"\r\nDefault command: " + kDefaultCommand;
    }

    std::vector<Stored> found_;
    std::vector<std::pair<Stored, std::wstring>> saved_;
    int listed_ = 0;
};

TEST_F(FileAssocPage, CommandsAppearWithDetailsAndRestoreWritesExactlyTheDefault) {
    HTREEITEM category = Category();
    EXPECT_EQ(Label(tree_, category), Counted(L"Program file associations", listed_));
    // Each class stands under both roots; under Wine the merged view is the machine's classes.
    for (const auto& [cls, command] : kCommands) {
        SCOPED_TRACE(testing::Message() << cls);
        Select(Child(tree_, category, CommandKey(cls)));
        EXPECT_EQ(Pane(), Details(L"HKEY_CLASSES_ROOT", CommandKey(cls), command));
        Select(Child(tree_, category, MachineKey(cls)));
        EXPECT_EQ(Pane(), Details(L"HKEY_LOCAL_MACHINE", MachineKey(cls), command));
    }

    // Refresh, Go to and Restore: Restore is the third button shown and runs action 3.
    Select(Child(tree_, category, MachineKey(L"piffile")));
    HWND restore = ShownButton(page_, 3);
    ASSERT_NE(restore, nullptr);
    EXPECT_EQ(Text(restore), L"Restore");
    EXPECT_EQ(ShownButton(page_, 2), nullptr);
    const std::vector<Stored> before = DumpCommands();
    g_hostAsked = 0;
    PostMessageW(restore, BM_CLICK, 0, 0);
    const auto* bytes = reinterpret_cast<const BYTE*>(kDefaultCommand);
    const Stored restored{true, REG_SZ, std::vector<BYTE>(bytes, bytes + 16)};
    ASSERT_TRUE(PumpUntil(
        [&] { return Read(HKEY_LOCAL_MACHINE, MachineKey(L"piffile"), nullptr) == restored; }));
    EXPECT_EQ(g_hostAsked.load(), 1);
    // piffile under either root: both name the one key of the machine's classes.
    const std::vector<Stored> after = DumpCommands();
    for (std::size_t k = 0; k < after.size(); ++k)
        EXPECT_EQ(after[k], k % 4 == 3 ? restored : before[k]) << "key " << k;

    // The page reads again and shows the class with its default command.
    ASSERT_TRUE(PumpUntil([&] {
        return Filled() && Category() && Child(tree_, Category(), MachineKey(L"piffile"));
    }));
    Select(Child(tree_, Category(), MachineKey(L"piffile")));
    EXPECT_EQ(Pane(), Details(L"HKEY_LOCAL_MACHINE", MachineKey(L"piffile"), kDefaultCommand));
}

}  // namespace
}  // namespace hostedpage
