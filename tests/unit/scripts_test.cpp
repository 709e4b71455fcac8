// Policy scripts on the memory machine: Go to and Remove reaching the entry's own sub-key. Which
// sub-keys are listed and how is recorded in tests/golden/scripts.
#include "collectors/autostart/scripts.h"

#include "tests/unit/collector_fixture.h"

namespace {

using platform::kHkeyLocalMachine;
constexpr char16_t kScripts[] = u"SOFTWARE\\Policies\\Microsoft\\Windows\\System\\Scripts\\";

std::u16string Script(std::u16string_view path) {
    return kScripts + std::u16string(path);
}

class ScriptsTest : public LogonCollectorTest {
  protected:
    CVistrelScriptsStartup startup;
};

TEST_F(ScriptsTest, GoToAndRemoveReachTheEntrysOwnSubKeyEvenForTheSameScript) {
    EXPECT_EQ(startup.EnumerateItems(nullptr, true, nullptr), kEnumNotFound);
    EXPECT_EQ(startup.GetActionMask(-1), 1u);
    for (const char16_t* name : {u"Startup\\0\\0", u"Startup\\0\\1"})
        machine_.SetString(kHkeyLocalMachine, Script(name), u"Script", u"same.cmd");
    ASSERT_EQ(startup.EnumerateItems(nullptr, true, nullptr), 2);
    const std::string set =
        "\\HKEY_LOCAL_MACHINE\\SOFTWARE\\POLICIES\\MICROSOFT\\WINDOWS\\SYSTEM\\SCRIPTS\\STARTUP\\0";
    EXPECT_EQ(GoTo(startup, 1), set + "\\1|");
    EXPECT_EQ(GoTo(startup, -1, -1), set + "|");

    // The second of two entries with the same script: its own key goes, nothing else.
    resultFlags flags;
    ASSERT_TRUE(Remove(startup, 1, &flags));
    EXPECT_EQ(flags.deleteItem + flags.localUpdate, 2);
    EXPECT_FALSE(machine_.HasKey(kHkeyLocalMachine, Script(u"Startup\\0\\1")));
    EXPECT_TRUE(machine_.HasKey(kHkeyLocalMachine, Script(u"Startup\\0\\0")));
    machine_.FailWrites(kHkeyLocalMachine, Script(u"Startup\\0\\0"));
    EXPECT_FALSE(Remove(startup, 0, &flags));
    EXPECT_EQ(flags.succeeded, 0);
    EXPECT_TRUE(machine_.HasKey(kHkeyLocalMachine, Script(u"Startup\\0\\0")));
}

}  // namespace
