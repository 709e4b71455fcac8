// Run items end to end under Wine: values written into the real HKCU Run key appear on the page
// hosted in-process, the pane describes their files, Remove deletes exactly the chosen value and
// Go to leaves the editor's "LastKey" at the key; a value hidden behind a NUL in its name shows
// apart from the plain one and is removed alone.
#include "platform/win32/win32_concerns.h"
#include "tests/support/win32/hosted_page.h"
// After the wrapper: the process snapshot needs its types.
#include <tlhelp32.h>

#include <algorithm>

namespace hostedpage {
namespace {

constexpr wchar_t kEditorKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Applets\\Regedit";
constexpr wchar_t kValueOne[] = L"VistrelE2E One";
constexpr wchar_t kValueTwo[] = L"VistrelE2E Two";

// The number of running registry editors; with end, they are ended and waited for.
int Editors(bool end) {
    int count = 0;
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE) return 0;
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL ok = Process32FirstW(snapshot, &entry); ok; ok = Process32NextW(snapshot, &entry)) {
        if (_wcsicmp(entry.szExeFile, L"regedit.exe") != 0) continue;
        ++count;
        HANDLE process =
            end ? OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, entry.th32ProcessID)
                : nullptr;
        if (!process) continue;
        TerminateProcess(process, 0);
        WaitForSingleObject(process, 5000);
        CloseHandle(process);
    }
    CloseHandle(snapshot);
    return count;
}

class RunItemsPage : public HostedPage {
  protected:
    RunItemsPage()
        : HostedPage({{kValueOne, L"C:\\windows\\system32\\kernel32.dll /quiet"},
                      {kValueTwo, L"notepad"}}) {}
    void SetUp() override {
        Editors(true);
        ASSERT_NO_FATAL_FAILURE(HostedPage::SetUp());
        HKEY key;
        ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, kRunKey, 0, KEY_QUERY_VALUE, &key),
                  ERROR_SUCCESS);
        RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &values_,
                         nullptr, nullptr, nullptr, nullptr);
        RegCloseKey(key);
        ASSERT_NO_FATAL_FAILURE(ShowAndWait());
        category_ = Find(tree_, kUserRun);
        ASSERT_NE(category_, nullptr);
    }
    void TearDown() override {
        HostedPage::TearDown();
        Editors(true);
    }
    std::wstring CountedLabel(DWORD count) {
        return std::wstring(kUserRun) + L"  (" + std::to_wstring(count) + L")";
    }

    DWORD values_ = 0;
    HTREEITEM category_ = nullptr;
};

TEST_F(RunItemsPage, ValuesAppearWithCountDetailsAndRemoveDeletesExactlyOne) {
    EXPECT_EQ(Label(tree_, category_), CountedLabel(values_));
    ASSERT_NE(Find(tree_, kValueTwo, category_), nullptr);
    Select(Find(tree_, kValueOne, category_));
    const std::wstring pane = Pane();
    EXPECT_NE(pane.find(L"C:\\windows\\system32\\kernel32.dll /quiet"), std::wstring::npos) << pane;
    EXPECT_NE(pane.find(L"kernel32.dll\r\n"), std::wstring::npos) << pane;
    // Wine's kernel32 has a version block: the version lines are dotted numbers.
    EXPECT_NE(pane.find(L"."), std::wstring::npos);

    ASSERT_TRUE(IsWindowVisible(Button(2)) && IsWindowEnabled(Button(2)));
    {
        ConfirmationClicker clicker(IDOK, false);
        PostMessageW(Button(2), BM_CLICK, 0, 0);
        ASSERT_TRUE(PumpUntil([&] { return !ValueExists(kRunKey, kValueOne); }));
        EXPECT_TRUE(clicker.Clicked());
    }
    Pump(std::chrono::milliseconds(100));
    EXPECT_TRUE(ValueExists(kRunKey, kValueTwo));
    EXPECT_EQ(Find(tree_, kValueOne, category_), nullptr);
    EXPECT_NE(Find(tree_, kValueTwo, category_), nullptr);
    EXPECT_EQ(Label(tree_, category_), CountedLabel(values_ - 1));
}

TEST_F(RunItemsPage, GoToLeavesLastKeyAtTheRunKeyAndStartsTheEditor) {
    SavedValue lastKeyBefore(kEditorKey, L"LastKey");
    Select(Find(tree_, kValueTwo, category_));
    PostMessageW(Button(1), BM_CLICK, 0, 0);
    ASSERT_TRUE(PumpUntil([] { return Editors(false) > 0; }));
    Editors(true);  // before LastKey is put back

    wchar_t lastKey[512] = {};
    DWORD size = sizeof(lastKey);
    ASSERT_EQ(RegGetValueW(HKEY_CURRENT_USER, kEditorKey, L"LastKey", RRF_RT_REG_SZ, nullptr,
                           lastKey, &size),
              ERROR_SUCCESS);
    EXPECT_STREQ(lastKey,
                 L"Computer\\HKEY_CURRENT_USER\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run");
    // Go to changes nothing in the tree.
    EXPECT_NE(Find(tree_, kValueTwo, category_), nullptr);
    EXPECT_TRUE(ValueExists(kRunKey, kValueTwo));
}

constexpr wchar_t kPlain[] = L"VistrelE2E Updater";
const std::u16string kHidden(u"VistrelE2E Updater\0x", 20);

// Whether HKCU's Run key holds a value of exactly this counted name.
bool HasCountedValue(const std::u16string& name) {
    HKEY key;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, kRunKey, 0, KEY_QUERY_VALUE, &key) != ERROR_SUCCESS)
        return false;
    bool found = false;
    wchar_t buffer[256];
    DWORD chars = 256;
    for (DWORD i = 0; !found && RegEnumValueW(key, i, buffer, &chars, nullptr, nullptr, nullptr,
                                              nullptr) == ERROR_SUCCESS;
         ++i, chars = 256)
        found = std::u16string(reinterpret_cast<const char16_t*>(buffer), chars) == name;
    RegCloseKey(key);
    return found;
}

// The hidden value is written with its counted name beside a plain one, and goes afterwards.
class HiddenValuePage : public HostedPage {
  protected:
    HiddenValuePage() : HostedPage({{kPlain, L"C:\\plain.exe"}}) {}
    static platform::Status WithRunKey(bool remove) {
        platform::Registry& registry = platform::win32::RegistryBackend();
        platform::RegKey key = nullptr;
        platform::Status status =
            registry.OpenKey(platform::kHkeyCurrentUser, reinterpret_cast<const char16_t*>(kRunKey),
                             platform::kKeySetValue, &key);
        if (status != platform::kErrorSuccess) return status;
        static const char16_t kData[] = u"C:\\hidden.exe";
        status = remove ? registry.DeleteCountedValue(key, kHidden)
                        : registry.SetCountedValue(key, kHidden, REG_SZ, kData, sizeof(kData));
        registry.CloseKey(key);
        return status;
    }
    void SetUp() override {
        ASSERT_EQ(WithRunKey(false), platform::kErrorSuccess);
        ASSERT_NO_FATAL_FAILURE(HostedPage::SetUp());
        ASSERT_NO_FATAL_FAILURE(ShowAndWait());
        category_ = Find(tree_, kUserRun);
        ASSERT_NE(category_, nullptr);
    }
    void TearDown() override {
        HostedPage::TearDown();
        WithRunKey(true);
    }
    // The labels of the category's entries that start with kPlain.
    std::vector<std::wstring> Shown() {
        std::vector<std::wstring> labels;
        for (HTREEITEM item = TreeView_GetChild(tree_, category_); item;
             item = TreeView_GetNextSibling(tree_, item))
            labels.push_back(Label(tree_, item));
        std::erase_if(labels,
                      [](const std::wstring& label) { return label.rfind(kPlain, 0) != 0; });
        std::sort(labels.begin(), labels.end());
        return labels;
    }
    HTREEITEM category_ = nullptr;
};

TEST_F(HiddenValuePage, ValueHiddenBehindANulShowsApartAndIsRemovedAlone) {
    const std::wstring plain = kPlain, visible = plain + L"\\0x";
    ASSERT_EQ(Shown(), (std::vector<std::wstring>{plain, visible}));
    Select(Find(tree_, visible, category_));
    {
        ConfirmationClicker clicker(IDOK, false);
        PostMessageW(Button(2), BM_CLICK, 0, 0);
        ASSERT_TRUE(PumpUntil([&] { return !HasCountedValue(kHidden); }));
        EXPECT_TRUE(clicker.Clicked());
    }
    Pump(std::chrono::milliseconds(100));
    EXPECT_TRUE(ValueExists(kRunKey, kPlain));
    EXPECT_EQ(Shown(), std::vector<std::wstring>(1, plain));
}

}  // namespace
}  // namespace hostedpage
