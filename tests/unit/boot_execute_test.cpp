// Boot execute on the memory machine: the exact bytes each Remove writes back. What the
// multi-string lists and shows is recorded in tests/golden/logon_lists*.
#include "collectors/autostart/boot_execute.h"

#include "tests/unit/collector_fixture.h"

namespace {

using platform::kHkeyLocalMachine;
constexpr char16_t kKey[] = u"SYSTEM\\CurrentControlSet\\Control\\Session Manager";

class BootExecuteTest : public LogonCollectorTest {
  protected:
    void Store(std::uint32_t type, const std::string& bytes) {
        machine_.SetRaw(kHkeyLocalMachine, kKey, u"BootExecute", type, bytes);
    }
    CVistrelRunItemsBootExecute boot;
};

TEST_F(BootExecuteTest, RemoveWritesTheOtherStringsWholeInOrderWithTheDoubleNul) {
    const struct {
        std::uint32_t type;
        std::u16string_view value;
        std::vector<std::int32_t> removes;
        std::u16string_view written;
    } cases[] = {
        {7,
         u"autocheck autochk *\0b.exe\0c.exe /x\0\0"sv,
         {1},
         u"autocheck autochk *\0c.exe /x\0\0"sv},
        {7, u"autocheck autochk *\0\0"sv, {0}, u"\0\0"sv},
        {1, u"one.exe\0"sv, {0}, u"\0\0"sv},
        {7, u"a\0b\0c\0\0"sv, {0, 2}, u"b\0\0"sv},
        {7, u"a\0b\0c"sv, {2}, u"a\0b\0\0"sv},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(Bytes(c.value)));
        Store(c.type, Bytes(c.value));
        ASSERT_GT(boot.EnumerateItems(nullptr, true, nullptr), 0);
        for (std::int32_t index : c.removes) {
            resultFlags flags;
            EXPECT_TRUE(Remove(boot, index, &flags));
            EXPECT_EQ(flags.deleteItem + flags.localUpdate + flags.succeeded, 3);
        }
        EXPECT_EQ(Stored(kHkeyLocalMachine, kKey, u"BootExecute"), "7:" + Bytes(c.written));
    }
    // Go to selects the value, for the category too; a failed write changes nothing.
    const std::string target =
        "\\HKEY_LOCAL_MACHINE\\SYSTEM\\CURRENTCONTROLSET\\CONTROL\\SESSION MANAGER|BOOTEXECUTE";
    EXPECT_EQ(GoTo(boot, -1), target);
    EXPECT_EQ(GoTo(boot, 0, -1), target);
    const std::string before = Stored(kHkeyLocalMachine, kKey, u"BootExecute");
    machine_.FailWrites(kHkeyLocalMachine, kKey);
    resultFlags flags;
    EXPECT_FALSE(Remove(boot, 1, &flags));
    EXPECT_EQ(flags.succeeded, 0);
    EXPECT_EQ(boot.items[1], u"b");
    EXPECT_EQ(Stored(kHkeyLocalMachine, kKey, u"BootExecute"), before);
}

}  // namespace
