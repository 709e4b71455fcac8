// The startup folders, INI items and hosts file on the memory machine: what Go to reaches, that
// Remove deletes exactly the chosen startup file, and a failed folder lookup. What they list is
// in the recorded scans (tests/golden); shortcuts are still here.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "collectors/files/hosts.h"
#include "collectors/files/ini_items.h"
#include "collectors/files/startup_items.h"
#include "tests/unit/tools_test_support.h"

namespace {

using platform::kHkeyCurrentUser;
using platform::kHkeyLocalMachine;
using Texts = std::vector<std::u16string>;

constexpr char16_t kMapping[] =
    u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\IniFileMapping\\win.ini";
constexpr char16_t kEditorKey[] = u"Software\\Microsoft\\Windows\\CurrentVersion\\Applets\\Regedit";
constexpr char16_t kUser[] = u"C:\\Startup";

bool CollectLine(std::int32_t, std::int32_t labelId, const char16_t* value, std::int32_t,
                 void* context) {
    const std::string id = std::to_string(labelId) + ":";
    static_cast<Texts*>(context)->push_back(std::u16string(id.begin(), id.end()) + value);
    return true;
}

class FileCollectorsTest : public ToolsTest {
  protected:
    FileCollectorsTest() {
        InstallWindowsFolders();
        machine_.SetSpecialFolder(platform::kCsidlStartup, kUser);
        machine_.AddFolder(kUser);
        CreateElevatedHelperSupport();
    }
    // Where Go to went: the editor's key, or "open <file> <parameters>".
    std::u16string GoTo(CVistrelPlugin& leaf, std::int32_t index) {
        machine_.SetString(kHkeyCurrentUser, kEditorKey, u"LastKey", u"");
        resultFlags flags;
        EXPECT_FALSE(leaf.DoAction(1, index, &flags));
        const auto& last = machine_.Started().back();
        if (last.file == u"regedit.exe")
            return *machine_.GetString(kHkeyCurrentUser, kEditorKey, u"LastKey");
        return u"open " + last.file + u" " + last.parameters;
    }
};

TEST_F(FileCollectorsTest, StartupGoToOpensTheFolderAndAnUnknownFolderFails) {
    CVistrelStartupItemsCurrentUser leaf;
    EXPECT_EQ(leaf.EnumerateItems(nullptr, true, nullptr), 0);
    EXPECT_EQ(leaf.GetActionMask(-1), 3u);
    EXPECT_EQ(GoTo(leaf, -1), u"open " + std::u16string(kUser) + u" ");
    machine_.FailSpecialFolderLocation(platform::kCsidlCommonStartup, platform::kEFail);
    CVistrelStartupItemsAllUsers unknown;
    EXPECT_TRUE(Logged("[vistrel] [error] SHGetSpecialFolderLocation_: 0X80004005"));
    EXPECT_EQ(unknown.EnumerateItems(nullptr, true, nullptr), kEnumNotFound);
    EXPECT_EQ(unknown.GetActionMask(-1), 1u);
}

TEST_F(FileCollectorsTest, StartupRemoveDeletesExactlyTheChosenFile) {
    // The shell stores a target with its variable unexpanded; the details show it so.
    machine_.AddLink(u"C:\\Startup\\a.lnk", u"%ProgramFiles%\\p.exe");
    machine_.AddFile(u"C:\\Startup\\b.exe");
    CVistrelStartupItemsCurrentUser leaf;
    ASSERT_EQ(leaf.EnumerateItems(nullptr, true, nullptr), 2);
    Texts lines;
    leaf.GetItemDetails(0, CollectLine, &lines);
    EXPECT_EQ(Texts(lines.begin(), lines.begin() + 3),
              (Texts{u"22212:C:\\Startup\\a.lnk", u"22210:p.exe", u"22211:%ProgramFiles%\\p.exe"}));
    const struct {
        std::int32_t index;
        bool done;
        std::uint8_t succeeded;
        const char* trace;
    } steps[] = {
        {0, true, 1, nullptr},
        {0, false, 1, "[vistrel] [debug] action on empty value at 0"},  // removed already
        {2, false, 1, "[vistrel] [debug] wrong index: 2"},
        {1, false, 0, nullptr},  // the system refuses
    };
    for (const auto& s : steps) {
        if (s.succeeded == 0) machine_.FailDelete(u"C:\\Startup\\b.exe");
        resultFlags flags;
        EXPECT_EQ(leaf.DoAction(2, s.index, &flags), s.done);
        EXPECT_EQ(flags.deleteItem, s.done ? 1 : 0);
        EXPECT_EQ(flags.succeeded, s.succeeded);
        EXPECT_TRUE(s.trace == nullptr || Logged(s.trace)) << s.trace;
    }
    EXPECT_FALSE(machine_.HasFile(u"C:\\Startup\\a.lnk"));
    EXPECT_TRUE(machine_.HasFile(u"C:\\Startup\\b.exe"));
    EXPECT_EQ(leaf.items, (Texts{u"", u"C:\\Startup\\b.exe"}));
    EXPECT_EQ(leaf.GetActionMask(0), 7u);
}

TEST_F(FileCollectorsTest, IniGoToFollowsTheMappingOrOpensTheFile) {
    const std::u16string hklm = u"Computer\\HKEY_LOCAL_MACHINE\\";
    const std::u16string user = u"Computer\\HKEY_CURRENT_USER\\Software\\W";
    const std::u16string mapped = hklm + kMapping;
    machine_.AddKey(kHkeyCurrentUser, u"Software\\W");
    machine_.AddKey(kHkeyLocalMachine, u"SOFTWARE\\Sys");
    machine_.AddFile(u"C:\\WINDOWS\\win.ini", "[windows]\nload=a.exe\nrun=b.exe");
    CVistrelWinINI leaf;
    ASSERT_EQ(leaf.EnumerateItems(nullptr, true, nullptr), 2);
    EXPECT_EQ(leaf.GetActionMask(0), 3u);
    resultFlags flags;
    EXPECT_FALSE(leaf.DoAction(2, 0, &flags));   // no Remove
    EXPECT_EQ(GoTo(leaf, 0), u"open win.ini ");  // no mapping key at all
    const struct {
        const char16_t* key;  // below the file's key; null: no value set
        const char16_t* name;
        std::u16string reference;
        std::int32_t index;
        std::u16string where;
    } cases[] = {
        {nullptr, nullptr, u"", -1, mapped},
        {nullptr, nullptr, u"", 0, u"open win.ini "},
        {u"", u"", u"#USR:Software\\W", 0, user},  // the file's default value
        {u"", u"windows", u"#USR:Software\\W", 0, user},
        {u"", u"windows", u"!sys:Sys", 1, hklm + u"SOFTWARE\\Sys"},
        {u"", u"windows", u"USR:Software\\Missing", 0, mapped},
        {u"", u"windows", u"USR:", 0, mapped},
        {u"", u"windows", u"", 0, mapped},
        {u"\\windows", u"run", u"USR:Software\\W", 1, user},
        {u"\\windows", u"run", u"SYS:Nope", 1, mapped + u"\\windows"},
        {u"\\windows", u"", u"SYS:Nope", 0, mapped + u"\\windows"},
        {u"\\windows", u"other", u"USR:Software\\W", 0, u"open win.ini "},
    };
    for (const auto& c : cases) {
        machine_.AddKey(kHkeyLocalMachine, kMapping);
        if (c.key)
            machine_.SetString(kHkeyLocalMachine, kMapping + std::u16string(c.key), c.name,
                               c.reference);
        EXPECT_EQ(GoTo(leaf, c.index), c.where) << c.where.size();
        machine_.registry().DeleteTree(kHkeyLocalMachine, kMapping);
    }
    // Only strings are references, so a number under the section's name leads to the sub-key.
    machine_.SetDword(kHkeyLocalMachine, kMapping, u"windows", 1);
    machine_.SetString(kHkeyLocalMachine, kMapping + std::u16string(u"\\windows"), u"load",
                       u"USR:Software\\W", platform::kRegExpandSz);
    EXPECT_EQ(GoTo(leaf, 0), user);
}

TEST_F(FileCollectorsTest, HostsGoToOpensTheFileAndRefreshLeavesFailedAlone) {
    constexpr char16_t kHosts[] = u"C:\\WINDOWS\\system32\\drivers\\etc\\hosts";
    CVistrelHosts missing;
    EXPECT_EQ(missing.EnumerateItems(nullptr, true, nullptr), kEnumNotFound);
    EXPECT_EQ(missing.GetActionMask(-1), 1u);
    EXPECT_EQ(GoTo(missing, -1), std::u16string(u"open notepad.exe ") + kHosts);
    machine_.AddFile(kHosts, "1.2.3.4 alpha beta");
    CVistrelHosts hosts;
    ASSERT_EQ(hosts.EnumerateItems(nullptr, true, nullptr), 1);
    Texts lines;
    EXPECT_EQ(hosts.GetItemDetails(0, CollectLine, &lines), 2);
    EXPECT_EQ(hosts.GetItemDetails(1, CollectLine, &lines), 0);
    // Refresh reads again but leaves failed to the next population.
    machine_.files().RemoveFile(kHosts);
    resultFlags flags;
    EXPECT_TRUE(hosts.DoAction(0, -1, &flags));
    EXPECT_TRUE(hosts.items.empty());
    EXPECT_FALSE(hosts.failed);
}

}  // namespace
