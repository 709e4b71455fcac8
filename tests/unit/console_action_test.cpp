// From a gesture to a source's DoAction: the mask gate, the host's answer, the confirmation and
// its "don't ask again" box, each outcome of DoAction, and the count in the parent's label.
#include "tests/unit/console_test_support.h"

namespace console_test {
namespace {

using Actions = std::vector<std::pair<int, int>>;
const std::string kNotAllowed = "[vistrel] [temp] action not allowed";

resultFlags Flags(int deleteItem, int localUpdate, int succeeded) {
    resultFlags flags;
    flags.deleteItem = static_cast<std::uint8_t>(deleteItem);
    flags.localUpdate = static_cast<std::uint8_t>(localUpdate);
    flags.succeeded = static_cast<std::uint8_t>(succeeded);
    return flags;
}

class ActionTest : public ConsoleTest {
  protected:
    // "Run" with the given entries, filled, with the entry first selected.
    FakeSource* Filled(std::vector<std::u16string> names, std::int32_t nameId = 30000) {
        FakeSource* run = AddTop(MakeCategory(nameId, std::move(names)));
        CreatePage();
        ShowAndFill();
        if (!run->entries.empty()) view->Select(view->Children(view->TopLevel()[0])[0]);
        machine.ClearTrace();
        g_hostAsked = 0;
        return run;
    }
    // Removes the selected entry: the source reports a deleted item, updated in place.
    void Remove(FakeSource* source) {
        source->outcome = Flags(1, 1, 1);
        EXPECT_TRUE(dialog->PreTranslateKey(46));
    }
};

TEST_F(ActionTest, RefreshWithNothingSelectedStartsAnElevatedPopulation) {
    FakeSource* run = Filled({});
    ASSERT_EQ(view->selected, nullptr);
    dialog->OnActionButton(22007);
    EXPECT_GE(dialog->PopulateClient(), 0);
    ASSERT_TRUE(WaitFilled());
    EXPECT_TRUE(run->useElevation);
    EXPECT_EQ(g_hostAsked.load(), 0);
    EXPECT_TRUE(run->actions.empty());
}

TEST_F(ActionTest, NoSelectionOrNoRecordEndsTheActionQuietly) {
    FakeSource* run = Filled({u"alpha"});
    view->selected = nullptr;
    dialog->RunAction(2);
    EXPECT_TRUE(view->VisibleButtons().empty());
    view->pane = u"stale";
    view->At(Node(u"alpha")).record = nullptr;
    view->selected = Node(u"alpha");
    view->buttons[0].visible = true;
    dialog->RunAction(2);
    EXPECT_EQ(view->pane, u"");
    EXPECT_TRUE(view->VisibleButtons().empty());
    EXPECT_TRUE(run->actions.empty());
    EXPECT_EQ(view->confirmations, 0);
    EXPECT_EQ(CountTrace(kNotAllowed), 0);
}

TEST_F(ActionTest, TheMaskGate) {
    FakeSource* run = Filled({u"alpha"});
    // Enter on a category whose mask has no bit 1.
    run->sourceMask = 1;
    view->Select(Node(u"Run  (1)"));
    EXPECT_TRUE(dialog->PreTranslateKey(13));
    EXPECT_EQ(CountTrace(kNotAllowed), 1);
    // Delete on a category: no bit 2 for the source itself.
    run->sourceMask = 3;
    EXPECT_TRUE(dialog->PreTranslateKey(46));
    EXPECT_EQ(CountTrace(kNotAllowed), 2);
    // An entry whose mask lacks bit 2 (a file class), and an action beyond the source's count.
    view->Select(Node(u"alpha"));
    run->entryMask = 11;
    EXPECT_TRUE(dialog->PreTranslateKey(46));
    run->entryMask = 0xFF;
    dialog->RunAction(3);
    dialog->RunAction(-2);
    EXPECT_EQ(CountTrace(kNotAllowed), 5);
    EXPECT_TRUE(run->actions.empty());
    EXPECT_EQ(g_hostAsked.load(), 0);
    EXPECT_EQ(view->confirmations, 0);

    // Enter on a leaf category with bit 1 runs the default action on the source itself.
    view->Select(Node(u"Run  (1)"));
    run->outcome = Flags(0, 1, 1);
    EXPECT_TRUE(dialog->PreTranslateKey(13));
    EXPECT_EQ(run->actions, (Actions{{-1, -1}}));
    EXPECT_EQ(run->flagsSeen.deleteItem, 0);
    EXPECT_EQ(run->flagsSeen.localUpdate, 0);
    EXPECT_EQ(run->flagsSeen.succeeded, 1);
    EXPECT_EQ(g_hostAsked.load(), 1);
    EXPECT_EQ(g_hostCode.load(), 160u);
    EXPECT_EQ(view->confirmations, 0);
}

TEST_F(ActionTest, EnterOnAContainerDoesNothingButTheTrace) {
    auto container = std::make_unique<FakeSource>();
    container->nameId = 30010;
    container->actionCount = 1;
    container->sourceMask = 1;
    container->AddChild(MakeCategory(30000, {u"alpha"}));
    FakeSource* raw = AddTop(std::move(container));
    CreatePage();
    ShowAndFill();
    view->Select(Node(u"Services  (1)"));
    EXPECT_TRUE(dialog->PreTranslateKey(13));
    EXPECT_EQ(CountTrace(kNotAllowed), 1);
    EXPECT_TRUE(raw->actions.empty());
}

TEST_F(ActionTest, TheHostCanRefuseAndTheUserCanCancel) {
    FakeSource* run = Filled({u"alpha"});
    g_hostAnswer = 0;
    EXPECT_TRUE(dialog->PreTranslateKey(46));
    EXPECT_EQ(g_hostAsked.load(), 1);
    EXPECT_EQ(view->confirmations, 0);
    EXPECT_EQ(CountTrace(kNotAllowed), 1);

    g_hostAnswer = 1;
    view->confirmAnswer = {2, true};  // Cancel, box not ticked
    EXPECT_TRUE(dialog->PreTranslateKey(46));
    EXPECT_EQ(view->confirmations, 1);
    EXPECT_EQ(view->confirmText, u"Remove the item?");
    EXPECT_EQ(view->focusCalls, 1);
    EXPECT_FALSE(dialog->DontAskAgain());
    EXPECT_EQ(CountTrace(kNotAllowed), 2);
    EXPECT_TRUE(run->actions.empty());

    // Without a service every action is allowed.
    g_hostService = nullptr;
    view->confirmAnswer = {1, true};
    Remove(run);
    EXPECT_EQ(run->actions, (Actions{{2, 0}}));
}

TEST_F(ActionTest, DontAskAgainWithCancelStopsThisActionAndTheNextQuestions) {
    FakeSource* run = Filled({u"alpha", u"beta"});
    view->confirmAnswer = {2, false};
    Remove(run);
    EXPECT_TRUE(run->actions.empty());
    EXPECT_TRUE(dialog->DontAskAgain());
    EXPECT_EQ(CountTrace(kNotAllowed), 1);

    Remove(run);
    EXPECT_EQ(run->actions, (Actions{{2, 0}}));
    EXPECT_EQ(view->confirmations, 1);
    EXPECT_EQ(g_hostAsked.load(), 2);  // the host is still asked

    // Restore and the default action go through unasked anyway.
    run->entryMask = 0xF;
    run->actionCount = 4;
    view->Select(Node(u"beta"));
    run->outcome = Flags(0, 1, 1);
    dialog->OnActionButton(22010);
    EXPECT_EQ(run->actions, (Actions{{2, 0}, {3, 1}}));
    EXPECT_EQ(view->confirmations, 1);
}

TEST_F(ActionTest, OkWithTheBoxTickedAndAConfirmationThatCannotBeShown) {
    FakeSource* run = Filled({u"a", u"b", u"c", u"d"});
    // A dialog that could not be shown lets the action go ahead.
    for (std::intptr_t failed : {-1, 0, 3}) {
        view->confirmAnswer = {failed, false};
        Remove(run);
    }
    EXPECT_EQ(CountTrace("[vistrel] [error] CConfirmDlg_ failed to show"), 3);
    EXPECT_EQ(run->actions.size(), 3u);
    EXPECT_FALSE(dialog->DontAskAgain());
    EXPECT_EQ(view->focusCalls, 0);

    view->confirmAnswer = {1, true};
    Remove(run);
    EXPECT_EQ(run->actions.size(), 4u);
    EXPECT_FALSE(dialog->DontAskAgain());
    EXPECT_EQ(view->confirmations, 4);
}

TEST_F(ActionTest, EachOutcomeOfDoActionHasItsReaction) {
    FakeSource* run = Filled({u"alpha", u"beta"});
    view->confirmAnswer = {1, true};

    // Failed: a message box, whatever else the source said.
    run->outcome = Flags(1, 1, 0);
    run->doResult = true;
    EXPECT_TRUE(dialog->PreTranslateKey(46));
    ASSERT_EQ(view->boxes.size(), 1u);
    EXPECT_EQ(view->boxes[0].title, u"Vistrel");
    EXPECT_EQ(view->boxes[0].text, u"The action failed.");
    EXPECT_EQ(view->boxes[0].flags, 0u);
    EXPECT_EQ(view->boxes[0].skin, u"DLG_MSG_BOX");
    EXPECT_EQ(view->NodeCount(), 3u);

    // DoAction false: nothing.
    run->outcome = Flags(1, 1, 1);
    run->doResult = false;
    EXPECT_TRUE(dialog->PreTranslateKey(46));
    EXPECT_EQ(view->NodeCount(), 3u);
    EXPECT_EQ(dialog->PopulateClient(), -1);
    EXPECT_EQ(view->boxes.size(), 1u);

    // Updated in place, nothing to delete: the trace only.
    run->doResult = true;
    run->outcome = Flags(0, 1, 1);
    EXPECT_TRUE(dialog->PreTranslateKey(46));
    EXPECT_EQ(CountTrace("Vistrel:PopulateSubTree: local refresh not implemented yet."), 1);
    EXPECT_EQ(view->NodeCount(), 3u);

    // Deleted: the node goes, the parent's count drops, the selection moves on.
    Remove(run);
    EXPECT_EQ(view->Dump(), "*Run  (1)*\n  beta\n");
    EXPECT_EQ(view->selected, Node(u"beta"));
    EXPECT_EQ(run->actions.size(), 4u);

    // Not in place: a new population, without elevation.
    run->useElevation = true;
    run->outcome = Flags(0, 0, 1);
    EXPECT_TRUE(dialog->PreTranslateKey(46));
    EXPECT_GE(dialog->PopulateClient(), 0);
    EXPECT_EQ(view->NodeCount(), 0u);
    ASSERT_TRUE(WaitFilled());
    EXPECT_FALSE(run->useElevation);
    EXPECT_EQ(view->Dump(), "*Run  (2)*\n  alpha\n  beta\n");
    EXPECT_EQ(view->boxes.size(), 1u);
}

TEST_F(ActionTest, RemovalsLowerTheCountDownToZero) {
    FakeSource* run = Filled({u"a", u"b", u"c", u"d", u"e"}, 30000);
    view->confirmAnswer = {1, false};
    Remove(run);
    Remove(run);
    EXPECT_EQ(view->At(view->TopLevel()[0]).text, u"Run  (3)");
    Remove(run);
    Remove(run);
    Remove(run);
    EXPECT_EQ(view->Dump(), "*Run  (0)*\n");
    // The selection is on the category now; a label at (0) is left as it is.
    EXPECT_FALSE(dialog->DecrementItemCount(view->TopLevel()[0]));
    EXPECT_EQ(view->At(view->TopLevel()[0]).text, u"Run  (0)");
}

TEST_F(ActionTest, DecrementFindsTheLastParenthesis) {
    FakeSource* run = Filled({u"a"});
    TreeNode node = view->TopLevel()[0];
    view->SetNodeLabel(node, u"Program Files (x86)  (2)");
    EXPECT_TRUE(dialog->DecrementItemCount(node));
    EXPECT_EQ(view->At(node).text, u"Program Files (x86)  (1)");
    // Labels with an error text, without a number, or with "(" first are left alone.
    for (const char16_t* label : {u"Run  (not found)", u"Run", u"(7)", u"Run  ()"}) {
        view->SetNodeLabel(node, label);
        EXPECT_FALSE(dialog->DecrementItemCount(node)) << Narrow(label);
        EXPECT_EQ(view->At(node).text, label);
    }
    EXPECT_FALSE(dialog->DecrementItemCount(nullptr));
    EXPECT_FALSE(dialog->DecrementItemCount(console::RootNode()));
    (void)run;
}

TEST_F(ActionTest, LongLabelsAreReadWhole) {
    Filled({u"a"});
    TreeNode node = view->TopLevel()[0];
    const std::u16string name(700, u'n');
    view->SetNodeLabel(node, name + u"  (12)");
    view->textReads = 0;
    EXPECT_EQ(dialog->GetItemText(node), name + u"  (12)");
    EXPECT_EQ(view->textReads, 3);  // 256, 512, 1024
    EXPECT_TRUE(dialog->DecrementItemCount(node));
    EXPECT_EQ(view->At(node).text, name + u"  (11)");
    // A text of exactly 255 characters fills the first buffer and is read once more.
    const std::u16string exact(255, u'x');
    view->SetNodeLabel(node, exact);
    view->textReads = 0;
    EXPECT_EQ(dialog->GetItemText(node), exact);
    EXPECT_EQ(view->textReads, 2);
}

TEST_F(ActionTest, DoubleClickRunsTheDefaultActionOnlyOnLeaves) {
    FakeSource* run = Filled({u"alpha"});
    run->outcome = Flags(0, 1, 1);
    view->Select(Node(u"Run  (1)"));
    EXPECT_EQ(dialog->OnTreeDblClk(), 0);
    EXPECT_TRUE(run->actions.empty());
    view->Select(Node(u"alpha"));
    EXPECT_EQ(dialog->OnTreeDblClk(), 0);
    EXPECT_EQ(run->actions, (Actions{{-1, 0}}));
}

TEST_F(ActionTest, AButtonRunsTheActionOfItsCurrentId) {
    FakeSource* run = Filled({u"alpha"});
    run->entryMask = 5;  // Refresh and Remove: the second button now has id 22009
    view->Select(Node(u"alpha"));
    ASSERT_EQ(view->buttons[1].id, 22009);
    view->confirmAnswer = {1, true};
    run->outcome = Flags(0, 1, 1);
    dialog->OnActionButton(static_cast<std::uint32_t>(view->buttons[1].id));
    EXPECT_EQ(run->actions, (Actions{{2, 0}}));
    EXPECT_EQ(view->confirmations, 1);
}

}  // namespace
}  // namespace console_test
