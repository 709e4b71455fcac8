// Winlogon notification packages on the memory machine: packages that can't be opened by their
// name, refresh, and that Remove deletes exactly the chosen package's key. What is listed and
// shown is recorded in tests/golden/logon_lists.
#include "collectors/autostart/winlogon_notify.h"

#include "tests/unit/collector_fixture.h"

namespace {

using platform::kHkeyLocalMachine;
constexpr char16_t kNotify[] = u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Winlogon\\Notify";

std::u16string Package(std::u16string_view name) {
    return std::u16string(kNotify) + u"\\" + std::u16string(name);
}

class WinlogonNotifyTest : public LogonCollectorTest {
  protected:
    CVistrelLoadItemsWinlogonNotify notify;
};

TEST_F(WinlogonNotifyTest, DeniedAndNulNamedPackagesAreLeftOutAndRemoveDeletesOneWhole) {
    const std::pair<std::u16string, const char16_t*> packages[] = {
        {u"a", u"a.dll"},
        {u"b", u"b.dll"},
        {u"h", u"h.dll"},  // can't be opened
        // A name with a NUL can't be opened by name: its front reaches another key.
        {u"j", u"front.dll"},
        {u"j\0in-name"s, u"j.dll"},
    };
    for (const auto& [name, library] : packages)
        machine_.SetString(kHkeyLocalMachine, Package(name), u"DllName", library);
    machine_.DenyOpen(kHkeyLocalMachine, Package(u"h"));
    std::int32_t result = 0;
    EXPECT_EQ(Texts(notify, &result), (Strings{u"a", u"b", u"j"}));
    EXPECT_EQ(result, 3);
    EXPECT_EQ(collectortest::Details(notify, 2).at(0).value, u"front.dll");
    const std::string key =
        "\\HKEY_LOCAL_MACHINE\\SOFTWARE\\MICROSOFT\\WINDOWS NT\\CURRENTVERSION\\WINLOGON\\NOTIFY";
    EXPECT_EQ(GoTo(notify, 1), key + "\\B|");
    EXPECT_EQ(GoTo(notify, -1, -1), key + "|");

    machine_.SetString(kHkeyLocalMachine, Package(u"b\\Sub"), u"Keep", u"1");
    resultFlags flags;
    ASSERT_TRUE(Remove(notify, 1, &flags));
    EXPECT_EQ(flags.deleteItem + flags.localUpdate, 2);
    EXPECT_FALSE(machine_.HasKey(kHkeyLocalMachine, Package(u"b")));
    EXPECT_TRUE(machine_.HasKey(kHkeyLocalMachine, Package(u"a")));
    machine_.FailWrites(kHkeyLocalMachine, Package(u"a"));
    EXPECT_FALSE(Remove(notify, 0, &flags));
    EXPECT_EQ(flags.succeeded, 0);
    EXPECT_TRUE(machine_.HasKey(kHkeyLocalMachine, Package(u"a")));
}

TEST_F(WinlogonNotifyTest, AFailedReadDeliversNothingAndRefreshKeepsTheFailure) {
    std::int32_t result = 0;
    EXPECT_TRUE(Texts(notify, &result).empty());
    EXPECT_EQ(result, kEnumNotFound);
    EXPECT_EQ(notify.GetActionMask(-1), 1u);
    machine_.SetString(kHkeyLocalMachine, Package(u"late"), u"DllName", u"late.dll");
    resultFlags flags;
    EXPECT_TRUE(notify.DoAction(0, -1, &flags));
    EXPECT_EQ(notify.items.size(), 1u);
    EXPECT_TRUE(Texts(notify, &result, false).empty());  // the failure stands until a read
    EXPECT_EQ(result, kEnumNotFound);
    EXPECT_EQ(Texts(notify, &result), Strings{u"late"});
    machine_.DenyOpen(kHkeyLocalMachine, kNotify);
    EXPECT_TRUE(notify.DoAction(0, -1, &flags));
    EXPECT_FALSE(notify.failed);
    EXPECT_TRUE(notify.items.empty());
}

}  // namespace
