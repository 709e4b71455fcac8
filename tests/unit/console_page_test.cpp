// What the page shows for a node: the pane's text from descriptions and detail lines, and the
// buttons that a source's action mask gives, with their positions, control ids and texts.
#include "tests/unit/console_test_support.h"

namespace console_test {
namespace {

using Buttons = std::vector<std::string>;
const std::u16string kDashes = u"-----------------------------------";

class PageTest : public ConsoleTest {
  protected:
    // One category "Run" with one entry "alpha" whose mask the test sets.
    FakeSource* RunWithEntry(std::uint32_t entryMask, std::int32_t actionCount = 5) {
        FakeSource* run = AddTop(MakeCategory(30000, {u"alpha"}));
        run->entryMask = entryMask;
        run->actionCount = actionCount;
        CreatePage();
        ShowAndFill();
        view->Select(Node(u"alpha"));
        return run;
    }
};

TEST_F(PageTest, AfterCreationNoButtonAndTheNormalTitle) {
    CreatePage();
    EXPECT_EQ(view->templateUsed, 22000u);
    EXPECT_TRUE(view->VisibleButtons().empty());
    EXPECT_EQ(view->title, u"Current system settings");
    EXPECT_EQ(dialog->PopulateClient(), -1);
}

TEST_F(PageTest, ButtonsFollowTheMaskBitsFromTheRight) {
    RunWithEntry(7);
    EXPECT_EQ(view->VisibleButtons(),
              (Buttons{"0:22007:Refresh", "1:22008:Go to", "2:22009:Remove"}));
    for (int p = 3; p < 5; ++p) {
        EXPECT_FALSE(view->buttons[p].visible) << p;
        EXPECT_FALSE(view->buttons[p].enabled) << p;
    }
}

TEST_F(PageTest, AGapInTheMaskKeepsTextsByPositionAndIdsByBit) {
    RunWithEntry(11, 4);
    // The third button bears the text of action 2 and runs action 3.
    EXPECT_EQ(view->VisibleButtons(),
              (Buttons{"0:22007:Refresh", "1:22008:Go to", "2:22010:Remove"}));
    EXPECT_EQ(view->buttons[3].text, u"Restore");
    EXPECT_FALSE(view->buttons[3].visible);
}

TEST_F(PageTest, MasksZeroAndOne) {
    FakeSource* run = RunWithEntry(0);
    EXPECT_TRUE(view->VisibleButtons().empty());
    for (int p = 0; p < 5; ++p) EXPECT_FALSE(view->buttons[p].enabled) << p;

    run->entryMask = 1;
    view->Select(Node(u"alpha"));
    EXPECT_EQ(view->VisibleButtons(), (Buttons{"0:22007:Refresh"}));
    // Bits beyond the fifth give no button.
    run->entryMask = 0x21;
    view->Select(Node(u"alpha"));
    EXPECT_EQ(view->VisibleButtons(), (Buttons{"0:22007:Refresh"}));
}

TEST_F(PageTest, ButtonIdsAreReassignedWhenTheSelectionChanges) {
    FakeSource* run = RunWithEntry(5);
    EXPECT_EQ(view->VisibleButtons(), (Buttons{"0:22007:Refresh", "1:22009:Go to"}));
    run->entryMask = 3;
    view->Select(Node(u"alpha"));
    EXPECT_EQ(view->VisibleButtons(), (Buttons{"0:22007:Refresh", "1:22008:Go to"}));
}

TEST_F(PageTest, DetailLinesAreJoinedByTheirFlags) {
    FakeSource* run = AddTop(MakeCategory(30000, {u"alpha"}));
    run->details = {
        {-1, nullptr, kLineSeparator},       // first: no leading line break
        {31000, u"C:\\app.exe", 0},          //
        {0, u"hidden", kLineDropIfNoLabel},  // nothing at all
        {31001, nullptr, 0},                 // ends in ": "
        {31002, LineValueFromId(31003), kLineValueIsId},
        {-1, u"unlabelled", 0},  // empty label, kept
    };
    CreatePage();
    ShowAndFill();
    view->Select(Node(u"alpha"));
    EXPECT_EQ(view->pane, kDashes +
                              u"\r\nFile: C:\\app.exe\r\nCompany: \r\nSigned: yes\r\n: "
                              u"unlabelled");
    EXPECT_EQ(run->detailsAskedFor, (std::vector<std::int32_t>{0}));
}

TEST_F(PageTest, AnEntryWithoutDetailsLeavesThePaneEmpty) {
    FakeSource* run = AddTop(MakeCategory(30000, {u"alpha", u"beta"}));
    run->details = {{31000, u"x", 0}};
    CreatePage();
    ShowAndFill();
    view->Select(Node(u"alpha"));
    EXPECT_EQ(view->pane, u"File: x");
    run->details.clear();
    view->Select(Node(u"beta"));
    EXPECT_EQ(view->pane, u"");
    EXPECT_EQ(run->detailsAskedFor, (std::vector<std::int32_t>{0, 1}));
}

TEST_F(PageTest, SourceNodesShowTheirDescriptionOrTheirOwnersDetails) {
    FakeSource* run = AddTop(MakeCategory(30000, {u"alpha"}));
    // A process list: no description of its own, its processes are sources without actions.
    auto processes = MakeCategory(30020);
    processes->actionCount = 1;
    processes->sourceMask = 1;
    processes->entryMask = 1;
    processes->details = {{31000, u"C:\\proc.exe", 0}};
    auto process = std::make_unique<FakeSource>();
    process->runtimeName = u"proc.exe";
    process->AddEntry(u"module.dll");
    processes->AddChild(std::move(process));
    FakeSource* list = AddTop(std::move(processes));
    CreatePage();
    ShowAndFill();

    view->Select(Node(u"Run  (1)"));
    EXPECT_EQ(view->pane, u"Run keys of the user");
    EXPECT_EQ(view->VisibleButtons(), (Buttons{"0:22007:Refresh", "1:22008:Go to"}));
    EXPECT_TRUE(run->detailsAskedFor.empty());

    run->sourceMask = 1;  // a category whose read failed
    view->Select(Node(u"Run  (1)"));
    EXPECT_EQ(view->VisibleButtons(), (Buttons{"0:22007:Refresh"}));

    view->Select(Node(u"proc.exe  (1)"));
    EXPECT_EQ(view->pane, u"File: C:\\proc.exe");
    EXPECT_EQ(list->detailsAskedFor, (std::vector<std::int32_t>{0}));
    EXPECT_EQ(view->VisibleButtons(), (Buttons{"0:22007:Refresh"}));
}

TEST_F(PageTest, AfterAFillOnlyRefreshStandsAndThePaneIsEmpty) {
    AddTop(MakeCategory(30000, {u"alpha"}));
    CreatePage();
    dialog->ShowWindow(platform::kSwShow);
    EXPECT_EQ(view->title, u"Collecting, please wait...");
    EXPECT_TRUE(view->VisibleButtons().empty());
    ASSERT_TRUE(WaitFilled());
    EXPECT_EQ(view->title, u"Current system settings");
    EXPECT_EQ(view->pane, u"");
    EXPECT_EQ(view->VisibleButtons(), (Buttons{"0:22007:Refresh"}));
    EXPECT_EQ(view->buttons[0].text, u"Refresh");
}

TEST_F(PageTest, ASelectionWithoutNodeHidesTheButtonsAndKeepsThePane) {
    FakeSource* run = AddTop(MakeCategory(30000, {u"alpha"}));
    run->details = {{31000, u"x", 0}};
    CreatePage();
    ShowAndFill();
    view->Select(Node(u"alpha"));
    ASSERT_FALSE(view->VisibleButtons().empty());
    EXPECT_EQ(dialog->OnSelChanged(nullptr), 0);
    EXPECT_TRUE(view->VisibleButtons().empty());
    EXPECT_EQ(view->pane, u"File: x");
}

TEST_F(PageTest, KeysAreTakenBeforeTheDialogAndOthersPassOn) {
    FakeSource* run = AddTop(MakeCategory(30000, {u"alpha"}));
    CreatePage();
    ShowAndFill();
    view->Select(Node(u"alpha"));
    EXPECT_TRUE(dialog->PreTranslateKey(27));   // Escape doesn't close the page
    EXPECT_FALSE(dialog->PreTranslateKey(65));  // 'A'
    EXPECT_FALSE(dialog->PreTranslateKey(9));   // Tab
    EXPECT_TRUE(run->actions.empty());
    EXPECT_TRUE(dialog->PreTranslateKey(13));  // Enter: the default action, 1
    EXPECT_EQ(run->actions, (std::vector<std::pair<int, int>>{{-1, 0}}));
}

}  // namespace
}  // namespace console_test
