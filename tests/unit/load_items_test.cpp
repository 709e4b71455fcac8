// Load items on the memory machine: the tokens of a list value, the exact text each Remove
// writes, and the Remove that is refused because two neighbours may be one path with a blank.
#include "collectors/autostart/load_items.h"

#include <gtest/gtest.h>

#include "tests/unit/collector_test_support.h"

namespace {

using platform::kHkeyCurrentUser;
using platform::kHkeyLocalMachine;
using Strings = std::vector<std::u16string>;
using namespace std::literals;

constexpr char16_t kWinlogon[] = u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Winlogon";
constexpr char16_t kWindows[] = u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Windows";

Strings Tokens(const CVistrelLoadItemsValueBase& source) {
    Strings tokens;
    for (const ValueListToken& item : source.items) tokens.push_back(item.text);
    return tokens;
}

class LoadItemsTest : public CollectorTest {
  protected:
    void Store(std::uint32_t type, const std::string& bytes) {
        machine_.SetRaw(kHkeyLocalMachine, kWindows, u"AppInit_DLLs", type, bytes);
    }
    std::string Stored() {
        return CollectorTest::Stored(kHkeyLocalMachine, kWindows, u"AppInit_DLLs");
    }
    CVistrelLoadItemAppInitDLLs appInit;
};

TEST_F(LoadItemsTest, SplitsTheValueOnBlanksAndCommasWhateverItsType) {
    const struct {
        const char* what;
        std::uint32_t type;
        std::string bytes;
        std::int32_t result;
        Strings tokens;
    } cases[] = {
        {"blanks and commas", 1, WideBytes(u"a b,c\0"sv), 3, {u"a", u"b", u"c"}},
        {"a trailing comma gives no entry",
         1,
         WideBytes(u"userinit.exe,\0"sv),
         1,
         {u"userinit.exe"}},
        {"runs and ends of delimiters", 1, WideBytes(u" ,a ,, b, \0"sv), 2, {u"a", u"b"}},
        {"quotes mean nothing",
         1,
         WideBytes(u"\"C:\\Program Files\\x.dll\"\0"sv),
         2,
         {u"\"C:\\Program", u"Files\\x.dll\""}},
        {"a tab is no delimiter", 1, WideBytes(u"a\tb,c\0"sv), 2, {u"a\tb", u"c"}},
        {"only delimiters", 1, WideBytes(u" , ,\0"sv), 0, {}},
        {"empty", 1, WideBytes(u"\0"sv), 0, {}},
        {"no terminator", 1, WideBytes(u"x.dll,y.dll"sv), 2, {u"x.dll", u"y.dll"}},
        {"odd byte count", 1, WideBytes(u"x.dll y"sv) + "z", 2, {u"x.dll", u"y"}},
        {"text ends at the first NUL", 2, WideBytes(u"a.dll\0b.dll\0"sv), 1, {u"a.dll"}},
        {"a multi-string gives its first string", 7, WideBytes(u"a b\0c\0\0"sv), 2, {u"a", u"b"}},
        {"binary bytes are read as text", 4, WideBytes(u"AB"sv), 1, {u"AB"}},
        {"exactly 4096 bytes",
         1,
         WideBytes(std::u16string(2047, u'x') + u"\0"s),
         1,
         {std::u16string(2047, u'x')}},
        {"over 4096 bytes", 1, WideBytes(std::u16string(2048, u'x') + u"\0"s), kEnumNotFound, {}},
    };
    // No key, then no value: not found, Refresh only.
    EXPECT_EQ(appInit.EnumerateItems(nullptr, true, nullptr), kEnumNotFound);
    machine_.AddKey(kHkeyLocalMachine, kWindows);
    EXPECT_EQ(appInit.EnumerateItems(nullptr, true, nullptr), kEnumNotFound);
    EXPECT_EQ(appInit.GetActionMask(-1), 1u);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Store(c.type, c.bytes);
        std::int32_t result = 0;
        EXPECT_EQ(Texts(appInit, true, &result), c.tokens);
        EXPECT_EQ(result, c.result);
        EXPECT_EQ(Tokens(appInit), c.tokens);
        EXPECT_EQ(appInit.GetActionMask(-1), c.result < 0 ? 1u : 3u);
        EXPECT_EQ(appInit.GetActionMask(0), c.result < 0 ? 1u : c.result > 0 ? 7u : 3u);
        if (c.result > 0) {
            EXPECT_EQ(DetailsObject(appInit, 0), c.tokens[0]);
        }
    }
}

TEST_F(LoadItemsTest, RemoveWritesTheKeptEntriesJoinedOrRefusesToCutAPathWithABlank) {
    const struct {
        const char* what;
        std::u16string value;
        std::uint32_t type;
        std::vector<std::int32_t> removes;  // in order; the last one may be refused
        bool refused;
        std::u16string written;  // REG_SZ with its terminator, when not refused
    } cases[] = {
        {"the middle entry", u"a b,c", 1, {1}, false, u"a, c"},
        {"the last entry leaves the separator", u"a,b,c", 1, {2}, false, u"a, b, "},
        {"two removes without a refresh", u"a b,c", 1, {0, 1}, false, u"c"},
        {"the only entry leaves an empty string", u"x.dll", 1, {0}, false, u""},
        {"an expandable value is written as a plain string",
         u"%SystemRoot%\\a.dll,b.dll",
         2,
         {1},
         false,
         u"%SystemRoot%\\a.dll, "},
        {"blanks around a comma are a list", u"a , b,c", 1, {2}, false, u"a, b, "},
        {"neighbours separated by blanks alone", u"a b,c", 1, {2}, true, {}},
        {"a path with a blank next to the removed entry",
         u"C:\\Program Files\\a.exe, b.dll",
         1,
         {2},
         true,
         {}},
        {"the removed entry was one half of the blank",
         u"C:\\Program Files\\a.exe, b.dll",
         1,
         {0},
         false,
         u"Files\\a.exe, b.dll"},
        {"blank neighbours far from the removed entry", u"a,b c,d", 1, {0}, true, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Store(c.type, WideBytes(c.value + u"\0"s));
        ASSERT_GT(appInit.EnumerateItems(nullptr, true, nullptr), 0);
        for (std::size_t i = 0; i < c.removes.size(); ++i) {
            const std::string before = Stored();
            const Strings tokens = Tokens(appInit);
            const bool refuse = c.refused && i + 1 == c.removes.size();
            resultFlags flags;
            EXPECT_EQ(Remove(appInit, c.removes[i], &flags), !refuse);
            EXPECT_EQ(flags.succeeded, refuse ? 0 : 1);
            EXPECT_EQ(flags.deleteItem, refuse ? 0 : 1);
            EXPECT_EQ(flags.localUpdate, refuse ? 0 : 1);
            if (refuse) {
                EXPECT_EQ(Stored(), before);
                EXPECT_EQ(Tokens(appInit), tokens);
            } else {
                EXPECT_TRUE(appInit.items[static_cast<std::size_t>(c.removes[i])].text.empty());
            }
        }
        if (!c.refused) {
            EXPECT_EQ(Stored(), "1:" + WideBytes(c.written + u"\0"s));
        }
    }
}

TEST_F(LoadItemsTest, FailedWritesRefreshAndGoToLeaveTheValueAsItIs) {
    Store(1, WideBytes(u"a.dll b.dll\0"sv));
    ASSERT_EQ(appInit.EnumerateItems(nullptr, true, nullptr), 2);
    const std::string key =
        "\\HKEY_LOCAL_MACHINE\\SOFTWARE\\MICROSOFT\\WINDOWS NT\\CURRENTVERSION\\WINDOWS";
    EXPECT_EQ(GoTo(appInit, 1), key + "|APPINIT_DLLS");
    EXPECT_EQ(GoTo(appInit, -1, -1), key + "|");

    const std::string before = Stored();
    resultFlags flags;
    EXPECT_FALSE(Remove(appInit, 2, &flags));  // bad index: flags untouched
    EXPECT_EQ(flags.succeeded, 1);
    machine_.FailWrites(kHkeyLocalMachine, kWindows);
    EXPECT_FALSE(Remove(appInit, 0, &flags));
    EXPECT_EQ(flags.succeeded, 0);
    EXPECT_EQ(Tokens(appInit), (Strings{u"a.dll", u"b.dll"}));
    DestroyElevatedHelperSupport();
    EXPECT_FALSE(Remove(appInit, 0, &flags));
    EXPECT_EQ(flags.succeeded, 0);
    EXPECT_EQ(Stored(), before);

    // Refresh reads the list again but leaves failed alone, either way.
    machine_.DenyOpen(kHkeyLocalMachine, kWindows);
    EXPECT_TRUE(appInit.DoAction(0, -1, &flags));
    EXPECT_TRUE(appInit.items.empty());
    EXPECT_FALSE(appInit.failed);
    CVistrelLoadItemCUShell userShell;  // nothing under HKCU yet
    EXPECT_EQ(userShell.EnumerateItems(nullptr, true, nullptr), kEnumNotFound);
    machine_.SetString(kHkeyCurrentUser, kWinlogon, u"Shell", u"my.exe");
    EXPECT_TRUE(userShell.DoAction(0, -1, &flags));
    EXPECT_EQ(Tokens(userShell), Strings{u"my.exe"});
    EXPECT_TRUE(userShell.failed);
    EXPECT_EQ(userShell.GetActionMask(0), 1u);
}

TEST_F(LoadItemsTest, UserinitIsListedButNeverRewritten) {
    const std::u16string value = u"C:\\WINDOWS\\system32\\userinit.exe,extra.exe,";
    machine_.SetString(kHkeyLocalMachine, kWinlogon, u"Userinit", value);
    CVistrelLoadItemUserInit userinit;
    std::int32_t result = 0;
    EXPECT_EQ(Texts(userinit, true, &result),
              (Strings{u"C:\\WINDOWS\\system32\\userinit.exe", u"extra.exe"}));
    for (std::int32_t index : {-1, 0, 1, 2}) EXPECT_EQ(userinit.GetActionMask(index), 3u);
    EXPECT_EQ(userinit.GetActionCount(), 3);
    EXPECT_EQ(userinit.GetActionTextId(2), 22201);
    resultFlags flags;
    EXPECT_FALSE(Remove(userinit, 1, &flags));
    EXPECT_EQ(flags.succeeded, 1);
    EXPECT_EQ(flags.deleteItem, 0);
    EXPECT_EQ(machine_.GetString(kHkeyLocalMachine, kWinlogon, u"Userinit"), value);
    EXPECT_EQ(GoTo(userinit, 1),
              "\\HKEY_LOCAL_MACHINE\\SOFTWARE\\MICROSOFT\\WINDOWS NT\\CURRENTVERSION\\WINLOGON|"
              "USERINIT");
}

TEST(LoadItemLeaves, FourValuesWithTheirRootsKeysAndElevation) {
    CVistrelLoadItemUserInit userinit;
    CVistrelLoadItemCUShell userShell;
    CVistrelLoadItemLMShell machineShell;
    CVistrelLoadItemAppInitDLLs appInit;
    const struct {
        CVistrelLoadItemsValueBase* leaf;
        platform::RegKey root;
        const char16_t* key;
        const char16_t* value;
        bool elevation;
        std::int32_t nameId;
    } cases[] = {
        {&userinit, kHkeyLocalMachine, kWinlogon, u"Userinit", true, 22352},
        {&userShell, kHkeyCurrentUser, kWinlogon, u"Shell", false, 22354},
        {&machineShell, kHkeyLocalMachine, kWinlogon, u"Shell", true, 22356},
        {&appInit, kHkeyLocalMachine, kWindows, u"AppInit_DLLs", true, 22358},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.nameId);
        EXPECT_EQ(c.leaf->root, c.root);
        EXPECT_EQ(c.leaf->keyPath, c.key);
        EXPECT_EQ(c.leaf->valueName, c.value);
        EXPECT_EQ(c.leaf->NeedsElevation, c.elevation);
        EXPECT_EQ(c.leaf->GetNameId(), c.nameId);
        EXPECT_EQ(c.leaf->GetDescriptionId(), c.nameId + 1);
        EXPECT_EQ(c.leaf->GetActionCount(), 3);
        EXPECT_FALSE(c.leaf->EmptyNameIsDefault());
    }
}

}  // namespace
