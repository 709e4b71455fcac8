// Run items on the memory machine: what a read lists, what the tree gets, and that Go to and
// Remove reach exactly the entry the user chose.
#include "collectors/autostart/run_items.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "frame/module_objects.h"
#include "libs/talutils/text_utils.h"
#include "platform/memory/memory_machine.h"
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

struct Line {
    std::int32_t labelId;
    std::u16string value;
};

bool CollectLine(std::int32_t, std::int32_t labelId, const char16_t* value, std::int32_t,
                 void* context) {
    static_cast<std::vector<Line>*>(context)->push_back({labelId, value ? value : u"<null>"});
    return true;
}

std::string Bytes(std::u16string_view text) {
    return std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
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

    MemoryMachine machine;
    ScopedMachine scoped{machine};
    CVistrelRunItemCurrentUserRun run;
};

TEST_F(RunItemsTest, ListsStringValuesInRegistryOrderAndSkipsOtherTypes) {
    machine.SetString(kHkeyCurrentUser, kRun, u"Updater", u"\"C:\\Program Files\\u.exe\" /bg");
    machine.SetDword(kHkeyCurrentUser, kRun, u"Flags", 7);
    machine.SetString(kHkeyCurrentUser, kRun, u"Tray", u"%ProgramFiles%\\t.exe",
                      platform::kRegExpandSz);
    machine.SetRaw(kHkeyCurrentUser, kRun, u"List", platform::kRegMultiSz, Bytes(u"a\0b\0\0"));

    std::int32_t result = 0;
    Delivered d = Enumerate(run, true, &result);
    EXPECT_EQ(result, 2);
    ASSERT_EQ(d.entries.size(), 2u);
    EXPECT_EQ(d.entries[0], std::make_pair(0, std::u16string(u"Updater")));
    EXPECT_EQ(d.entries[1], std::make_pair(1, std::u16string(u"Tray")));
    ASSERT_EQ(run.items.size(), 2u);
    // Stored as written: quotes, arguments and variables stay.
    EXPECT_EQ(run.items[0].data, u"\"C:\\Program Files\\u.exe\" /bg");
    EXPECT_EQ(run.items[1].data, u"%ProgramFiles%\\t.exe");
    EXPECT_EQ(run.GetActionMask(-1), 3u);
    EXPECT_EQ(run.GetActionMask(1), 7u);
    EXPECT_EQ(run.GetActionMask(2), 3u);
}

TEST_F(RunItemsTest, UntrustedStringDataIsCutAtNulOrLastWholeCharacter) {
    // No terminator and an odd byte count; then text with an embedded NUL.
    machine.SetRaw(kHkeyCurrentUser, kRun, u"Odd", platform::kRegSz, Bytes(u"ab") + "c");
    machine.SetRaw(kHkeyCurrentUser, kRun, u"Nul", platform::kRegSz, Bytes(u"x.exe\0junk"));
    machine.SetRaw(kHkeyCurrentUser, kRun, u"Empty", platform::kRegSz, "");
    std::int32_t result = 0;
    Enumerate(run, true, &result);
    ASSERT_EQ(result, 3);
    EXPECT_EQ(run.items[0].data, u"ab");
    EXPECT_EQ(run.items[1].data, u"x.exe");
    EXPECT_EQ(run.items[2].data, u"");
}

TEST_F(RunItemsTest, DefaultValueIsListedWithEmptyNameAndCanBeRemoved) {
    machine.SetString(kHkeyCurrentUser, kRun, u"", u"C:\\d.exe");
    machine.SetString(kHkeyCurrentUser, kRun, u"Other", u"C:\\o.exe");
    std::int32_t result = 0;
    Delivered d = Enumerate(run, true, &result);
    ASSERT_EQ(result, 2);
    EXPECT_EQ(d.entries[0].second, u"");
    EXPECT_TRUE(run.EmptyNameIsDefault());

    resultFlags flags;
    EXPECT_TRUE(run.DoAction(2, 0, &flags));
    EXPECT_EQ(flags.deleteItem, 1);
    EXPECT_EQ(flags.localUpdate, 1);
    EXPECT_EQ(flags.succeeded, 1);
    EXPECT_FALSE(machine.HasValue(kHkeyCurrentUser, kRun, u""));
    EXPECT_TRUE(machine.HasValue(kHkeyCurrentUser, kRun, u"Other"));
    const auto messages = machine.TraceMessages();
    EXPECT_NE(
        std::find(messages.begin(), messages.end(), "[vistrel] [debug] action on empty value at 0"),
        messages.end());
}

TEST_F(RunItemsTest, OversizeValueEndsTheWalkWithoutFailing) {
    machine.SetString(kHkeyCurrentUser, kRun, u"Before", u"C:\\b.exe");
    // 2048 characters and a terminator: 4098 bytes, more than a read takes.
    machine.SetString(kHkeyCurrentUser, kRun, u"Huge", std::u16string(2048, u'x'));
    machine.SetString(kHkeyCurrentUser, kRun, u"After", u"C:\\a.exe");
    std::int32_t result = 0;
    Delivered d = Enumerate(run, true, &result);
    EXPECT_EQ(result, 1);
    ASSERT_EQ(d.entries.size(), 1u);
    EXPECT_EQ(d.entries[0].second, u"Before");
    EXPECT_FALSE(run.failed);

    // 2047 characters and a terminator are exactly 4096 bytes: still readable.
    machine.SetString(kHkeyCurrentUser, kRun, u"Huge", std::u16string(2047, u'y'));
    Enumerate(run, true, &result);
    EXPECT_EQ(result, 3);
    EXPECT_EQ(run.items[1].data.size(), 2047u);
}

TEST_F(RunItemsTest, MissingOrDeniedKeyGivesMinusOneAndOnlyRefresh) {
    CVistrelRunItemLocalMachineRunOnce missing;  // nothing under HKLM on this machine
    std::int32_t result = 0;
    Delivered d = Enumerate(missing, true, &result);
    EXPECT_EQ(result, kEnumNotFound);
    EXPECT_TRUE(d.entries.empty());
    EXPECT_TRUE(missing.failed);
    EXPECT_EQ(missing.GetActionMask(-1), 1u);
    EXPECT_EQ(missing.GetActionMask(0), 1u);

    machine.SetString(kHkeyCurrentUser, kRun, u"A", u"a.exe");
    Enumerate(run, true, &result);
    ASSERT_EQ(result, 1);
    machine.DenyOpen(kHkeyCurrentUser, kRun);
    Enumerate(run, true, &result);
    EXPECT_EQ(result, kEnumNotFound);
    EXPECT_TRUE(run.items.empty());

    // A later read that works clears the failure.
    CVistrelRunItemLocalMachineRun lmRun;
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
    // The second value hides behind a NUL: shown apart from "A" and removed alone.
    machine.SetString(kHkeyCurrentUser, kRun, u"A", u"C:\\a.exe");
    machine.SetString(kHkeyCurrentUser, kRun, std::u16string(u"A\0x", 3), u"C:\\b.exe -x");
    machine.SetString(kHkeyCurrentUser, kRun, u"C", u"C:\\c.exe");
    std::int32_t count = 0;
    EXPECT_EQ(Enumerate(run, true, &count).entries[1].second, u"A\\0x");
    ASSERT_EQ(count, 3);

    resultFlags flags;
    ASSERT_TRUE(run.DoAction(2, 1, &flags));
    EXPECT_EQ(machine.ValueNames(kHkeyCurrentUser, kRun),
              (std::vector<std::u16string>{u"A", u"C"}));
    ASSERT_EQ(run.items.size(), 3u);  // the record stays until the next read

    std::vector<Line> lines;
    run.GetItemDetails(2, CollectLine, &lines);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0].labelId, kDetailsTextObject);
    EXPECT_EQ(lines[0].value, u"C:\\c.exe");

    resultFlags second;
    ASSERT_TRUE(run.DoAction(2, 2, &second));
    EXPECT_EQ(machine.ValueNames(kHkeyCurrentUser, kRun), (std::vector<std::u16string>{u"A"}));
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

TEST_F(RunItemsTest, RemoveOfABadIndexOrUnknownActionLeavesFlagsAlone) {
    machine.SetString(kHkeyCurrentUser, kRun, u"A", u"C:\\a.exe");
    ASSERT_EQ(run.EnumerateItems(nullptr, true, nullptr), 1);
    resultFlags flags;
    EXPECT_FALSE(run.DoAction(2, 5, &flags));
    EXPECT_FALSE(run.DoAction(2, -1, &flags));
    EXPECT_FALSE(run.DoAction(7, 0, &flags));
    EXPECT_EQ(flags.succeeded, 1);
    EXPECT_EQ(flags.deleteItem, 0);
    EXPECT_TRUE(machine.HasValue(kHkeyCurrentUser, kRun, u"A"));
    const auto messages = machine.TraceMessages();
    EXPECT_NE(std::find(messages.begin(), messages.end(), "[vistrel] [debug] wrong index: 5"),
              messages.end());
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

TEST_F(RunItemsTest, DetailsDescribeTheFileBehindTheValue) {
    machine.AddFile(u"C:\\Program Files\\x\\y.exe", "MZ");
    machine.SetString(kHkeyCurrentUser, kRun, u"Y", u"\"C:\\Program Files\\x\\y.exe\" /min");
    ASSERT_EQ(run.EnumerateItems(nullptr, true, nullptr), 1);
    std::vector<Line> lines;
    EXPECT_EQ(run.GetItemDetails(0, CollectLine, &lines), 0);  // no version block
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0].value, u"\"C:\\Program Files\\x\\y.exe\" /min");
    EXPECT_EQ(lines[1].labelId, kDetailsTextFile);
    EXPECT_EQ(lines[1].value, u"y.exe");
    EXPECT_EQ(lines[2].labelId, kDetailsTextPath);
    EXPECT_EQ(lines[2].value, u"C:\\Program Files\\x\\y.exe");
    EXPECT_EQ(lines[3].labelId, kDetailsTextNoFileInfo);

    lines.clear();
    EXPECT_EQ(run.GetItemDetails(-1, CollectLine, &lines), 0);
    EXPECT_EQ(run.GetItemDetails(1, CollectLine, &lines), 0);
    EXPECT_TRUE(lines.empty());
}

TEST(RunItemLeaves, EightKeysInOrderWithTheirRootsAndElevation) {
    std::vector<CVistrelPlugin*> leaves;
    AppendRunItemLeaves(leaves);
    ASSERT_EQ(leaves.size(), 8u);
    const char16_t* const paths[] = {u"Run",     u"RunOnce",   u"RunOnceEx",   u"Run",
                                     u"RunOnce", u"RunOnceEx", u"RunServices", u"RunServicesOnce"};
    for (std::size_t i = 0; i < leaves.size(); ++i) {
        auto* leaf = dynamic_cast<CVistrelRunItemsBase*>(leaves[i]);
        ASSERT_NE(leaf, nullptr);
        EXPECT_EQ(leaf->GetNameId(), 22302 + 2 * static_cast<int>(i));
        EXPECT_EQ(leaf->GetDescriptionId(), 22303 + 2 * static_cast<int>(i));
        EXPECT_EQ(leaf->keyPath,
                  std::u16string(u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\") + paths[i]);
        EXPECT_EQ(leaf->root, i < 3 ? kHkeyCurrentUser : kHkeyLocalMachine);
        EXPECT_EQ(leaf->NeedsElevation, i >= 3);
        EXPECT_EQ(leaf->GetActionCount(), 3);
        EXPECT_EQ(leaf->GetActionTextId(3), -1);
        EXPECT_EQ(leaf->GetDefaultAction(), 1);
        delete leaf;
    }
}

}  // namespace
