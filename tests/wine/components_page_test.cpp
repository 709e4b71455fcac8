// Installed components end to end under Wine: fixtures in the real registry appear on the hosted
// page with their count and details, Remove deletes exactly the chosen component's whole key
// through the page and its helper, and everything is put back as it was found.
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

}  // namespace
}  // namespace hostedpage
