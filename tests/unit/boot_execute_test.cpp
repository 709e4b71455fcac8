// Boot execute on the memory machine: what the multi-string lists, what the tree and the pane
// get of an autocheck entry, and the exact bytes each Remove writes back.
#include "collectors/autostart/boot_execute.h"

#include <gtest/gtest.h>

#include "tests/unit/collector_test_support.h"

namespace {

using platform::kHkeyLocalMachine;
using Strings = std::vector<std::u16string>;
using namespace std::literals;

constexpr char16_t kKey[] = u"SYSTEM\\CurrentControlSet\\Control\\Session Manager";
constexpr char16_t kValue[] = u"BootExecute";

class BootExecuteTest : public CollectorTest {
  protected:
    void Store(std::uint32_t type, const std::string& bytes) {
        machine_.SetRaw(kHkeyLocalMachine, kKey, kValue, type, bytes);
    }
    CVistrelRunItemsBootExecute boot;
};

TEST_F(BootExecuteTest, ReadsEachStringOfTheValueAndShowsItWithoutTheAutocheckWord) {
    const struct {
        const char* what;
        std::uint32_t type;
        std::string bytes;
        std::int32_t result;
        Strings shown;
        Strings stored;
    } cases[] = {
        {"prefix cut from what is shown only",
         7,
         WideBytes(u"autocheck autochk *\0C:\\x.exe /a\0\0"sv),
         2,
         {u"autochk *", u"C:\\x.exe /a"},
         {u"autocheck autochk *", u"C:\\x.exe /a"}},
        {"prefix in capitals",
         7,
         WideBytes(u"AutoCHECK chk.exe\0\0"sv),
         1,
         {u"chk.exe"},
         {u"AutoCHECK chk.exe"}},
        {"the word without its blank stays",
         7,
         WideBytes(u"autocheck\0autocheckx\0\0"sv),
         2,
         {u"autocheck", u"autocheckx"},
         {u"autocheck", u"autocheckx"}},
        {"a plain string is one entry",
         1,
         WideBytes(u"C:\\one.exe\0"sv),
         1,
         {u"C:\\one.exe"},
         {u"C:\\one.exe"}},
        {"the type is not looked at",
         3,
         WideBytes(u"bin.exe\0\0"sv),
         1,
         {u"bin.exe"},
         {u"bin.exe"}},
        {"no terminator at all", 7, WideBytes(u"a\0b"sv), 2, {u"a", u"b"}, {u"a", u"b"}},
        {"odd byte count", 7, WideBytes(u"a\0bc"sv) + "d", 2, {u"a", u"bc"}, {u"a", u"bc"}},
        {"an empty string ends the list", 7, WideBytes(u"a\0\0hidden\0\0"sv), 1, {u"a"}, {u"a"}},
        {"data that begins with a NUL", 7, WideBytes(u"\0a\0\0"sv), 0, {}, {}},
        {"empty data", 7, "", 0, {}, {}},
        {"a single odd byte", 7, "x", 0, {}, {}},
        {"exactly 4096 bytes",
         7,
         WideBytes(std::u16string(2046, u'x') + u"\0\0"s),
         1,
         {std::u16string(2046, u'x')},
         {std::u16string(2046, u'x')}},
        {"over 4096 bytes",
         7,
         WideBytes(std::u16string(2047, u'x') + u"\0\0"s),
         kEnumNotFound,
         {},
         {}},
    };
    // Without the key, then without the value, nothing is listed and only Refresh is left.
    EXPECT_EQ(boot.EnumerateItems(nullptr, true, nullptr), kEnumNotFound);
    machine_.AddKey(kHkeyLocalMachine, kKey);
    EXPECT_EQ(boot.EnumerateItems(nullptr, true, nullptr), kEnumNotFound);
    EXPECT_EQ(boot.GetActionMask(-1), 1u);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Store(c.type, c.bytes);
        std::int32_t result = 0;
        EXPECT_EQ(Texts(boot, true, &result), c.shown);
        EXPECT_EQ(result, c.result);
        EXPECT_EQ(boot.items, c.stored);
        EXPECT_EQ(boot.failed, c.result < 0);
        EXPECT_EQ(boot.GetActionMask(0), c.result < 0 ? 1u : c.result > 0 ? 7u : 3u);
        if (c.result > 0) {
            EXPECT_EQ(DetailsObject(boot, 0), c.shown[0]);
        }
    }
    // A key that can't be opened reads as missing.
    machine_.DenyOpen(kHkeyLocalMachine, kKey);
    EXPECT_EQ(boot.EnumerateItems(nullptr, true, nullptr), kEnumNotFound);
    EXPECT_TRUE(boot.items.empty());
}

TEST_F(BootExecuteTest, RemoveWritesTheOtherStringsWholeInTheirOrderWithTheDoubleNul) {
    const struct {
        const char* what;
        std::uint32_t type;
        std::string bytes;
        std::vector<std::int32_t> removes;
        std::u16string written;  // always REG_MULTI_SZ
    } cases[] = {
        {"middle entry; the prefix is written back",
         7,
         WideBytes(u"autocheck autochk *\0b.exe\0c.exe /x\0\0"sv),
         {1},
         u"autocheck autochk *\0c.exe /x\0\0"s},
        {"the only entry leaves two NULs",
         7,
         WideBytes(u"autocheck autochk *\0\0"sv),
         {0},
         std::u16string(2, u'\0')},
        {"a plain string becomes an empty list",
         1,
         WideBytes(u"one.exe\0"sv),
         {0},
         std::u16string(2, u'\0')},
        {"two removes without a refresh", 7, WideBytes(u"a\0b\0c\0\0"sv), {0, 2}, u"b\0\0"s},
        {"a value without terminator gets one", 7, WideBytes(u"a\0b\0c"sv), {2}, u"a\0b\0\0"s},
        {"hidden strings behind the list's end don't come back",
         7,
         WideBytes(u"a\0b\0\0c\0\0"sv),
         {0},
         u"b\0\0"s},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Store(c.type, c.bytes);
        ASSERT_GT(boot.EnumerateItems(nullptr, true, nullptr), 0);
        for (std::int32_t index : c.removes) {
            resultFlags flags;
            EXPECT_TRUE(Remove(boot, index, &flags));
            EXPECT_EQ(flags.deleteItem, 1);
            EXPECT_EQ(flags.localUpdate, 1);
            EXPECT_TRUE(boot.items[static_cast<std::size_t>(index)].empty());
        }
        EXPECT_EQ(Stored(kHkeyLocalMachine, kKey, kValue), "7:" + WideBytes(c.written));
    }
}

TEST_F(BootExecuteTest, FailedOrRefusedActionsLeaveTheValueAndGoToAlwaysSelectsIt) {
    const std::string bytes = WideBytes(u"autocheck autochk *\0x.exe\0\0"sv);
    Store(7, bytes);
    ASSERT_EQ(boot.EnumerateItems(nullptr, true, nullptr), 2);
    const std::string target =
        "\\HKEY_LOCAL_MACHINE\\SYSTEM\\CURRENTCONTROLSET\\CONTROL\\SESSION MANAGER|BOOTEXECUTE";
    EXPECT_EQ(GoTo(boot, -1), target);
    EXPECT_EQ(GoTo(boot, 1, -1), target);

    resultFlags flags;
    EXPECT_FALSE(Remove(boot, 2, &flags));  // bad index: flags untouched
    EXPECT_EQ(flags.succeeded, 1);
    machine_.FailWrites(kHkeyLocalMachine, kKey);
    EXPECT_FALSE(Remove(boot, 1, &flags));
    EXPECT_EQ(flags.succeeded, 0);
    EXPECT_EQ(flags.deleteItem, 0);
    EXPECT_EQ(boot.items[1], u"x.exe");
    EXPECT_EQ(Stored(kHkeyLocalMachine, kKey, kValue), "7:" + bytes);

    // Refresh reads again and asks for an update.
    machine_.DenyOpen(kHkeyLocalMachine, kKey);
    EXPECT_TRUE(boot.DoAction(0, -1, &flags));
    EXPECT_TRUE(boot.failed);
    EXPECT_TRUE(boot.items.empty());
}

}  // namespace
