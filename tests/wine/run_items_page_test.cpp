// The page over the current user's Run key end to end under Wine: values written into the real
// key appear with their details, Remove deletes exactly the chosen value (a value hidden behind a
// NUL in its name too, apart from the plain one), Go to leaves the editor's "LastKey" at the key,
// and the page's keys, buttons, confirmation and hiding behave as a host's user sees them.
#include "platform/win32/win32_concerns.h"
#include "tests/support/win32/hosted_page.h"

namespace hostedpage {
namespace {

constexpr wchar_t kEditor[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Applets\\Regedit";
constexpr wchar_t kOne[] = L"VistrelE2E One", kTwo[] = L"VistrelE2E Two";
constexpr wchar_t kPlain[] = L"VistrelE2E Updater";
const std::u16string kHidden(u"VistrelE2E Updater\0x", 20);

// Writes (or with remove, deletes) the value whose counted name has a NUL, which the Win32 calls
// can't name.
platform::Status Hidden(bool remove) {
    platform::Registry& registry = platform::win32::RegistryBackend();
    platform::RegKey key = nullptr;
    platform::Status status = registry.OpenKey(platform::kHkeyCurrentUser,
                                               reinterpret_cast<const char16_t*>(kRunPath.c_str()),
                                               platform::kKeySetValue, &key);
    if (status != platform::kErrorSuccess) return status;
    static const char16_t kData[] = u"C:\\hidden.exe";
    status = remove ? registry.DeleteCountedValue(key, kHidden)
                    : registry.SetCountedValue(key, kHidden, REG_SZ, kData, sizeof(kData));
    registry.CloseKey(key);
    return status;
}

class RunPage : public HostedPage {
  protected:
    void SetUp() override {
        Running(L"regedit.exe", true);
        reg_.Write({{kRunKey, kOne, L"C:\\windows\\system32\\kernel32.dll /quiet"},
                    {kRunKey, kTwo, L"notepad"},
                    {kRunKey, kPlain, L"C:\\plain.exe"}});
        reg_.Undo([] { Hidden(true); });
        ASSERT_EQ(Hidden(false), platform::kErrorSuccess);
        ASSERT_NO_FATAL_FAILURE(Open());
    }
    void TearDown() override {
        HostedPage::TearDown();
        Running(L"regedit.exe", true);
    }
    HTREEITEM Run() { return Category(L"Run (current user)"); }
};

TEST_F(RunPage, ValuesListedDescribedRemovedAloneAndGoneTo) {
    ASSERT_NO_FATAL_FAILURE(ShowAndWait());
    HTREEITEM run = Run();
    const std::wstring hidden = std::wstring(kPlain) + L"\\0x";
    for (const std::wstring label : {kOne, kTwo, kPlain, hidden.c_str()})
        EXPECT_NE(Child(run, label), nullptr) << testing::PrintToString(label);
    const std::wstring pane = Details(Child(run, kOne));
    EXPECT_NE(pane.find(L"C:\\windows\\system32\\kernel32.dll /quiet"), std::wstring::npos) << pane;
    // Wine's kernel32 has a version block: the version lines are dotted numbers.
    EXPECT_NE(pane.find(L"kernel32.dll\r\n"), std::wstring::npos) << pane;
    EXPECT_NE(pane.find(L"."), std::wstring::npos);

    Dump before = DumpOf(kRunKey);
    EXPECT_EQ(Remove(Child(run, kOne), kRunKey), Without(before, L"|VistrelE2E One"));
    before = DumpOf(kRunKey);
    EXPECT_EQ(Remove(Child(run, hidden), kRunKey),
              Without(before, L"|" + std::wstring(kPlain) + std::wstring(L"\0x", 2)));
    before = DumpOf(kRunKey);
    Run();

    reg_.Save(L"HKCU\\" + std::wstring(kEditor), L"LastKey");
    Select(Child(run, kTwo));
    PostMessageW(Button(1), BM_CLICK, 0, 0);
    ASSERT_TRUE(PumpUntil([] { return !Running(L"regedit.exe").empty(); }));
    Running(L"regedit.exe", true);  // before LastKey is put back
    wchar_t lastKey[512] = {};
    DWORD size = sizeof(lastKey);
    ASSERT_EQ(RegGetValueW(HKEY_CURRENT_USER, kEditor, L"LastKey", RRF_RT_REG_SZ, nullptr, lastKey,
                           &size),
              ERROR_SUCCESS);
    EXPECT_EQ(lastKey, L"Computer\\HKEY_CURRENT_USER\\" + kRunPath);
    EXPECT_EQ(DumpOf(kRunKey), before);  // Go to changes nothing
}

TEST_F(RunPage, ButtonsKeysAndTheConfirmationsDontAskAgain) {
    for (int action = 0; action < 5; ++action) EXPECT_FALSE(IsWindowVisible(Button(action)));
    ASSERT_NO_FATAL_FAILURE(ShowAndWait());
    Select(Find(tree_, kOne));
    // Refresh, Go to and Remove, each button carrying its action's id.
    for (int action = 0; action < 3; ++action) EXPECT_TRUE(Offered(action)) << action;
    Key(Button(2), VK_ESCAPE);
    EXPECT_TRUE(IsWindowVisible(page_));
    EXPECT_EQ(TreeView_GetSelection(tree_), Find(tree_, kOne));

    const Dump before = DumpOf(kRunKey);
    {
        // Cancel with the box ticked: nothing happens now, and no question comes again.
        Answerer answerer(IDCANCEL, true);
        Key(Button(0), VK_DELETE);  // from the Refresh button: keys are the page's
        ASSERT_TRUE(PumpUntil([&] { return answerer.confirmations > 0; }));
        Pump(std::chrono::milliseconds(200));
        EXPECT_EQ(answerer.message,
                  L"Do you really want to remove this entry?\r\nThis cannot be undone.");
        EXPECT_EQ(answerer.caption, L"Please confirm");
    }
    EXPECT_EQ(DumpOf(kRunKey), before);
    EXPECT_EQ(g_hostAsked.load(), 1);

    Key(tree_, VK_DELETE);
    ASSERT_TRUE(PumpUntil([&] { return DumpOf(kRunKey) != before; }));
    EXPECT_EQ(DumpOf(kRunKey), Without(before, L"|VistrelE2E One"));
    EXPECT_EQ(Find(tree_, kOne), nullptr);
    EXPECT_EQ(g_hostAsked.load(), 2);
}

TEST_F(RunPage, HidingDuringAPopulationAndShowingAgain) {
    Command(vistrel::kCommandShowPage);
    const std::wstring waiting = Text(GetDlgItem(page_, kTitleId));
    EXPECT_NE(waiting, normalTitle_);
    Command(vistrel::kCommandHidePage);
    Pump(std::chrono::milliseconds(200));
    EXPECT_EQ(TreeView_GetCount(tree_), 0u);
    EXPECT_EQ(Text(GetDlgItem(page_, kTitleId)), normalTitle_);
    EXPECT_FALSE(IsWindowVisible(page_));

    Command(vistrel::kCommandShowPage);
    EXPECT_EQ(Text(GetDlgItem(page_, kTitleId)), waiting);
    ASSERT_TRUE(PumpUntil([&] { return Filled(); }));
    // F5 from the pane repopulates; the tree comes back whole.
    Key(GetDlgItem(page_, kPaneId), VK_F5);
    ASSERT_TRUE(PumpUntil([&] { return Filled(); }));
    EXPECT_NE(Find(tree_, kTwo), nullptr);
}

// F5 queued behind Delete reaches the page while the confirmation is open: it is ignored, and
// OK removes the chosen value with the tree as it was.
TEST_F(RunPage, F5QueuedBehindDeleteWaitsOutTheConfirmation) {
    ASSERT_NO_FATAL_FAILURE(ShowAndWait());
    const int entries = Count(Run());
    const Dump before = DumpOf(kRunKey);
    Select(Find(tree_, kOne));
    Answerer answerer;
    SetFocus(tree_);
    for (WPARAM key : {VK_DELETE, VK_F5}) PostMessageW(tree_, WM_KEYDOWN, key, 1);
    ASSERT_TRUE(PumpUntil([&] { return DumpOf(kRunKey) != before; }));
    Pump(std::chrono::milliseconds(300));
    EXPECT_EQ(answerer.confirmations.load(), 1);
    EXPECT_EQ(DumpOf(kRunKey), Without(before, L"|VistrelE2E One"));
    EXPECT_TRUE(Filled());
    EXPECT_EQ(Find(tree_, kOne), nullptr);
    EXPECT_EQ(Count(Run()), entries - 1);
}

}  // namespace
}  // namespace hostedpage
