// The real page hosted in-process under Wine: keys posted to whichever control has the focus,
// the buttons found by their action ids, the confirmation answered by clicking it, and hiding
// the page in the middle of a population.
#include "tests/support/win32/hosted_page.h"

namespace hostedpage {
namespace {

constexpr wchar_t kValueA[] = L"VistrelPage Alpha";
constexpr wchar_t kValueB[] = L"VistrelPage Beta";

class ConsolePage : public HostedPage {
  protected:
    ConsolePage()
        : HostedPage({{kValueA, L"C:\\windows\\system32\\notepad.exe"},
                      {kValueB, L"C:\\windows\\system32\\regedit.exe"}}) {}
    HTREEITEM UserRun() { return Find(tree_, kUserRun); }
    bool Shown(int action) { return Button(action) && IsWindowVisible(Button(action)); }
};

TEST_F(ConsolePage, ButtonsByActionIdAndEscapeKeepsThePage) {
    for (int action = 0; action < 5; ++action) EXPECT_FALSE(Shown(action)) << action;
    ShowAndWait();
    EXPECT_TRUE(Shown(0));
    Select(Find(tree_, kValueA));
    // Refresh, Go to and Remove, each button carrying its action's id.
    for (int action = 0; action < 3; ++action) {
        EXPECT_TRUE(Shown(action)) << action;
        EXPECT_TRUE(IsWindowEnabled(Button(action))) << action;
    }
    EXPECT_NE(Pane(), L"");

    Key(Button(2), VK_ESCAPE);
    EXPECT_TRUE(IsWindowVisible(page_));
    EXPECT_EQ(TreeView_GetSelection(tree_), Find(tree_, kValueA));
}

TEST_F(ConsolePage, CancelWithDontAskAgainThenDeleteRemovesUnasked) {
    ShowAndWait();
    ASSERT_NE(UserRun(), nullptr);
    const std::wstring before = Label(tree_, UserRun());
    Select(Find(tree_, kValueA));
    {
        // Cancel with the box ticked: nothing happens now, and no question comes again.
        ConfirmationClicker clicker(IDCANCEL, true);
        Key(Button(0), VK_DELETE);  // from the Refresh button: keys are the page's
        ASSERT_TRUE(PumpUntil([&] { return clicker.Clicked(); }, std::chrono::seconds(10)));
        Pump(std::chrono::milliseconds(200));
        EXPECT_EQ(clicker.message,
                  L"Do you really want to remove this entry?\r\nThis cannot be undone.");
        EXPECT_EQ(clicker.caption, L"Please confirm");
    }
    EXPECT_TRUE(ValueExists(kRunKey, kValueA));
    EXPECT_EQ(Label(tree_, UserRun()), before);
    EXPECT_EQ(g_hostAsked.load(), 1);

    Key(tree_, VK_DELETE);
    ASSERT_TRUE(PumpUntil([&] { return !ValueExists(kRunKey, kValueA); }));
    Pump(std::chrono::milliseconds(100));
    EXPECT_EQ(Find(tree_, kValueA), nullptr);
    EXPECT_NE(Find(tree_, kValueB), nullptr);
    EXPECT_EQ(g_hostAsked.load(), 2);
}

TEST_F(ConsolePage, HidingDuringAPopulationAndShowingAgain) {
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
    EXPECT_NE(Find(tree_, kValueA), nullptr);

    // F5 from the pane repopulates; the tree comes back whole.
    Key(GetDlgItem(page_, kPaneId), VK_F5);
    ASSERT_TRUE(PumpUntil([&] { return Filled(); }));
    EXPECT_NE(Find(tree_, kValueB), nullptr);
}

// F5 queued behind Delete reaches the page while the confirmation is open: it is ignored, and
// OK removes the chosen value with the tree as it was.
TEST_F(ConsolePage, F5QueuedBehindDeleteWaitsOutTheConfirmation) {
    ShowAndWait();
    const std::wstring before = Label(tree_, UserRun());
    Select(Find(tree_, kValueA));
    ConfirmationClicker clicker(IDOK, false);
    SetFocus(tree_);
    for (WPARAM key : {VK_DELETE, VK_F5}) PostMessageW(tree_, WM_KEYDOWN, key, 1);
    ASSERT_TRUE(PumpUntil([&] { return !ValueExists(kRunKey, kValueA); }));
    Pump(std::chrono::milliseconds(300));
    EXPECT_TRUE(clicker.Clicked());
    EXPECT_TRUE(ValueExists(kRunKey, kValueB));
    EXPECT_TRUE(Filled());
    EXPECT_EQ(Find(tree_, kValueA), nullptr);
    EXPECT_NE(Find(tree_, kValueB), nullptr);
    EXPECT_NE(Label(tree_, UserRun()), before);
}

}  // namespace
}  // namespace hostedpage
