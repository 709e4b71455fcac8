// Winlogon notification packages on the memory machine: which sub-keys of "Notify" are listed,
// what the tree and the pane show, and that Remove deletes exactly the chosen package's key.
#include "collectors/autostart/winlogon_notify.h"

#include <gtest/gtest.h>

#include "tests/unit/collector_test_support.h"

namespace {

using platform::kHkeyLocalMachine;
using Strings = std::vector<std::u16string>;
using namespace std::literals;

constexpr char16_t kNotify[] = u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Winlogon\\Notify";

std::u16string Package(std::u16string_view name) {
    return std::u16string(kNotify) + u"\\" + std::u16string(name);
}

class WinlogonNotifyTest : public CollectorTest {
  protected:
    CVistrelLoadItemsWinlogonNotify notify;
};

TEST_F(WinlogonNotifyTest, ListsTheSubKeysWithAStringDllNameUnderTheirOwnNames) {
    const struct {
        std::u16string name;
        std::uint32_t type;  // of "DllName"; 0: no "DllName" at all
        std::string bytes;
        bool listed;
        std::u16string library;
    } cases[] = {
        {u"a-plain", 1, WideBytes(u"a.dll\0"sv), true, u"a.dll"},
        {u"b-expand", 2, WideBytes(u"%SystemRoot%\\b.dll\0"sv), true, u"%SystemRoot%\\b.dll"},
        {u"c-other-values-only", 0, {}, false, {}},
        {u"d-dword", 4, "\1\0\0\0", false, {}},
        {u"e-multi", 7, WideBytes(u"e.dll\0\0"sv), false, {}},
        {u"f-oversize", 1, WideBytes(std::u16string(2048, u'f') + u"\0"s), false, {}},
        {u"g-unterminated-odd", 1, WideBytes(u"g.dll"sv) + "x", true, u"g.dll"},
        {u"h-text-after-nul", 1, WideBytes(u"h.dll\0x.dll\0"sv), true, u"h.dll"},
        {u"i-denied", 1, WideBytes(u"i.dll\0"sv), false, {}},
        // A name with a NUL can't be opened by name: what its front reaches is another key.
        {u"j-nul", 1, WideBytes(u"front.dll\0"sv), true, u"front.dll"},
        {u"j-nul\0in-name"s, 1, WideBytes(u"j.dll\0"sv), false, {}},
    };
    Strings shown;
    std::vector<si_key_item> expected;
    for (const auto& c : cases) {
        machine_.AddKey(kHkeyLocalMachine, Package(c.name));
        machine_.SetString(kHkeyLocalMachine, Package(c.name), u"Startup", u"OnStart");
        if (c.type != 0)
            machine_.SetRaw(kHkeyLocalMachine, Package(c.name), u"DllName", c.type, c.bytes);
        if (c.listed) {
            shown.push_back(c.name);
            expected.push_back({Package(c.name), c.library, c.name});
        }
    }
    machine_.DenyOpen(kHkeyLocalMachine, Package(u"i-denied"));
    std::int32_t result = 0;
    EXPECT_EQ(Texts(notify, true, &result), shown);
    EXPECT_EQ(result, static_cast<std::int32_t>(shown.size()));
    ASSERT_EQ(notify.items.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(notify.items[i].first, expected[i].first);
        EXPECT_EQ(notify.items[i].second, expected[i].second);
        EXPECT_EQ(notify.items[i].third, expected[i].third);
        EXPECT_EQ(DetailsObject(notify, static_cast<std::int32_t>(i)), expected[i].second);
        EXPECT_EQ(notify.GetActionMask(static_cast<std::int32_t>(i)), 7u);
    }
    EXPECT_EQ(notify.GetActionMask(-1), 3u);
    EXPECT_EQ(DetailsObject(notify, static_cast<std::int32_t>(expected.size())), u"<none>");
}

TEST_F(WinlogonNotifyTest, RemoveDeletesOnlyTheChosenPackageKeyWithItsSubtree) {
    for (const char16_t* name : {u"one", u"two", u"two-more"}) {
        machine_.SetString(kHkeyLocalMachine, Package(name), u"DllName", u"x.dll");
        machine_.SetString(kHkeyLocalMachine, Package(name) + u"\\Sub", u"Keep", u"1");
    }
    ASSERT_EQ(notify.EnumerateItems(nullptr, true, nullptr), 3);
    const std::string notifyKey =
        "\\HKEY_LOCAL_MACHINE\\SOFTWARE\\MICROSOFT\\WINDOWS NT\\CURRENTVERSION\\WINLOGON\\NOTIFY";
    EXPECT_EQ(GoTo(notify, 1), notifyKey + "\\TWO|");
    EXPECT_EQ(GoTo(notify, -1, -1), notifyKey + "|");

    resultFlags flags;
    machine_.FailWrites(kHkeyLocalMachine, Package(u"two"));
    EXPECT_FALSE(Remove(notify, 1, &flags));
    EXPECT_EQ(flags.succeeded, 0);
    EXPECT_TRUE(machine_.HasKey(kHkeyLocalMachine, Package(u"two")));

    ASSERT_TRUE(Remove(notify, 2, &flags));
    EXPECT_EQ(flags.deleteItem, 1);
    EXPECT_EQ(flags.localUpdate, 1);
    EXPECT_FALSE(machine_.HasKey(kHkeyLocalMachine, Package(u"two-more")));
    EXPECT_FALSE(machine_.HasKey(kHkeyLocalMachine, Package(u"two-more\\Sub")));
    EXPECT_TRUE(machine_.HasKey(kHkeyLocalMachine, Package(u"two\\Sub")));
    EXPECT_TRUE(machine_.HasKey(kHkeyLocalMachine, Package(u"one\\Sub")));
    EXPECT_EQ(notify.items.size(), 3u);  // the record stays until the next read
    EXPECT_FALSE(Remove(notify, 3, &flags));
}

TEST_F(WinlogonNotifyTest, AFailedReadDeliversNothingAndRefreshKeepsTheFailure) {
    std::int32_t result = 0;
    EXPECT_TRUE(Texts(notify, true, &result).empty());
    EXPECT_EQ(result, kEnumNotFound);
    EXPECT_EQ(notify.GetActionMask(-1), 1u);

    // Refresh fills the list but the failure of the last read stands: nothing is delivered.
    machine_.SetString(kHkeyLocalMachine, Package(u"late"), u"DllName", u"late.dll");
    resultFlags flags;
    EXPECT_TRUE(notify.DoAction(0, -1, &flags));
    EXPECT_EQ(notify.items.size(), 1u);
    EXPECT_TRUE(notify.failed);
    EXPECT_TRUE(Texts(notify, false, &result).empty());
    EXPECT_EQ(result, kEnumNotFound);
    EXPECT_EQ(Texts(notify, true, &result), Strings{u"late"});
    EXPECT_EQ(result, 1);

    // And a failing Refresh after a good read leaves failed clear.
    machine_.DenyOpen(kHkeyLocalMachine, kNotify);
    EXPECT_TRUE(notify.DoAction(0, -1, &flags));
    EXPECT_FALSE(notify.failed);
    EXPECT_TRUE(notify.items.empty());
}

}  // namespace
