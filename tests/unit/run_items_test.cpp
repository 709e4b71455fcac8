// Run items on the memory machine: denied keys, callback stops, refresh, and that Go to and
// Remove reach exactly the entry the user chose. What a read lists and shows is recorded in
// tests/golden/run_keys.
#include "collectors/autostart/run_items.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "frame/module_objects.h"
#include "platform/memory/memory_machine.h"
#include "tests/unit/collector_test_support.h"
#include "tools/elevation_support.h"
#include "tools/file_details.h"

namespace {

using platform::kHkeyCurrentUser;
using platform::kHkeyLocalMachine;
using platform::memory::MemoryMachine;
using platform::memory::ScopedMachine;

constexpr char16_t kRun[] = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";
constexpr char16_t kEditorKey[] = u"Software\\Microsoft\\Windows\\CurrentVersion\\Applets\\Regedit";

struct Delivered {
    std::vector<std::pair<std::int32_t, std::u16string>> entries;
    int stopAt = -1;
};

bool Collect(std::int32_t index, const char16_t* name, CVistrelPlugin* child, CVistrelPlugin*,
             void* context) {
    auto* d = static_cast<Delivered*>(context);
    EXPECT_EQ(child, nullptr);
    d->entries.emplace_back(index, name ? std::u16string(name) : u"<null>");
    return index != d->stopAt;
}

class RunItemsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        g_trace.SetMode(1);
        machine.AddKey(kHkeyCurrentUser, kRun);
        CreateElevatedHelperSupport();
    }
    void TearDown() override {
        DestroyElevatedHelperSupport();
        g_trace.SetMode(0);
    }

    Delivered Enumerate(CVistrelPlugin& source, bool refresh, std::int32_t* result) {
        Delivered d;
        *result = source.EnumerateItems(Collect, refresh, &d);
        return d;
    }
    bool Logged(const std::string& line) const {
        const auto messages = machine.TraceMessages();
        return std::find(messages.begin(), messages.end(), line) != messages.end();
    }

    MemoryMachine machine;
    ScopedMachine scoped{machine};
    CVistrelRunItemCurrentUserRun run;
};

TEST_F(RunItemsTest, ActionsFollowTheLastReadAndADeniedKeyGivesMinusOne) {
    CVistrelRunItemLocalMachineRunOnce missing;  // nothing under HKLM on this machine
    EXPECT_EQ(missing.EnumerateItems(nullptr, true, nullptr), kEnumNotFound);
    EXPECT_TRUE(missing.failed);
    EXPECT_EQ(missing.GetActionMask(-1), 1u);
    EXPECT_EQ(missing.GetActionMask(0), 1u);

    machine.SetString(kHkeyCurrentUser, kRun, u"A", u"a.exe");
    ASSERT_EQ(run.EnumerateItems(nullptr, true, nullptr), 1);
    EXPECT_EQ(run.GetActionMask(-1), 3u);
    EXPECT_EQ(run.GetActionMask(0), 7u);
    EXPECT_EQ(run.GetActionMask(1), 3u);
    machine.DenyOpen(kHkeyCurrentUser, kRun);
    std::int32_t result = 0;
    EXPECT_TRUE(Enumerate(run, true, &result).entries.empty());
    EXPECT_EQ(result, kEnumNotFound);
    EXPECT_TRUE(run.items.empty());

    // A later read that works clears the failure.
    CVistrelRunItemLocalMachineRun lmRun;
    EXPECT_EQ(lmRun.EnumerateItems(nullptr, true, nullptr), kEnumNotFound);
    machine.SetString(kHkeyLocalMachine, kRun, u"B", u"b.exe");
    EXPECT_EQ(lmRun.EnumerateItems(nullptr, true, nullptr), 1);
    EXPECT_FALSE(lmRun.failed);
}

TEST_F(RunItemsTest, CallbackStopReturnsEntriesDeliveredSoFar) {
    for (char16_t c = u'0'; c < u'7'; ++c) {
        const char16_t name[] = {u'V', c, 0};
        machine.SetString(kHkeyCurrentUser, kRun, name, u"x.exe");
    }
    Delivered d;
    d.stopAt = 4;
    EXPECT_EQ(run.EnumerateItems(Collect, true, &d), 5);
    EXPECT_EQ(d.entries.size(), 5u);
    // Null callback only counts.
    EXPECT_EQ(run.EnumerateItems(nullptr, true, nullptr), 7);
}

TEST_F(RunItemsTest, WithoutRefreshTheStoredListIsDeliveredWithoutOpeningTheKey) {
    machine.SetString(kHkeyCurrentUser, kRun, u"A", u"a.exe");
    machine.SetString(kHkeyCurrentUser, kRun, u"B", u"b.exe");
    std::int32_t result = 0;
    // The first call reads although refresh is false: nothing was read yet.
    Delivered first = Enumerate(run, false, &result);
    EXPECT_EQ(result, 2);
    const int opens = machine.OpenCount(kHkeyCurrentUser, kRun);
    EXPECT_GE(opens, 1);

    machine.SetString(kHkeyCurrentUser, kRun, u"C", u"c.exe");
    Delivered again = Enumerate(run, false, &result);
    EXPECT_EQ(result, 2);
    EXPECT_EQ(again.entries, first.entries);
    EXPECT_EQ(machine.OpenCount(kHkeyCurrentUser, kRun), opens);

    Enumerate(run, true, &result);
    EXPECT_EQ(result, 3);
}

TEST_F(RunItemsTest, RemoveKeepsIndexesSoOtherEntriesStillReachTheirValues) {
    // The second value hides behind a NUL: shown apart from "A" and removed alone; the default
    // value is removed as itself, not as the key.
    machine.SetString(kHkeyCurrentUser, kRun, u"A", u"C:\\a.exe");
    machine.SetString(kHkeyCurrentUser, kRun, std::u16string(u"A\0x", 3), u"C:\\b.exe -x");
    machine.SetString(kHkeyCurrentUser, kRun, u"", u"C:\\d.exe");
    machine.SetString(kHkeyCurrentUser, kRun, u"C", u"C:\\c.exe");
    std::int32_t count = 0;
    EXPECT_EQ(Enumerate(run, true, &count).entries[1].second, u"A\\0x");
    ASSERT_EQ(count, 4);
    EXPECT_TRUE(run.EmptyNameIsDefault());

    resultFlags flags;
    ASSERT_TRUE(run.DoAction(2, 1, &flags));
    EXPECT_EQ(machine.ValueNames(kHkeyCurrentUser, kRun),
              (std::vector<std::u16string>{u"A", u"", u"C"}));
    ASSERT_EQ(run.items.size(), 4u);  // the record stays until the next read
    const auto lines = collectortest::Details(run, 3);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0], (collectortest::Line{kDetailsTextObject, u"C:\\c.exe"}));

    for (std::int32_t index : {2, 3}) {
        resultFlags removed;
        ASSERT_TRUE(run.DoAction(2, index, &removed));
        EXPECT_EQ(removed.deleteItem + removed.localUpdate + removed.succeeded, 3);
    }
    EXPECT_EQ(machine.ValueNames(kHkeyCurrentUser, kRun), (std::vector<std::u16string>{u"A"}));
    EXPECT_TRUE(Logged("[vistrel] [debug] action on empty value at 2"));
}

TEST_F(RunItemsTest, FailedRemovalChangesNothingAndSaysSo) {
    machine.SetString(kHkeyCurrentUser, kRun, u"A", u"C:\\a.exe");
    ASSERT_EQ(run.EnumerateItems(nullptr, true, nullptr), 1);
    machine.FailWrites(kHkeyCurrentUser, kRun);
    resultFlags flags;
    EXPECT_FALSE(run.DoAction(2, 0, &flags));
    EXPECT_EQ(flags.succeeded, 0);
    EXPECT_EQ(flags.deleteItem, 0);
    EXPECT_EQ(flags.localUpdate, 0);
    EXPECT_TRUE(machine.HasValue(kHkeyCurrentUser, kRun, u"A"));
    EXPECT_EQ(run.items.size(), 1u);

    // Without a helper support (no page) nothing is deleted either.
    CVistrelRunItemCurrentUserRunOnce once;
    constexpr char16_t kRunOnce[] = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnce";
    machine.SetString(kHkeyCurrentUser, kRunOnce, u"B", u"C:\\b.exe");
    ASSERT_EQ(once.EnumerateItems(nullptr, true, nullptr), 1);
    DestroyElevatedHelperSupport();
    resultFlags noHelper;
    EXPECT_FALSE(once.DoAction(2, 0, &noHelper));
    EXPECT_EQ(noHelper.succeeded, 0);
    EXPECT_TRUE(machine.HasValue(kHkeyCurrentUser, kRunOnce, u"B"));
}

TEST_F(RunItemsTest, ABadIndexOrUnknownActionLeavesFlagsAloneAndHasNoDetails) {
    machine.SetString(kHkeyCurrentUser, kRun, u"A", u"C:\\a.exe");
    ASSERT_EQ(run.EnumerateItems(nullptr, true, nullptr), 1);
    resultFlags flags;
    EXPECT_FALSE(run.DoAction(2, 5, &flags));
    EXPECT_FALSE(run.DoAction(2, -1, &flags));
    EXPECT_FALSE(run.DoAction(7, 0, &flags));
    EXPECT_EQ(flags.succeeded, 1);
    EXPECT_EQ(flags.deleteItem, 0);
    EXPECT_TRUE(machine.HasValue(kHkeyCurrentUser, kRun, u"A"));
    EXPECT_TRUE(Logged("[vistrel] [debug] wrong index: 5"));
    for (std::int32_t index : {-1, 1}) {
        EXPECT_EQ(run.GetItemDetails(index, nullptr, nullptr), 0);
        EXPECT_TRUE(collectortest::Details(run, index).empty());
    }
}

TEST_F(RunItemsTest, GoToOpensTheEditorAtTheKeyAndNeverAsksForAnUpdate) {
    machine.SetString(kHkeyCurrentUser, kRun, u"A", u"C:\\a.exe");
    ASSERT_EQ(run.EnumerateItems(nullptr, true, nullptr), 1);
    resultFlags flags;
    EXPECT_FALSE(run.DoAction(-1, 0, &flags));
    EXPECT_EQ(machine.GetString(kHkeyCurrentUser, kEditorKey, u"LastKey"),
              u"Computer\\HKEY_CURRENT_USER\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run");
    ASSERT_EQ(machine.Started().size(), 1u);
    EXPECT_EQ(machine.Started()[0].file, u"regedit.exe");
    EXPECT_EQ(flags.succeeded, 1);
    EXPECT_EQ(flags.localUpdate, 0);

    // Refresh reads again and asks for an update whatever the outcome.
    machine.DenyOpen(kHkeyCurrentUser, kRun);
    EXPECT_TRUE(run.DoAction(0, -1, &flags));
    EXPECT_TRUE(run.failed);
}

// The machine's keys write through the raised helper, the user's own keys don't.
TEST(RunItemLeaves, OnlyTheMachineKeysNeedElevationAndEachHasItsOwnDescription) {
    std::vector<CVistrelPlugin*> leaves;
    AppendRunItemLeaves(leaves);
    ASSERT_EQ(leaves.size(), 8u);
    for (std::size_t i = 0; i < leaves.size(); ++i) {
        auto* leaf = dynamic_cast<CVistrelRunItemsBase*>(leaves[i]);
        ASSERT_NE(leaf, nullptr);
        EXPECT_EQ(leaf->NeedsElevation, leaf->root == kHkeyLocalMachine);
        EXPECT_EQ(leaf->GetDescriptionId(), leaf->GetNameId() + 1);  // the scan shows names only
        EXPECT_EQ(leaf->GetActionCount(), 3);
        EXPECT_EQ(leaf->GetDefaultAction(), 1);
        delete leaf;
    }
}

}  // namespace
