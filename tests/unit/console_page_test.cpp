// What the page shows for a node: the pane's text from descriptions and detail lines, and the
// buttons that a source's action mask gives, with their positions, control ids and texts.
#include "tests/unit/console_test_support.h"

namespace console_test {
namespace {

using Buttons = std::vector<std::string>;
class PageTest : public ConsoleTest {};

TEST_F(PageTest, ButtonsAfterCreationAFillAndEachMask) {
    FakeSource* run = AddTop(MakeCategory(30000, {u"alpha"}));
    ASSERT_TRUE(CreatePage());
    EXPECT_EQ(g_pageWindow.load(), dialog->GetSafeHwnd());
    EXPECT_TRUE(view->VisibleButtons().empty());
    EXPECT_EQ(view->title, u"Current system settings");
    EXPECT_EQ(dialog->PopulateClient(), -1);
    dialog->ShowWindow(platform::kSwShow);
    EXPECT_TRUE(view->VisibleButtons().empty());
    ASSERT_TRUE(WaitFilled());
    // After a fill only Refresh stands and the pane is empty.
    EXPECT_EQ(view->pane, u"");
    EXPECT_EQ(view->VisibleButtons(), (Buttons{"0:22007:Refresh"}));

    // Texts go by position, ids by bit; every selection assigns the ids afresh.
    const struct {
        std::uint32_t mask;
        std::int32_t actionCount;
        Buttons visible;
    } cases[] = {
        {7, 5, {"0:22007:Refresh", "1:22008:Go to", "2:22009:Remove"}},
        {11, 4, {"0:22007:Refresh", "1:22008:Go to", "2:22010:Remove"}},
        {0, 5, {}},
        {0x21, 5, {"0:22007:Refresh"}},  // bits beyond the fifth give no button
        {5, 5, {"0:22007:Refresh", "1:22009:Go to"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.mask);
        run->entryMask = c.mask;
        run->actionCount = c.actionCount;
        view->Select(Node(u"alpha"));
        EXPECT_EQ(view->VisibleButtons(), c.visible);
        for (std::size_t p = c.visible.size(); p < console::kButtonCount; ++p)
            EXPECT_FALSE(view->buttons[p].enabled) << p;
    }
    dialog->DestroyWindow();
    EXPECT_EQ(g_pageWindow.load(), nullptr);
}

TEST_F(PageTest, ThePaneJoinsDetailLinesOrShowsADescription) {
    FakeSource* run = AddTop(MakeCategory(30000, {u"alpha", u"beta"}));
    run->details = {
        {-1, nullptr, kLineSeparator},       // first: no leading line break
        {31000, u"C:\\app.exe", 0},          //
        {0, u"hidden", kLineDropIfNoLabel},  // nothing at all
        {31001, nullptr, 0},                 // ends in ": "
        {31002, LineValueFromId(31003), kLineValueIsId},
        {-1, u"unlabelled", 0},  // empty label, kept
    };
    // A process list: no description of its own, its processes are sources without actions.
    auto processes = MakeCategory(30020);
    processes->actionCount = 1;
    processes->sourceMask = processes->entryMask = 1;
    processes->details = {{31000, u"C:\\proc.exe", 0}};
    auto process = std::make_unique<FakeSource>();
    process->runtimeName = u"proc.exe";
    processes->AddChild(std::move(process));
    FakeSource* list = AddTop(std::move(processes));
    Open();

    // A category shows its description, not its owner's details.
    view->Select(Node(u"Run  (2)"));
    EXPECT_EQ(view->pane, u"Run keys of the user");
    EXPECT_EQ(view->VisibleButtons(), (Buttons{"0:22007:Refresh", "1:22008:Go to"}));
    EXPECT_TRUE(run->detailsAskedFor.empty());
    run->sourceMask = 1;  // a category whose read failed
    view->Select(Node(u"Run  (2)"));
    EXPECT_EQ(view->VisibleButtons(), (Buttons{"0:22007:Refresh"}));
    // A source without description or actions shows its owner's details and actions.
    view->Select(Node(u"proc.exe  (0)"));
    EXPECT_EQ(view->pane, u"File: C:\\proc.exe");
    EXPECT_EQ(list->detailsAskedFor, (std::vector<std::int32_t>{0}));
    EXPECT_EQ(view->VisibleButtons(), (Buttons{"0:22007:Refresh"}));

    view->Select(Node(u"alpha"));
    const std::u16string alphaPane =
        u"-----------------------------------\r\nFile: C:\\app.exe\r\n"
        u"Company: \r\nSigned: yes\r\n: unlabelled";
    EXPECT_EQ(view->pane, alphaPane);
    // A selection without a node hides the buttons and keeps the pane.
    EXPECT_EQ(dialog->OnSelChanged(nullptr), 0);
    EXPECT_TRUE(view->VisibleButtons().empty());
    EXPECT_EQ(view->pane, alphaPane);
    // An entry without details leaves the pane empty.
    run->details.clear();
    view->Select(Node(u"beta"));
    EXPECT_EQ(view->pane, u"");
    EXPECT_EQ(run->detailsAskedFor, (std::vector<std::int32_t>{0, 1}));
}

}  // namespace
}  // namespace console_test
