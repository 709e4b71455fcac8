// Policy scripts on the memory machine: which sub-keys of the first script set are listed, the
// tree showing the script, and Go to and Remove reaching the entry's own sub-key.
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

TEST_F(ScriptsTest, ListsTheScriptsByWhatTheyRunAndRemovesTheChosenSubKey) {
    const struct {
        std::u16string name;
        std::uint32_t type;  // of "Script"; 0: none
        std::string bytes;
        const char16_t* shown;  // null: not listed
    } cases[] = {
        {u"0", 1, Bytes(u"same.cmd\0"sv), u"same.cmd"},
        {u"1", 1, Bytes(u"same.cmd\0"sv), u"same.cmd"},
        {u"2", 1, Bytes(u"\0"sv), u""},
        {u"3", 2, Bytes(u"%SystemRoot%\\b.vbs\0"sv), u"%SystemRoot%\\b.vbs"},
        {u"4", 0, {}, nullptr},
        {u"5", 4, "\1\0\0\0", nullptr},
        {u"6", 1, Bytes(std::u16string(2048, u's') + u"\0"s), nullptr},
        {u"7", 1, Bytes(u"bare.bat"sv) + "x", u"bare.bat"},
    };
    std::int32_t result = 0;
    EXPECT_TRUE(Texts(startup, &result).empty());
    EXPECT_EQ(startup.GetActionMask(-1), 1u);
    Strings shown;
    for (const auto& c : cases) {
        machine_.SetString(kHkeyLocalMachine, Script(u"Startup\\0\\" + c.name), u"Parameters",
                           u"/q");
        if (c.type)
            machine_.SetRaw(kHkeyLocalMachine, Script(u"Startup\\0\\" + c.name), u"Script", c.type,
                            c.bytes);
        if (c.shown) shown.push_back(c.shown);
    }
    machine_.SetString(kHkeyLocalMachine, Script(u"Startup\\1\\0"), u"Script", u"other.cmd");
    EXPECT_EQ(Texts(startup, &result), shown);
    EXPECT_EQ(result, static_cast<std::int32_t>(shown.size()));
    EXPECT_EQ(Object(startup, 3), u"%SystemRoot%\\b.vbs");
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

    CVistrelScriptsShutdown shutdown;
    machine_.SetString(kHkeyLocalMachine, Script(u"Shutdown\\0\\0"), u"Script", u"down.cmd");
    EXPECT_EQ(Texts(shutdown, &result), Strings{u"down.cmd"});
}

}  // namespace
