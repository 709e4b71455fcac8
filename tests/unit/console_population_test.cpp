// The background population on the provider's real worker: what the filled tree shows, and how
// the page behaves when a population is asked for again, hidden or destroyed while it runs.
#include <random>

#include "tests/unit/console_test_support.h"

namespace console_test {
namespace {

using PopulationTest = ConsoleTest;

TEST_F(PopulationTest, LabelsCarryTheCountOrTheStatusOfEachCode) {
    const std::pair<std::int32_t, const char16_t*> cases[] = {
        {3, u"(3)"},
        {0, u"(0)"},
        {kEnumNotFound, u"(not found)"},
        {kEnumFailed, u"(enumeration failed)"},
        {kEnumAccessDenied, u"(access denied)"},
        {kEnumAccessDeniedNeedsElevation, u"(access denied, elevation required)"},
        {-7, u"()"},
    };
    for (auto& [count, status] : cases) {
        auto source = MakeCategory(30000);
        source->result = count;
        AddTop(std::move(source));
    }
    Open();
    ASSERT_EQ(view->TopLevel().size(), std::size(cases));
    for (std::size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(view->At(view->TopLevel()[i]).text, u"Run  " + std::u16string(cases[i].second))
            << cases[i].first;
}

TEST_F(PopulationTest, TheTreeKeepsDeliveryOrderWithBoldSourcesAndDefaultValues) {
    FakeSource* run = AddTop(MakeCategory(30000, {u"zeta", u"", u"alpha"}));
    run->emptyNameIsDefault = true;
    auto services = MakeCategory(30010, {u""});  // an empty name elsewhere stays empty
    auto named = std::make_unique<FakeSource>();
    named->runtimeName = u"svchost.exe";
    named->AddEntry(u"a.dll");
    services->AddChild(std::move(named));
    services->AddChild(std::make_unique<FakeSource>());  // neither id nor name
    AddTop(std::move(services));
    Open();

    EXPECT_EQ(view->Dump(),
              "*Run  (3)*\n"
              "  zeta\n"
              "  (Default)\n"
              "  alpha\n"
              "*Services  (3)*\n"
              "  \n"
              "  *svchost.exe  (1)*\n"
              "    a.dll\n"
              "  *  (0)*\n");
}

TEST_F(PopulationTest, ShowingUsesNoElevationAndF5AndRefreshDo) {
    FakeSource* run = AddTop(MakeCategory(30000, {u"alpha"}));
    AddTop(MakeCategory(30010, {u"svc"}));
    ASSERT_TRUE(CreatePage());
    // A node that cannot be inserted is left out with its subtree; its siblings are not.
    view->failInsert = u"Run";
    ASSERT_TRUE(ShowAndFill());
    EXPECT_EQ(view->Dump(), "*Services  (1)*\n  svc\n");
    EXPECT_FALSE(run->useElevation);
    view->failInsert = nullptr;
    ASSERT_TRUE(dialog->PreTranslateKey(116));  // F5
    ASSERT_TRUE(WaitFilled());
    EXPECT_TRUE(run->useElevation);
    const std::string whole = "*Run  (1)*\n  alpha\n*Services  (1)*\n  svc\n";
    EXPECT_EQ(view->Dump(), whole);
    run->useElevation = false;
    dialog->OnActionButton(22007);  // Refresh, with nothing selected: the host isn't asked
    ASSERT_TRUE(WaitFilled());
    EXPECT_TRUE(run->useElevation);
    EXPECT_EQ(g_hostAsked.load(), 0);
    EXPECT_TRUE(run->actions.empty());
    EXPECT_EQ(run->enumerations.load(), 3);
}

TEST_F(PopulationTest, F5DuringAPopulationThenHidingAndShowingAgain) {
    FakeSource* slow = ShowSlow();
    // F5 while a population runs starts nothing.
    const std::int32_t client = dialog->PopulateClient();
    ASSERT_GE(client, 0);
    EXPECT_TRUE(dialog->PreTranslateKey(116));
    EXPECT_EQ(dialog->PopulateClient(), client);
    EXPECT_FALSE(slow->useElevation);

    // Hiding stops it: the worker has left the source and nothing reached the tree.
    dialog->ShowWindow(platform::kSwHide);
    EXPECT_EQ(slow->inside.load(), 0);
    EXPECT_EQ(dialog->PopulateClient(), -1);
    EXPECT_EQ(view->NodeCount(), 0u);
    EXPECT_EQ(view->title, u"Current system settings");
    // Refresh alone, at position 0 (its text is whatever the button last bore).
    ASSERT_EQ(view->VisibleButtons().size(), 1u);
    EXPECT_EQ(view->buttons[0].id, 22007);
    // A stopped job has nothing to hand over.
    EXPECT_FALSE(view->Pump(std::chrono::milliseconds(20)));

    // Showing again starts afresh; its one handover fills the tree.
    slow->entered = false;
    dialog->ShowWindow(platform::kSwShow);
    EXPECT_EQ(view->title, u"Collecting, please wait...");
    ASSERT_TRUE(WaitFor([&] { return slow->entered.load(); }));
    slow->released = true;
    ASSERT_TRUE(WaitFilled());
    EXPECT_EQ(view->handovers, 1);
    EXPECT_EQ(view->title, u"Current system settings");
    EXPECT_EQ(view->At(view->Children(view->TopLevel()[0])[0]).text, u"first");
}

TEST_F(PopulationTest, AHandoverThatMeetsTheStopIsDroppedWithoutHanging) {
    // The worker has delivered and waits in the handover while the page is hidden: the stop
    // has to let the handover through and the tree has to stay empty.
    AddTop(MakeCategory(30000, {u"alpha"}));
    ASSERT_TRUE(CreatePage());
    dialog->ShowWindow(platform::kSwShow);
    ASSERT_TRUE(WaitFor([&] { return CountTrace("VistrelDlg:TreeItemsCBProc: =>") == 1; }));
    dialog->ShowWindow(platform::kSwHide);
    EXPECT_EQ(dialog->PopulateClient(), -1);
    EXPECT_EQ(view->NodeCount(), 0u);
    EXPECT_GE(view->stopWaits, 1);
    EXPECT_EQ(CountTrace("VistrelDlg:TreeItemsCBProc: <="), 1);
}

TEST_F(PopulationTest, DestroyingThePageOrItsObjectDuringAPopulationStopsIt) {
    FakeSource* slow = ShowSlow();
    dialog->DestroyWindow();
    EXPECT_EQ(slow->inside.load(), 0);
    EXPECT_EQ(dialog->PopulateClient(), -1);
    EXPECT_EQ(view->NodeCount(), 0u);
    EXPECT_EQ(dialog->GetSafeHwnd(), nullptr);

    // A host that skips destroying the window: the object stops its worker as it goes.
    slow->entered = false;
    ASSERT_TRUE(CreatePage());
    dialog->ShowWindow(platform::kSwShow);
    ASSERT_TRUE(WaitFor([&] { return slow->entered.load(); }));
    dialog.reset();
    EXPECT_EQ(slow->inside.load(), 0);
}

TEST_F(PopulationTest, ManyShowsAndHidesDuringPopulationsEndInOneCleanFill) {
    // Several levels and enough entries that hides land in the collection, in the handover and
    // between populations.
    for (int c = 0; c < 4; ++c) {
        auto category = MakeCategory(30000);
        for (int e = 0; e < 50; ++e) category->AddEntry(u"entry");
        auto inner = MakeCategory(30010);
        for (int e = 0; e < 30; ++e) inner->AddEntry(u"inner");
        category->AddChild(std::move(inner));
        AddTop(std::move(category));
    }
    ASSERT_TRUE(CreatePage());
    std::mt19937 random(7);
    for (int round = 0; round < 300; ++round) {
        dialog->ShowWindow(platform::kSwShow);
        if (random() % 3 == 0) view->Pump(std::chrono::milliseconds(random() % 2));
        if (random() % 4 == 0)
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 300));
        dialog->ShowWindow(platform::kSwHide);
        ASSERT_EQ(dialog->PopulateClient(), -1) << round;
        // A stopped population leaves no nodes; a finished one leaves the whole tree.
        ASSERT_TRUE(view->NodeCount() == 0 || view->NodeCount() == 4u * (1 + 50 + 1 + 30))
            << round << ": " << view->NodeCount();
    }
    ASSERT_TRUE(ShowAndFill());
    EXPECT_EQ(view->NodeCount(), 4u * (1 + 50 + 1 + 30));
    EXPECT_EQ(view->At(view->TopLevel()[3]).text, u"Run  (51)");
}

}  // namespace
}  // namespace console_test
