// Load items on the memory machine: the exact text each Remove writes, the Remove refused because
// two neighbours may be one path with a blank, and refresh. What a list value lists and shows is
// recorded in tests/golden/logon_lists*.
#include "collectors/autostart/load_items.h"

#include "tests/unit/collector_fixture.h"

namespace {

using platform::kHkeyCurrentUser;
using platform::kHkeyLocalMachine;
constexpr char16_t kWinlogon[] = u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Winlogon";
constexpr char16_t kWindows[] = u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Windows";

class LoadItemsTest : public LogonCollectorTest {
  protected:
    void Store(std::uint32_t type, const std::string& bytes) {
        machine_.SetRaw(kHkeyLocalMachine, kWindows, u"AppInit_DLLs", type, bytes);
    }
    std::string Stored() {
        return LogonCollectorTest::Stored(kHkeyLocalMachine, kWindows, u"AppInit_DLLs");
    }
    CVistrelLoadItemAppInitDLLs appInit;
};

TEST_F(LoadItemsTest, RemoveWritesTheKeptEntriesJoinedOrRefusesToCutAPathWithABlank) {
    const struct {
        std::u16string value;
        std::uint32_t type;
        std::vector<std::int32_t> removes;  // the last one is refused when written is null
        const char16_t* written;            // REG_SZ, with its terminator
    } cases[] = {
        {u"a b,c", 1, {1}, u"a, c"},
        {u"a,b,c", 1, {2}, u"a, b, "},
        {u"a b,c", 1, {0, 1}, u"c"},
        {u"x.dll", 1, {0}, u""},
        {u"%SystemRoot%\\a.dll,b.dll", 2, {1}, u"%SystemRoot%\\a.dll, "},
        {u"a , b,c", 1, {2}, u"a, b, "},
        {u"C:\\Program Files\\a.exe, b.dll", 1, {0}, u"Files\\a.exe, b.dll"},
        {u"C:\\Program Files\\a.exe, b.dll", 1, {2}, nullptr},
        {u"a,b c,d", 1, {0}, nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(Bytes(c.value)));
        Store(c.type, Bytes(c.value + u"\0"s));
        ASSERT_GT(appInit.EnumerateItems(nullptr, true, nullptr), 0);
        const std::string before = Stored();
        for (std::int32_t index : c.removes) {
            resultFlags flags;
            const bool refused = c.written == nullptr && index == c.removes.back();
            EXPECT_EQ(Remove(appInit, index, &flags), !refused);
            EXPECT_EQ(flags.deleteItem + flags.localUpdate + flags.succeeded, refused ? 0 : 3);
            EXPECT_EQ(appInit.items[static_cast<std::size_t>(index)].text.empty(), !refused);
        }
        EXPECT_EQ(Stored(), c.written ? "1:" + Bytes(c.written + u"\0"s) : before);
    }
    // Go to selects the value for an entry, the key for the category.
    const std::string key =
        "\\HKEY_LOCAL_MACHINE\\SOFTWARE\\MICROSOFT\\WINDOWS NT\\CURRENTVERSION\\WINDOWS";
    EXPECT_EQ(GoTo(appInit, 1), key + "|APPINIT_DLLS");
    EXPECT_EQ(GoTo(appInit, -1, -1), key + "|");
}

TEST_F(LoadItemsTest, FailuresUserinitAndRefreshLeaveTheValuesAsTheyAre) {
    Store(1, Bytes(u"a.dll b.dll\0"sv));
    ASSERT_EQ(appInit.EnumerateItems(nullptr, true, nullptr), 2);
    const std::string before = Stored();
    machine_.FailWrites(kHkeyLocalMachine, kWindows);
    resultFlags flags;
    EXPECT_FALSE(Remove(appInit, 0, &flags));
    EXPECT_EQ(flags.succeeded, 0);
    EXPECT_EQ(appInit.items[0].text, u"a.dll");
    EXPECT_EQ(Stored(), before);

    // Userinit is listed, offers Refresh and Go to only, and never rewrites.
    const std::u16string value = u"C:\\WINDOWS\\system32\\userinit.exe,extra.exe,";
    machine_.SetString(kHkeyLocalMachine, kWinlogon, u"Userinit", value);
    CVistrelLoadItemUserInit userinit;
    ASSERT_EQ(userinit.EnumerateItems(nullptr, true, nullptr), 2);
    EXPECT_EQ(userinit.GetActionMask(1) | userinit.GetActionMask(-1), 3u);
    EXPECT_EQ(userinit.GetActionTextId(2), 22201);
    EXPECT_FALSE(Remove(userinit, 1, &flags));
    EXPECT_EQ(flags.succeeded, 1);
    EXPECT_EQ(machine_.GetString(kHkeyLocalMachine, kWinlogon, u"Userinit"), value);

    // Refresh reads the list again but leaves failed as it was, either way.
    machine_.DenyOpen(kHkeyLocalMachine, kWindows);
    EXPECT_TRUE(appInit.DoAction(0, -1, &flags));
    EXPECT_TRUE(appInit.items.empty());
    EXPECT_FALSE(appInit.failed);
    CVistrelLoadItemCUShell userShell;
    EXPECT_EQ(userShell.EnumerateItems(nullptr, true, nullptr), kEnumNotFound);
    machine_.SetString(kHkeyCurrentUser, kWinlogon, u"Shell", u"my.exe");
    EXPECT_TRUE(userShell.DoAction(0, -1, &flags));
    EXPECT_EQ(userShell.items.size(), 1u);
    EXPECT_EQ(userShell.GetActionMask(0), 1u);
}

}  // namespace
