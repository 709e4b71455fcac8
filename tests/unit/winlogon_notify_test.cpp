// Winlogon notification packages on the memory machine: which sub-keys of "Notify" are listed
// and shown, and that Remove deletes exactly the chosen package's key.
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

TEST_F(WinlogonNotifyTest, ListsSubKeysWithAStringDllNameAndRemoveDeletesOneWhole) {
    const struct {
        std::u16string name;
        std::uint32_t type;  // of "DllName"; 0: none
        std::string bytes;
        const char16_t* library;  // null: not listed
    } cases[] = {
        {u"a", 1, Bytes(u"a.dll\0"sv), u"a.dll"},
        {u"b", 2, Bytes(u"%SystemRoot%\\b.dll\0"sv), u"%SystemRoot%\\b.dll"},
        {u"c", 0, {}, nullptr},
        {u"d", 4, "\1\0\0\0", nullptr},
        {u"e", 7, Bytes(u"e.dll\0\0"sv), nullptr},
        {u"f", 1, Bytes(std::u16string(2048, u'f') + u"\0"s), nullptr},
        {u"g", 1, Bytes(u"g.dll\0x.dll"sv) + "x", u"g.dll"},
        {u"h", 1, Bytes(u"h.dll\0"sv), nullptr},  // can't be opened
        // A name with a NUL can't be opened by name: its front reaches another key.
        {u"j", 1, Bytes(u"front.dll\0"sv), u"front.dll"},
        {u"j\0in-name"s, 1, Bytes(u"j.dll\0"sv), nullptr},
    };
    Strings shown, libraries;
    for (const auto& c : cases) {
        machine_.SetString(kHkeyLocalMachine, Package(c.name), u"Startup", u"OnStart");
        if (c.type)
            machine_.SetRaw(kHkeyLocalMachine, Package(c.name), u"DllName", c.type, c.bytes);
        if (c.library) shown.push_back(c.name), libraries.push_back(c.library);
    }
    machine_.DenyOpen(kHkeyLocalMachine, Package(u"h"));
    std::int32_t result = 0;
    EXPECT_EQ(Texts(notify, &result), shown);
    EXPECT_EQ(result, static_cast<std::int32_t>(shown.size()));
    ASSERT_EQ(notify.items.size(), shown.size());
    for (std::size_t i = 0; i < shown.size(); ++i) {
        EXPECT_EQ(notify.items[i].first, Package(shown[i]));
        EXPECT_EQ(Object(notify, static_cast<std::int32_t>(i)), libraries[i]);
    }
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
