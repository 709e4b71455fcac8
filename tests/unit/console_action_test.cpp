// From a gesture to a source's DoAction: the mask gate, the host's answer, the confirmation and
// its "don't ask again" box, each outcome of DoAction, and the count in the parent's label.
#include "tests/unit/console_test_support.h"

namespace console_test {
namespace {

using Actions = std::vector<std::pair<int, int>>;
const std::string kNotAllowed = "[vistrel] [temp] action not allowed";
constexpr std::uint32_t kEnter = 13, kDelete = 46, kF5 = 116;

class ActionTest : public ConsoleTest {
  protected:
    // "Run" with the given entries, filled, with the first entry selected.
    FakeSource* Filled(std::vector<std::u16string> names) {
        FakeSource* run = AddTop(MakeCategory(30000, std::move(names)));
        Open();
        if (!run->entries.empty()) view->Select(view->Children(view->TopLevel()[0])[0]);
        machine.ClearTrace();
        g_hostAsked = 0;
        return run;
    }
};

TEST_F(ActionTest, TheMaskGate) {
    FakeSource* run = Filled({u"alpha"});
    // No selection, or a node without a record: the action ends quietly.
    view->selected = nullptr;
    dialog->RunAction(2);
    view->pane = u"stale";
    ItemRecord* const alpha = std::exchange(view->At(Node(u"alpha")).record, nullptr);
    view->selected = Node(u"alpha");
    dialog->RunAction(2);
    EXPECT_EQ(view->pane, u"");
    view->At(Node(u"alpha")).record = alpha;
    // Enter on a category whose mask has no bit 1, or whose default action is beyond its count.
    run->sourceMask = 1;
    view->Select(Node(u"Run  (1)"));
    EXPECT_TRUE(dialog->PreTranslateKey(kEnter));
    run->sourceMask = 3;
    run->actionCount = 1;
    EXPECT_TRUE(dialog->PreTranslateKey(kEnter));
    run->actionCount = 3;
    // Delete on a category: no bit 2 for the source itself.
    EXPECT_TRUE(dialog->PreTranslateKey(kDelete));
    EXPECT_EQ(CountTrace(kNotAllowed), 3);
    // An entry whose mask lacks bit 2 (a file class), and actions beyond the source's count.
    view->Select(Node(u"alpha"));
    run->entryMask = 11;
    EXPECT_TRUE(dialog->PreTranslateKey(kDelete));
    run->entryMask = 0xFF;
    dialog->RunAction(3);
    dialog->RunAction(-2);
    EXPECT_EQ(CountTrace(kNotAllowed), 6);
    EXPECT_TRUE(run->actions.empty());
    EXPECT_EQ(g_hostAsked.load(), 0);
    EXPECT_EQ(view->confirmations, 0);

    // Enter on a leaf category with bit 1 runs the default action on the source itself, with
    // the flags preset to 0, 0, 1 and after asking the host.
    view->Select(Node(u"Run  (1)"));
    run->outcome = {0, 1, 1};
    EXPECT_TRUE(dialog->PreTranslateKey(kEnter));
    EXPECT_EQ(run->actions, (Actions{{-1, -1}}));
    const resultFlags seen = run->flagsSeen;
    EXPECT_EQ(std::tuple(seen.deleteItem, seen.localUpdate, seen.succeeded), std::tuple(0, 0, 1));
    EXPECT_EQ(g_hostAsked.load(), 1);
    EXPECT_EQ(g_hostCode.load(), 160u);
    EXPECT_EQ(view->confirmations, 0);
}

TEST_F(ActionTest, TheHostAndTheConfirmationGateRemove) {
    FakeSource* run = Filled({u"alpha"});
    run->outcome = {0, 1, 1};  // updated in place: the entry stays selected
    const std::string kNotShown = "[vistrel] [error] CConfirmDlg_ failed to show";
    const struct {
        int host;  // the host's answer; -1: no service
        console::ConfirmOutcome answer;
        bool confirmed, runs, dontAskAfter;
        std::string trace;
    } cases[] = {
        {0, {1, true}, false, false, false, kNotAllowed},  // the host refuses: no question
        {1, {2, true}, true, false, false, kNotAllowed},   // Cancel
        {1, {1, true}, true, true, false, ""},             // OK
        {-1, {1, true}, true, true, false, ""},            // no service: allowed
        // A dialog that could not be shown lets the action go ahead; its box doesn't count.
        {1, {-1, false}, true, true, false, kNotShown},
        {1, {0, false}, true, true, false, kNotShown},
        {1, {3, false}, true, true, false, kNotShown},
        // Cancel with "don't ask again": not this time, and no question from now on.
        {1, {2, false}, true, false, true, kNotAllowed},
        {1, {2, true}, false, true, true, ""},
        {0, {1, true}, false, false, true, kNotAllowed},  // the host is still asked
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.host) + " " + std::to_string(c.answer.result));
        g_hostService = c.host < 0 ? nullptr : &HostService;
        g_hostAnswer = c.host;
        g_hostAsked = 0;
        view->confirmAnswer = c.answer;
        const int confirmations = view->confirmations, focused = view->focusCalls;
        const std::size_t actions = run->actions.size();
        machine.ClearTrace();
        EXPECT_TRUE(dialog->PreTranslateKey(kDelete));
        EXPECT_EQ(g_hostAsked.load(), c.host < 0 ? 0 : 1);
        EXPECT_EQ(view->confirmations - confirmations, c.confirmed ? 1 : 0);
        EXPECT_EQ(view->focusCalls - focused, c.confirmed && c.trace != kNotShown ? 1 : 0);
        EXPECT_EQ(run->actions.size() - actions, c.runs ? 1u : 0u);
        EXPECT_EQ(dialog->DontAskAgain(), c.dontAskAfter);
        for (const std::string& line : {kNotAllowed, kNotShown})
            EXPECT_EQ(CountTrace(line), line == c.trace ? 1 : 0) << line;
    }
    EXPECT_EQ(view->confirmText, u"Remove the item?");
    EXPECT_EQ(run->actions.back(), (std::pair<int, int>{2, 0}));
}

TEST_F(ActionTest, EachOutcomeOfDoActionHasItsReaction) {
    FakeSource* run = Filled({u"alpha", u"beta"});
    view->confirmAnswer = {1, true};
    const std::vector<std::string> failedBox = {"Vistrel|The action failed.|0|DLG_MSG_BOX"};

    // Failed: a message box, whatever else the source said.
    run->outcome = {1, 1, 0};
    EXPECT_TRUE(dialog->PreTranslateKey(kDelete));
    EXPECT_EQ(view->boxes, failedBox);
    EXPECT_EQ(view->NodeCount(), 3u);

    // DoAction false: nothing.
    run->outcome = {1, 1, 1};
    run->doResult = false;
    EXPECT_TRUE(dialog->PreTranslateKey(kDelete));
    EXPECT_EQ(view->NodeCount(), 3u);
    EXPECT_EQ(dialog->PopulateClient(), -1);

    // Updated in place, nothing to delete: the trace only.
    run->doResult = true;
    run->outcome = {0, 1, 1};
    EXPECT_TRUE(dialog->PreTranslateKey(kDelete));
    EXPECT_EQ(CountTrace("Vistrel:PopulateSubTree: local refresh not implemented yet."), 1);
    EXPECT_EQ(view->NodeCount(), 3u);

    // Deleted: the node goes and the parent's count drops.
    run->outcome = {1, 1, 1};
    EXPECT_TRUE(dialog->PreTranslateKey(kDelete));
    EXPECT_EQ(view->Dump(), "*Run  (1)*\n  beta\n");
    EXPECT_EQ(run->actions.size(), 4u);

    // Not in place: a new population, without elevation.
    view->Select(Node(u"beta"));
    run->useElevation = true;
    run->outcome = {0, 0, 1};
    EXPECT_TRUE(dialog->PreTranslateKey(kDelete));
    EXPECT_GE(dialog->PopulateClient(), 0);
    EXPECT_EQ(view->NodeCount(), 0u);
    ASSERT_TRUE(WaitFilled());
    EXPECT_FALSE(run->useElevation);
    EXPECT_EQ(view->Dump(), "*Run  (2)*\n  alpha\n  beta\n");
    EXPECT_EQ(view->boxes, failedBox);
}

TEST_F(ActionTest, DecrementLowersTheNumberInTheLastParentheses) {
    Filled({u"a"});
    TreeNode node = view->TopLevel()[0];
    const struct {
        std::u16string label, after;  // after empty: left as it is
    } cases[] = {
        {u"Program Files (x86)  (2)", u"Program Files (x86)  (1)"},
        {u"Run  (1)", u"Run  (0)"},
        {u"Run  (0)", u""},
        {u"Run  (not found)", u""},
        {u"Run", u""},
        {u"(7)", u""},
        {u"Run  ()", u""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(Narrow(c.label.substr(0, 30)));
        view->SetNodeLabel(node, c.label);
        EXPECT_EQ(dialog->DecrementItemCount(node), !c.after.empty());
        EXPECT_EQ(view->At(node).text, c.after.empty() ? c.label : c.after);
    }
    EXPECT_FALSE(dialog->DecrementItemCount(nullptr));
    EXPECT_FALSE(dialog->DecrementItemCount(console::RootNode()));

    // Labels are read in buffers of 256, 512, 1024... until one is not full.
    const std::pair<int, int> readsByLength[] = {{254, 1}, {255, 2}, {511, 3}, {706, 3}};
    for (const auto& [length, reads] : readsByLength) {
        const std::u16string label(static_cast<std::size_t>(length), u'x');
        view->SetNodeLabel(node, label);
        view->textReads = 0;
        EXPECT_EQ(dialog->GetItemText(node), label) << length;
        EXPECT_EQ(view->textReads, reads) << length;
    }
}

TEST_F(ActionTest, KeysAndDoubleClicks) {
    FakeSource* run = Filled({u"alpha"});
    run->outcome = {0, 1, 1};
    // Escape is taken so that it doesn't close the page; keys that aren't the page's pass on.
    for (const auto& [key, taken] : {std::pair{27u, true}, {65u, false}, {9u, false}})
        EXPECT_EQ(dialog->PreTranslateKey(key), taken) << key;
    // A double click runs the default action on leaves only.
    for (const char16_t* label : {u"Run  (1)", u"alpha"}) {
        view->Select(Node(label));
        EXPECT_EQ(dialog->OnTreeDblClk(), 0);
    }
    EXPECT_EQ(run->actions, (Actions{{-1, 0}}));
}

TEST_F(ActionTest, InputThroughAModalLoopIsIgnoredAndAnEntryLostMeanwhileIsLeftAlone) {
    FakeSource* run = Filled({u"alpha", u"beta"});
    run->outcome = {1, 1, 1};
    const std::vector<std::string> failedBox = {"Vistrel|The action failed.|0|DLG_MSG_BOX"};
    const struct {
        const char* what;
        std::function<void()> meanwhile;
        bool acts;  // false: the entry is gone when the confirmation ends
    } cases[] = {
        {"F5", [this] { dialog->PreTranslateKey(kF5); }, true},
        {"Delete", [this] { dialog->PreTranslateKey(kDelete); }, true},
        {"Enter", [this] { dialog->PreTranslateKey(kEnter); }, true},
        {"Refresh", [this] { dialog->OnActionButton(console::kFirstButtonId); }, true},
        {"double click", [this] { dialog->OnTreeDblClk(); }, true},
        {"host repopulates",
         [this] {
             dialog->ShowWindow(platform::kSwHide);
             dialog->ShowWindow(platform::kSwShow);
             EXPECT_TRUE(WaitFilled());
             view->Select(Node(u"alpha"));
         },
         false},
        {"selection moves", [this] { view->Select(Node(u"beta")); }, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        view->Select(Node(u"alpha"));
        bool pumped = false;
        view->duringModal = [&] {
            if (!std::exchange(pumped, true)) c.meanwhile();
        };
        view->boxes.clear();
        run->actions.clear();
        EXPECT_TRUE(dialog->PreTranslateKey(kDelete));
        EXPECT_TRUE(pumped);
        EXPECT_EQ(dialog->PopulateClient(), -1);
        EXPECT_EQ(run->actions, c.acts ? (Actions{{2, 0}}) : Actions{});
        EXPECT_EQ(view->boxes, c.acts ? std::vector<std::string>{} : failedBox);
        EXPECT_EQ(view->Find(u"alpha") == nullptr, c.acts);
        // Back to both entries.
        view->duringModal = nullptr;
        dialog->ShowWindow(platform::kSwHide);
        ASSERT_TRUE(ShowAndFill());
    }

    // F5 while the failure box is open starts nothing either.
    view->Select(Node(u"alpha"));
    run->outcome = {0, 0, 0};
    view->duringModal = [&] { dialog->PreTranslateKey(kF5); };
    EXPECT_TRUE(dialog->PreTranslateKey(kDelete));
    EXPECT_EQ(dialog->PopulateClient(), -1);
    EXPECT_EQ(view->Dump(), "*Run  (2)*\n  alpha\n  beta\n");
}

}  // namespace
}  // namespace console_test
