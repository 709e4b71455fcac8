// From stored text to the file on disk: quoting, blanks, prefixes, variables, search folders,
// suffixes and the split of a path into its parts.
#include "tools/path_resolution.h"

#include <gtest/gtest.h>

#include "libs/talutils/text_utils.h"
#include "tests/unit/tools_test_support.h"

namespace {

using Folders = std::vector<std::u16string>;

class PathResolution : public ToolsTest {
  protected:
    PathResolution() {
        machine_.SetSpecialFolder(platform::kCsidlWindows, u"C:\\WINDOWS");
        machine_.SetSpecialFolder(platform::kCsidlSystem, u"C:\\WINDOWS\\system32");
        machine_.SetEnv(u"WINDIR", u"C:\\WINDOWS");
        machine_.SetEnv(u"PATH", u"C:\\Tools;C:\\Bin\\");
    }

    std::u16string Resolve(const char16_t* text, bool expected) {
        std::u16string out;
        EXPECT_EQ(ResolveCommandLine(text, out), expected) << talutils::ToUtf8(text);
        return out;
    }
};

TEST_F(PathResolution, QuotedPathIsTestedOnceAndAnUnquotedOneAtEachBlank) {
    machine_.AddFile(u"C:\\Program Files\\x\\y.exe");
    int before = machine_.FindFirstCount();
    EXPECT_EQ(Resolve(u"\"C:\\Program Files\\x\\y.exe\" /min", true),
              u"C:\\Program Files\\x\\y.exe");
    EXPECT_EQ(machine_.FindFirstCount() - before, 1);

    before = machine_.FindFirstCount();
    EXPECT_EQ(Resolve(u"C:\\Program Files\\x\\y.exe /min", true), u"C:\\Program Files\\x\\y.exe");
    // "C:\Program" as given, expanded and with three suffixes (never in the folders: it has a
    // drive), then the whole path.
    EXPECT_EQ(machine_.FindFirstCount() - before, 6);

    machine_.AddFolder(u"C:\\Program");
    machine_.AddFile(u"C:\\Program.exe");
    EXPECT_EQ(Resolve(u"C:\\Program Files\\x\\y.exe", true), u"C:\\Program.exe");
}

TEST_F(PathResolution, PrefixesAndVariablesLeadToTheFile) {
    machine_.AddFile(u"C:\\WINDOWS\\System32\\ntoskrnl.exe");
    for (const char16_t* text :
         {u"\\SystemRoot\\System32\\ntoskrnl.exe", u"systemroot\\System32\\ntoskrnl.exe",
          u"\\??\\C:\\WINDOWS\\System32\\ntoskrnl.exe",
          u"\\\\?\\C:\\WINDOWS\\System32\\ntoskrnl.exe",
          u"file://C:\\WINDOWS\\System32\\ntoskrnl.exe", u"%windir%\\System32\\ntoskrnl.exe -x"})
        EXPECT_EQ(Resolve(text, true), u"C:\\WINDOWS\\System32\\ntoskrnl.exe");

    std::u16string out;
    EXPECT_TRUE(NormalizePathPrefix(u"SystemRootx", out));
    EXPECT_EQ(out, u"%WINDIR%x");
    EXPECT_TRUE(NormalizePathPrefix(u":C:\\x.txt", out));
    EXPECT_EQ(out, u"C:\\x.txt");
    EXPECT_TRUE(NormalizePathPrefix(u"C:\\SystemRoot\\x", out));
    EXPECT_EQ(out, u"C:\\SystemRoot\\x");
}

TEST_F(PathResolution, NamesWithoutDriveAreSearchedFolderByFolder) {
    machine_.AddFile(u"C:\\WINDOWS\\system32\\DRIVERS\\x.sys");
    EXPECT_EQ(Resolve(u"system32\\DRIVERS\\x.sys", true), u"C:\\WINDOWS\\system32\\DRIVERS\\x.sys");

    machine_.AddFile(u"C:\\WINDOWS\\notepad.exe");
    machine_.AddFile(u"C:\\WINDOWS\\system32\\notepad");
    EXPECT_EQ(Resolve(u"notepad", true), u"C:\\WINDOWS\\notepad.exe");

    // Within a folder the name as it stands wins over its suffixes.
    machine_.AddFile(u"C:\\Tools\\tool.exe");
    machine_.AddFile(u"C:\\Tools\\tool");
    EXPECT_EQ(Resolve(u"tool", true), u"C:\\Tools\\tool");

    // The 16-bit folder comes before PATH.
    machine_.AddFile(u"C:\\WINDOWS\\system\\old.com");
    machine_.AddFile(u"C:\\Tools\\old.exe");
    EXPECT_EQ(Resolve(u"old", true), u"C:\\WINDOWS\\system\\old.com");
}

TEST_F(PathResolution, SuffixesAreTriedInOrderAndAlwaysAppended) {
    machine_.AddFile(u"C:\\x\\y.bat");
    machine_.AddFile(u"C:\\x\\y.com");
    EXPECT_EQ(Resolve(u"C:\\x\\y", true), u"C:\\x\\y.com");
    machine_.AddFile(u"C:\\x\\a.exe.exe");
    EXPECT_EQ(Resolve(u"C:\\x\\a.exe", true), u"C:\\x\\a.exe.exe");
}

TEST_F(PathResolution, UncPathIsFoundOnlyAsItStands) {
    machine_.AddFile(u"\\\\server\\share\\app.exe");
    EXPECT_EQ(Resolve(u"\\\\server\\share\\app.exe", true), u"\\\\server\\share\\app.exe");
    EXPECT_EQ(Resolve(u"\\\\server\\share\\app", false), u"\\\\server\\share\\app");
}

TEST_F(PathResolution, FailureLeavesTheLastCandidateOrNothing) {
    for (const char16_t* text : {static_cast<const char16_t*>(nullptr), u"", u"    "}) {
        std::u16string out = u"kept";
        EXPECT_FALSE(ResolveCommandLine(text, out));
        EXPECT_EQ(out, u"kept");
    }
    EXPECT_EQ(Resolve(u"  \"C:\\no where\\y.exe\" /min  -q", false),
              u"C:\\no where\\y.exe /min  -q");
    EXPECT_EQ(Resolve(u"\"C:\\unclosed x", false), u"C:\\unclosed x");
}

TEST_F(PathResolution, SearchFoldersFollowTheShellAndPath) {
    machine_.SetEnv(u"PATH", u";;C:\\A;x;C:\\B\\;;");
    EXPECT_EQ(PathSearchFolders(), (Folders{u"C:\\WINDOWS\\", u"C:\\WINDOWS\\system32\\",
                                            u"C:\\WINDOWS\\system\\", u"C:\\A\\", u"C:\\B\\"}));

    // Only a final "32" gives the 16-bit folder; failing shell steps are logged and left out.
    ResetPathResolutionTables();
    machine_.SetSpecialFolder(platform::kCsidlSystem, u"C:\\x32\\system32");
    machine_.FailSpecialFolderLocation(platform::kCsidlWindows, platform::kEFail);
    machine_.SetEnv(u"PATH", u"");
    EXPECT_EQ(PathSearchFolders(), Folders{u"C:\\x32\\system32\\"});
    EXPECT_TRUE(Logged("[vistrel] [error] SHGetSpecialFolderLocation_: 0X80004005"));

    ResetPathResolutionTables();
    machine_.FailSpecialFolderPath(platform::kCsidlSystem);
    EXPECT_TRUE(PathSearchFolders().empty());
    EXPECT_TRUE(Logged("[vistrel] [error] SHGetPathFromIDList_ failed"));

    // Found empty, the list is built again; once it holds a row it stays.
    machine_.SetEnv(u"PATH", u"C:\\Late");
    EXPECT_EQ(PathSearchFolders(), Folders{u"C:\\Late\\"});
    machine_.SetEnv(u"PATH", u"C:\\Other");
    EXPECT_EQ(PathSearchFolders(), Folders{u"C:\\Late\\"});
}

TEST_F(PathResolution, PathLongerThanTheFirstBufferIsReadWhole) {
    std::u16string path;
    for (int i = 0; i < 400; ++i) path += u"C:\\Folder" + talutils::Decimal(i) + u";";
    path += u"C:\\Far";
    ASSERT_GT(path.size(), 4096u);
    machine_.SetEnv(u"PATH", path);
    machine_.AddFile(u"C:\\Far\\far.bat");
    EXPECT_EQ(Resolve(u"far", true), u"C:\\Far\\far.bat");
}

TEST(SplitPath, PartsFollowTheRuntimeLibrary) {
    const struct {
        const char16_t* path;
        PathParts parts;
    } cases[] = {
        {u"C:\\a\\b.c.txt", {u"C:", u"\\a\\", u"b.c", u".txt"}},
        {u"\\\\srv\\share\\f", {u"", u"\\\\srv\\share\\", u"f", u""}},
        {u"dir.x/name", {u"", u"dir.x/", u"name", u""}},
        {u"gone.exe /q", {u"", u"gone.exe /", u"q", u""}},
    };
    for (const auto& c : cases) {
        PathParts parts;
        EXPECT_TRUE(SplitPath(c.path, parts));
        EXPECT_EQ(parts.drive + u"|" + parts.dir + u"|" + parts.fname + u"|" + parts.ext,
                  c.parts.drive + u"|" + c.parts.dir + u"|" + c.parts.fname + u"|" + c.parts.ext);
    }
    PathParts parts;
    EXPECT_FALSE(SplitPath(u"C:\\" + std::u16string(300, u'n') + u".exe", parts));
    EXPECT_EQ(parts.drive + parts.dir + parts.fname + parts.ext, u"");
}

}  // namespace
