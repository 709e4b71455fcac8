// Installed components and file-class commands end to end under Wine: fixtures in the real
// registry appear on the hosted page with their count and details, Remove deletes exactly the
// chosen component's whole key, Restore writes exactly the default command into the chosen class
// key, and everything is put back as it was found.
#include <string>
#include <vector>

#include "tests/support/win32/hosted_page.h"

namespace hostedpage {
namespace {

constexpr wchar_t kComponents[] = L"SOFTWARE\\Microsoft\\Active Setup\\Installed Components";

// Counted apart from the collector: a component whose "StubPath" starts with a character.
bool HasCommand(const std::wstring& key) {
    wchar_t data[4096];
    DWORD size = sizeof data;
    return RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"StubPath", RRF_RT_ANY, nullptr, data,
                        &size) == ERROR_SUCCESS &&
           size >= 2 && data[0];
}
bool KeyExists(HKEY root, const std::wstring& path) {
    HKEY key;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
    RegCloseKey(key);
    return true;
}
// An empty string as zero bytes.
void Write(HKEY root, const std::wstring& path, const wchar_t* name, DWORD type,
           const wchar_t* text) {
    const std::size_t chars = *text ? wcslen(text) + 1 : 0;
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
std::wstring Counted(const wchar_t* name, int count) {
    return std::wstring(name) + L"  (" + std::to_wstring(count) + L")";
}

// The value types and odd sizes are the unit test's; here the real registry, page and helper.
struct ComponentFixture {
    const wchar_t* key;
    const wchar_t* name;
    const wchar_t* stub;   // null: no "StubPath"
    const wchar_t* shown;  // the node's label; null when it is no entry
};
const ComponentFixture kComponentFixtures[] = {
    {L"{VistrelE2E-1}", L"Vistrel E2E component", L"C:\\windows\\system32\\kernel32.dll /install",
     L"Vistrel E2E component"},
    {L"{VistrelE2E-2}", L"", L"%SystemRoot%\\notepad.exe /zero",
     L"%SystemRoot%\\notepad.exe /zero"},
    {L"{VistrelE2E-3}", L"Vistrel E2E no stub", nullptr, nullptr},
};
std::wstring ComponentKey(const std::wstring& name) {
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
            Write(HKEY_LOCAL_MACHINE, key, nullptr, REG_SZ, f.name);
            if (f.stub) Write(HKEY_LOCAL_MACHINE, key, L"StubPath", REG_EXPAND_SZ, f.stub);
        }
        Write(HKEY_LOCAL_MACHINE, made_[0] + L"\\Inner", L"x", REG_SZ, L"y");
        for (const std::wstring& name : SubKeys(HKEY_LOCAL_MACHINE, kComponents))
            listed_ += HasCommand(ComponentKey(name));
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

    auto expected = SubKeys(HKEY_LOCAL_MACHINE, kComponents);
    std::erase(expected, L"{VistrelE2E-1}");
    {
        ConfirmationClicker clicker(IDOK, false);
        PostMessageW(Button(2), BM_CLICK, 0, 0);
        ASSERT_TRUE(PumpUntil([&] { return !KeyExists(HKEY_LOCAL_MACHINE, made_[0]); }));
        EXPECT_TRUE(clicker.Clicked());
    }
    Pump(std::chrono::milliseconds(100));
    EXPECT_EQ(SubKeys(HKEY_LOCAL_MACHINE, kComponents), expected);
    EXPECT_EQ(Child(tree_, category_, L"Vistrel E2E component"), nullptr);
    EXPECT_EQ(Label(tree_, category_), Counted(L"Installed components", listed_ - 1));
}

// The default values of the command keys of the four classes under the machine's classes, each
// as (present, type, bytes).
constexpr const wchar_t* kClasses[] = {L"exefile", L"comfile", L"batfile", L"piffile"};
std::wstring MachineCommandKey(const wchar_t* cls) {
    return L"Software\\CLASSES\\" + std::wstring(cls) + L"\\shell\\open\\command";
}
std::vector<std::wstring> DumpCommands() {
    std::vector<std::wstring> dump;
    for (const wchar_t* cls : kClasses) {
        BYTE data[8192];
        DWORD size = sizeof data, type = 0;
        const bool present =
            RegGetValueW(HKEY_LOCAL_MACHINE, MachineCommandKey(cls).c_str(), nullptr,
                         RRF_RT_ANY | RRF_NOEXPAND, &type, data, &size) == ERROR_SUCCESS;
        dump.push_back(present ? std::to_wstring(type) + L":" +
                                     std::wstring(reinterpret_cast<wchar_t*>(data), size / 2)
                               : L"absent");
    }
    return dump;
}

class FileAssocPage : public HostedPage {
  protected:
    FileAssocPage() : HostedPage({}) {}
    void SetUp() override {
        found_ = DumpCommands();
        pifKeyExisted_ = KeyExists(HKEY_LOCAL_MACHINE, MachineCommandKey(L"piffile"));
        Write(HKEY_LOCAL_MACHINE, MachineCommandKey(L"piffile"), nullptr, REG_EXPAND_SZ,
              L"C:\\vistrel_e2e\\hijack.exe \"%1\" %*");
        ASSERT_NO_FATAL_FAILURE(HostedPage::SetUp());
        ASSERT_NO_FATAL_FAILURE(ShowAndWait());
    }
    void TearDown() override {
        HostedPage::TearDown();
        const std::wstring key = MachineCommandKey(L"piffile");
        if (!pifKeyExisted_)
            RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"Software\\CLASSES\\piffile");
        else if (found_[3] == L"absent")
            RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), nullptr);
        else
            RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), nullptr,
                            std::stoul(found_[3].substr(0, found_[3].find(L':'))),
                            found_[3].c_str() + found_[3].find(L':') + 1,
                            DWORD((found_[3].size() - found_[3].find(L':') - 1) * 2));
        EXPECT_EQ(DumpCommands(), found_);
    }
    HTREEITEM PifNode() {
        HTREEITEM category = Find(tree_, L"Program file associations");
        return category ? Child(tree_, category, MachineCommandKey(L"piffile")) : nullptr;
    }

    std::vector<std::wstring> found_;
    bool pifKeyExisted_ = false;
};

TEST_F(FileAssocPage, RestoreWritesExactlyTheDefaultCommandIntoTheChosenClass) {
    Select(PifNode());
    EXPECT_NE(Pane().find(L"Current command: C:\\vistrel_e2e\\hijack.exe \"%1\" %*\r\n"
                          L"Default command: \"%1\" %*"),
              std::wstring::npos)
        << Pane();
    // Refresh, Go to and Restore (action 3); no Remove.
    EXPECT_FALSE(IsWindowVisible(Button(2)));
    ASSERT_TRUE(IsWindowVisible(Button(3)));
    std::vector<std::wstring> expected = DumpCommands();
    expected[3] = std::to_wstring(REG_SZ) + L":\"%1\" %*" + std::wstring(1, L'\0');
    PostMessageW(Button(3), BM_CLICK, 0, 0);
    ASSERT_TRUE(PumpUntil([&] { return DumpCommands() == expected; }));
    // The page reads again and shows the class with its default command.
    ASSERT_TRUE(PumpUntil([&] { return Filled() && PifNode(); }));
    Select(PifNode());
    EXPECT_NE(Pane().find(L"Current command: \"%1\" %*\r\n"), std::wstring::npos) << Pane();
}

}  // namespace
}  // namespace hostedpage
