// INI items on the memory machine: the words of the lines that start programs, and where Go to
// takes the user through the registry's mapping of the file.
#include "collectors/files/ini_items.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "collectors/files/ini_file_mapping.h"
#include "tests/unit/tools_test_support.h"

namespace {

using platform::kHkeyCurrentUser;
using platform::kHkeyLocalMachine;
using Items = std::vector<std::pair<std::u16string, std::int32_t>>;

constexpr char16_t kMapping[] = u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\IniFileMapping";
constexpr char16_t kEditorKey[] = u"Software\\Microsoft\\Windows\\CurrentVersion\\Applets\\Regedit";

class IniItemsTest : public ToolsTest {
  protected:
    IniItemsTest() {
        InstallWindowsFolders();
        CreateElevatedHelperSupport();
    }
    static Items Listed(const CVistrelINIBase& leaf) {
        Items items;
        for (const si_ini_item& item : leaf.items) items.emplace_back(item.text, item.keyIndex);
        return items;
    }
    // Where Go to went: the editor's key, or "open <file>" when the file was opened instead.
    std::u16string GoTo(CVistrelINIBase& leaf, std::int32_t index) {
        machine_.SetString(kHkeyCurrentUser, kEditorKey, u"LastKey", u"");
        const std::size_t started = machine_.Started().size();
        resultFlags flags;
        EXPECT_FALSE(leaf.DoAction(1, index, &flags));
        EXPECT_EQ(flags.succeeded, 1);
        if (machine_.Started().size() == started) return u"<nothing>";
        const auto& last = machine_.Started().back();
        if (last.file != u"regedit.exe") return u"open " + last.file;
        return *machine_.GetString(kHkeyCurrentUser, kEditorKey, u"LastKey");
    }
};

TEST_F(IniItemsTest, SectionLinesGiveWordsOfTheirKeysOnly) {
    const struct {
        bool system;
        std::string file;
        std::int32_t result;
        Items items;
    } cases[] = {
        {false,
         "[windows]\r\nload=a.exe, b.exe c.exe\r\nrun=\r\nrunner=x\r\nRUN=y\r\nrun=d.exe",
         3,
         {{u"a.exe", 1}, {u"b.exe", 1}, {u"c.exe", 1}, {u"d.exe", 0}}},
        {false, "[Windows]\nrun=", 0, {}},  // a line without a value still counts as a read
        {false, "[other]\nrun=x.exe\n[windows]\n", -1, {}},  // an empty section is a failure
        {false, "", -1, {}},
        {true,
         "[boot]\nshell=no.exe\nScrnSave.exe=no.scr\nSCRNSAVE.EXE=s.scr\nShell=e.exe",
         2,
         {{u"s.scr", 1}, {u"e.exe", 0}}},
        {true, "[boot]\n; comment\nfonts.fon=x", 0, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        machine_.AddFile(c.system ? u"C:\\WINDOWS\\system.ini" : u"C:\\WINDOWS\\win.ini", c.file);
        CVistrelWinINI win;
        CVistrelSysINI sys;
        CVistrelINIBase& leaf = c.system ? static_cast<CVistrelINIBase&>(sys) : win;
        EXPECT_EQ(leaf.EnumerateItems(nullptr, false, nullptr),
                  c.result < 0 ? c.result : static_cast<std::int32_t>(c.items.size()));
        EXPECT_EQ(Listed(leaf), c.items);
        EXPECT_EQ(leaf.GetActionMask(0), c.result < 0 ? 1u : 3u);
        resultFlags flags;
        EXPECT_FALSE(leaf.DoAction(2, 0, &flags));
    }
    machine_.SetSpecialFolder(platform::kCsidlWindows, u"D:\\NoWindows");  // no file at all
    CVistrelSysINI missing;
    EXPECT_EQ(missing.EnumerateItems(nullptr, true, nullptr), kEnumNotFound);
}

TEST_F(IniItemsTest, GoToFollowsTheMappingOrOpensTheFile) {
    const std::u16string win = std::u16string(kMapping) + u"\\win.ini";
    const std::u16string hkcu = u"Computer\\HKEY_CURRENT_USER\\";
    const std::u16string hklm = u"Computer\\HKEY_LOCAL_MACHINE\\";
    machine_.AddKey(kHkeyCurrentUser, u"Software\\W");
    machine_.AddKey(kHkeyLocalMachine, u"SOFTWARE\\Sys\\Boot");
    machine_.AddFile(u"C:\\WINDOWS\\win.ini", "[windows]\nload=a.exe\nrun=b.exe");
    CVistrelWinINI leaf;
    ASSERT_EQ(leaf.EnumerateItems(nullptr, true, nullptr), 2);

    EXPECT_EQ(GoTo(leaf, 0), u"open win.ini");  // no mapping key at all
    machine_.AddKey(kHkeyLocalMachine, win);
    const struct {
        const char16_t* setUp;  // value under the file's key ('\\' in it: in the sub-key)
        std::u16string reference;
        std::int32_t index;
        std::u16string where;
    } cases[] = {
        {nullptr, u"", -1, hklm + win},
        {nullptr, u"", 0, u"open win.ini"},
        {u"", u"#USR:Software\\W", 0, hkcu + u"Software\\W"},  // the file's default value
        {u"windows", u"#USR:Software\\W", 0, hkcu + u"Software\\W"},
        {u"windows", u"!sys:Sys\\Boot", 1, hklm + u"SOFTWARE\\Sys\\Boot"},
        {u"windows", u"USR:Software\\Missing", 0, hklm + win},
        {u"windows", u"USR:", 0, hklm + win},
        {u"windows", u"", 0, hklm + win},
        {u"windows\\run", u"USR:Software\\W", 1, hkcu + u"Software\\W"},
        {u"windows\\run", u"SYS:Nope", 1, hklm + win + u"\\windows"},
        {u"windows\\", u"SYS:Nope", 0, hklm + win + u"\\windows"},
        {u"windows\\other", u"USR:Software\\W", 0, u"open win.ini"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.reference.begin(), c.reference.end()));
        machine_.AddKey(kHkeyLocalMachine, win);
        if (c.setUp != nullptr) {
            const std::u16string name(c.setUp);
            const std::size_t slash = name.find(u'\\');
            if (slash == std::u16string::npos)
                machine_.SetString(kHkeyLocalMachine, win, name, c.reference);
            else
                machine_.SetString(kHkeyLocalMachine, win + u"\\" + name.substr(0, slash),
                                   name.substr(slash + 1), c.reference);
        }
        EXPECT_EQ(GoTo(leaf, c.index), c.where);
        machine_.registry().DeleteTree(kHkeyLocalMachine, win.c_str());
    }
}

TEST_F(IniItemsTest, OnlyStringValuesOfAnySizeAreReferences) {
    platform::RegKey key = nullptr;
    machine_.SetDword(kHkeyCurrentUser, u"M", u"windows", 1);
    machine_.SetString(kHkeyCurrentUser, u"M\\windows", u"run",
                       u"SYS:" + std::u16string(5000, u'x'), platform::kRegExpandSz);
    machine_.SetRaw(kHkeyCurrentUser, u"M", u"odd", platform::kRegSz, std::string("a\0b", 3));
    machine_.SetRaw(kHkeyCurrentUser, u"M", u"unclosed", platform::kRegSz,
                    std::string("a\0b\0", 4));
    ASSERT_EQ(machine_.registry().OpenKey(kHkeyCurrentUser, u"M", platform::kKeyRead, &key), 0);
    std::u16string reference = u"stale";
    EXPECT_EQ(IniMappingLookup(key, u"windows", u"run", reference), kIniMappingKeyValue);
    EXPECT_EQ(reference.size(), 5004u);
    EXPECT_FALSE(QueryRegString(key, u"odd", reference));
    EXPECT_TRUE(reference.empty());
    EXPECT_FALSE(QueryRegString(key, u"unclosed", reference));
    machine_.registry().CloseKey(key);
}

}  // namespace
