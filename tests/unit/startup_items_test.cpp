// Startup folders on the memory machine: what a folder lists, what the details follow, and that
// Remove deletes exactly the chosen file.
#include "collectors/files/startup_items.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/unit/tools_test_support.h"
#include "tools/file_details.h"

namespace {

using Lines = std::vector<std::pair<std::int32_t, std::u16string>>;
constexpr char16_t kUser[] = u"C:\\Users\\u\\Startup";
constexpr char16_t kCommon[] = u"C:\\ProgramData\\Startup";

bool CollectLine(std::int32_t, std::int32_t labelId, const char16_t* value, std::int32_t,
                 void* context) {
    static_cast<Lines*>(context)->emplace_back(labelId, value ? value : u"");
    return true;
}

std::u16string In(std::u16string_view folder, std::u16string_view name) {
    return std::u16string(folder) + u"\\" + std::u16string(name);
}

class StartupItemsTest : public ToolsTest {
  protected:
    StartupItemsTest() {
        machine_.SetSpecialFolder(platform::kCsidlStartup, kUser);
        machine_.SetSpecialFolder(platform::kCsidlCommonStartup, kCommon);
        machine_.AddFolder(kUser);
        machine_.AddFolder(kCommon);
        CreateElevatedHelperSupport();
    }
};

TEST_F(StartupItemsTest, FolderListsItsFilesButNotFoldersOrItsSettingsFile) {
    const struct {
        const char16_t* folder;
        std::vector<std::u16string> files;  // "sub\\x" makes a sub-folder
        std::vector<std::u16string> listed;
    } cases[] = {
        {u"C:\\S1",
         {u"b.exe", u"a.lnk", u"Desktop.ini", u"sub\\x.exe"},
         {u"a.lnk", u"b.exe", u"Desktop.ini"}},
        {u"C:\\S2",
         {u"desktop.ini", u"desktop.ini.bak", u"notes.txt"},
         {u"desktop.ini.bak", u"notes.txt"}},
        {u"C:\\S3", {}, {}},
    };
    for (const auto& c : cases) {
        machine_.SetSpecialFolder(platform::kCsidlStartup, c.folder);
        machine_.AddFolder(c.folder);
        for (const auto& file : c.files) machine_.AddFile(In(c.folder, file), "x");
        CVistrelStartupItemsCurrentUser leaf;
        EXPECT_EQ(leaf.EnumerateItems(nullptr, false, nullptr),
                  static_cast<std::int32_t>(c.listed.size()));
        std::vector<std::u16string> expected;
        for (const auto& name : c.listed) expected.push_back(In(c.folder, name));
        EXPECT_EQ(leaf.items, expected);
        EXPECT_EQ(leaf.GetActionMask(-1), 3u);
    }
}

TEST_F(StartupItemsTest, UnknownOrUnreadableFolders) {
    machine_.FailSpecialFolderLocation(platform::kCsidlStartup, platform::kEFail);
    machine_.FailSpecialFolderPath(platform::kCsidlCommonStartup);
    CVistrelStartupItemsCurrentUser user;
    CVistrelStartupItemsAllUsers common;
    EXPECT_TRUE(Logged("[vistrel] [error] SHGetSpecialFolderLocation_: 0X80004005"));
    EXPECT_TRUE(Logged("[vistrel] [error] SHGetPathFromIDList_ failed"));
    for (CVistrelStartupItemsBase* leaf : {static_cast<CVistrelStartupItemsBase*>(&user),
                                           static_cast<CVistrelStartupItemsBase*>(&common)}) {
        EXPECT_EQ(leaf->EnumerateItems(nullptr, true, nullptr), kEnumNotFound);
        EXPECT_EQ(leaf->GetActionMask(-1), 1u);
    }
    // A folder that is known but absent is an empty folder.
    machine_.SetSpecialFolder(platform::kCsidlStartup, u"C:\\Nowhere");
    CVistrelStartupItemsCurrentUser absent;
    EXPECT_EQ(absent.EnumerateItems(nullptr, true, nullptr), 0);
    EXPECT_EQ(absent.GetActionMask(-1), 3u);
}

TEST_F(StartupItemsTest, RemoveDeletesExactlyTheChosenFileAndKeepsIndexes) {
    for (const char16_t* name : {u"a.lnk", u"b.exe", u"c.txt"}) machine_.AddFile(In(kCommon, name));
    machine_.AddFile(u"C:\\Apps\\a.exe", "MZ");
    CVistrelStartupItemsAllUsers leaf;
    ASSERT_EQ(leaf.EnumerateItems(nullptr, true, nullptr), 3);
    const auto calls = Calls();
    resultFlags flags;
    ASSERT_TRUE(leaf.DoAction(2, 0, &flags));
    EXPECT_EQ(Calls().first, calls.first + 1);  // all users: the helper with raised rights
    EXPECT_EQ(flags.deleteItem + flags.localUpdate + flags.succeeded, 3);
    EXPECT_FALSE(machine_.HasFile(In(kCommon, u"a.lnk")));
    EXPECT_TRUE(machine_.HasFile(In(kCommon, u"b.exe")));
    EXPECT_TRUE(machine_.HasFile(u"C:\\Apps\\a.exe"));  // never the program behind a shortcut
    EXPECT_EQ(leaf.GetActionMask(0), 7u);
    EXPECT_EQ(leaf.items[2], In(kCommon, u"c.txt"));

    // Again on the emptied entry, or on a bad index: nothing happens, the flags stay.
    const struct {
        std::int32_t index;
        const char* trace;
    } refused[] = {{0, "[vistrel] [debug] action on empty value at 0"},
                   {3, "[vistrel] [debug] wrong index: 3"}};
    for (const auto& r : refused) {
        resultFlags untouched;
        EXPECT_FALSE(leaf.DoAction(2, r.index, &untouched));
        EXPECT_EQ(untouched.succeeded, 1);
        EXPECT_TRUE(Logged(r.trace)) << r.trace;
    }
    // A file the system won't delete stays, and the user is told.
    machine_.FailDelete(In(kCommon, u"b.exe"));
    resultFlags failed;
    EXPECT_FALSE(leaf.DoAction(2, 1, &failed));
    EXPECT_EQ(failed.succeeded, 0);
    EXPECT_EQ(failed.deleteItem, 0);
    EXPECT_EQ(leaf.items[1], In(kCommon, u"b.exe"));
    DestroyElevatedHelperSupport();
    resultFlags noHelper;
    EXPECT_FALSE(leaf.DoAction(2, 2, &noHelper));
    EXPECT_EQ(noHelper.succeeded, 0);
    EXPECT_TRUE(machine_.HasFile(In(kCommon, u"c.txt")));
}

TEST_F(StartupItemsTest, GoToOpensTheFolderAndDetailsFollowShortcuts) {
    // The shell stores a target with its variable unexpanded; the details show it so.
    machine_.AddLink(In(kUser, u"p.lnk"), u"%ProgramFiles%\\p\\p.exe");
    CVistrelStartupItemsCurrentUser leaf;
    ASSERT_EQ(leaf.EnumerateItems(nullptr, true, nullptr), 1);
    Lines lines;
    leaf.GetItemDetails(0, CollectLine, &lines);
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines[0], (Lines::value_type{kDetailsTextObject, In(kUser, u"p.lnk")}));
    EXPECT_EQ(lines[1], (Lines::value_type{kDetailsTextFile, u"p.exe"}));
    EXPECT_EQ(lines[2], (Lines::value_type{kDetailsTextPath, u"%ProgramFiles%\\p\\p.exe"}));
    EXPECT_EQ(leaf.GetItemDetails(1, CollectLine, &lines), 0);

    machine_.AddFile(u"C:\\elsewhere.txt");
    resultFlags flags;
    ASSERT_TRUE(leaf.DoAction(2, 0, &flags));
    for (std::int32_t index : {0, -1}) {
        EXPECT_FALSE(leaf.DoAction(index == 0 ? 1 : -1, index, &flags));
        ASSERT_FALSE(machine_.Started().empty());
        EXPECT_EQ(machine_.Started().back().file, kUser);
        EXPECT_EQ(machine_.Started().back().show, 4);
    }
    EXPECT_EQ(leaf.GetActionCount(), 3);
    EXPECT_EQ(leaf.GetDefaultAction(), 1);
}

}  // namespace
