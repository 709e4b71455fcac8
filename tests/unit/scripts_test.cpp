// Policy scripts on the memory machine: which sub-keys of the script set are listed, that the
// tree shows the script, and that Go to and Remove reach the entry's own sub-key.
#include "collectors/autostart/scripts.h"

#include <gtest/gtest.h>

#include "tests/unit/collector_test_support.h"

namespace {

using platform::kHkeyLocalMachine;
using Strings = std::vector<std::u16string>;
using namespace std::literals;

constexpr char16_t kStartup[] = u"SOFTWARE\\Policies\\Microsoft\\Windows\\System\\Scripts\\Startup";

std::u16string SetKey(std::u16string_view set, std::u16string_view name) {
    return std::u16string(kStartup) + u"\\" + std::u16string(set) + u"\\" + std::u16string(name);
}

class ScriptsTest : public CollectorTest {
  protected:
    CVistrelScriptsStartup startup;
};

TEST_F(ScriptsTest, ListsTheScriptsOfTheFirstSetByWhatTheyRun) {
    const struct {
        std::u16string name;
        std::uint32_t type;  // of "Script"; 0: none
        std::string bytes;
        bool listed;
        std::u16string script;
    } cases[] = {
        {u"0", 1, WideBytes(u"\\\\srv\\netlogon\\a.cmd\0"sv), true, u"\\\\srv\\netlogon\\a.cmd"},
        {u"1", 1, WideBytes(u"\\\\srv\\netlogon\\a.cmd\0"sv), true, u"\\\\srv\\netlogon\\a.cmd"},
        {u"2", 1, WideBytes(u"\0"sv), true, u""},
        {u"3", 2, WideBytes(u"%SystemRoot%\\b.vbs\0"sv), true, u"%SystemRoot%\\b.vbs"},
        {u"4", 0, {}, false, {}},
        {u"5", 4, "\1\0\0\0", false, {}},
        {u"6", 1, WideBytes(std::u16string(2048, u's') + u"\0"s), false, {}},
        {u"7", 1, WideBytes(u"bare.bat"sv) + "x", true, u"bare.bat"},
    };
    Strings shown;
    Strings names;
    for (const auto& c : cases) {
        machine_.SetString(kHkeyLocalMachine, SetKey(u"0", c.name), u"Parameters", u"/q");
        if (c.type != 0)
            machine_.SetRaw(kHkeyLocalMachine, SetKey(u"0", c.name), u"Script", c.type, c.bytes);
        if (c.listed) {
            shown.push_back(c.script);
            names.push_back(c.name);
        }
    }
    // The set beside "0" is not read.
    machine_.SetString(kHkeyLocalMachine, SetKey(u"1", u"0"), u"Script", u"other.cmd");
    std::int32_t result = 0;
    EXPECT_EQ(Texts(startup, true, &result), shown);
    EXPECT_EQ(result, static_cast<std::int32_t>(shown.size()));
    ASSERT_EQ(startup.items.size(), shown.size());
    for (std::size_t i = 0; i < shown.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(startup.items[i].name, names[i]);
        EXPECT_EQ(startup.items[i].data, shown[i]);
        EXPECT_EQ(DetailsObject(startup, static_cast<std::int32_t>(i)), shown[i]);
    }
}

TEST_F(ScriptsTest, GoToAndRemoveFollowTheSubKeyNotTheScriptItNames) {
    for (const char16_t* name : {u"0", u"1"})
        machine_.SetString(kHkeyLocalMachine, SetKey(u"0", name), u"Script", u"same.cmd");
    ASSERT_EQ(startup.EnumerateItems(nullptr, true, nullptr), 2);
    const std::string set =
        "\\HKEY_LOCAL_MACHINE\\SOFTWARE\\POLICIES\\MICROSOFT\\WINDOWS\\SYSTEM\\"
        "SCRIPTS\\STARTUP\\0";
    EXPECT_EQ(GoTo(startup, 1), set + "\\1|");
    EXPECT_EQ(GoTo(startup, -1, -1), set + "|");

    resultFlags flags;
    machine_.FailWrites(kHkeyLocalMachine, SetKey(u"0", u"1"));
    EXPECT_FALSE(Remove(startup, 1, &flags));
    EXPECT_EQ(flags.succeeded, 0);
    EXPECT_TRUE(machine_.HasKey(kHkeyLocalMachine, SetKey(u"0", u"1")));
    CVistrelScriptsStartup fresh;
    ASSERT_EQ(fresh.EnumerateItems(nullptr, true, nullptr), 2);
    ASSERT_TRUE(Remove(fresh, 0, &flags));
    EXPECT_EQ(flags.deleteItem, 1);
    EXPECT_FALSE(machine_.HasKey(kHkeyLocalMachine, SetKey(u"0", u"0")));
    EXPECT_TRUE(machine_.HasKey(kHkeyLocalMachine, SetKey(u"0", u"1")));
    EXPECT_TRUE(machine_.HasKey(kHkeyLocalMachine, std::u16string(kStartup) + u"\\0"));
}

TEST_F(ScriptsTest, AMissingPolicyKeyLeavesOnlyRefreshAndBothLeavesReadTheirSet) {
    CVistrelScriptsShutdown shutdown;
    EXPECT_EQ(shutdown.keyPath,
              u"SOFTWARE\\Policies\\Microsoft\\Windows\\System\\Scripts\\Shutdown\\0");
    EXPECT_EQ(startup.keyPath, std::u16string(kStartup) + u"\\0");
    for (CVistrelScriptsBase* leaf : {static_cast<CVistrelScriptsBase*>(&startup),
                                      static_cast<CVistrelScriptsBase*>(&shutdown)}) {
        EXPECT_EQ(leaf->root, kHkeyLocalMachine);
        EXPECT_TRUE(leaf->NeedsElevation);
        EXPECT_EQ(leaf->EnumerateItems(nullptr, true, nullptr), kEnumNotFound);
        EXPECT_EQ(leaf->GetActionMask(-1), 1u);
    }
    EXPECT_EQ(shutdown.GetNameId(), 22384);
    machine_.SetString(kHkeyLocalMachine, SetKey(u"0", u"0"), u"Script", u"up.cmd");
    resultFlags flags;
    EXPECT_TRUE(startup.DoAction(0, -1, &flags));  // Refresh runs the read cycle
    EXPECT_FALSE(startup.failed);
    EXPECT_EQ(startup.GetActionMask(0), 7u);
}

}  // namespace
