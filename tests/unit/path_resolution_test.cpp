// From stored text to the file on disk: quoting, blanks, prefixes, variables, search folders,
// suffixes and the split of a path into its parts.
#include "tools/path_resolution.h"

#include <gtest/gtest.h>

#include "libs/talutils/text_utils.h"
#include "tests/unit/tools_test_support.h"

using platform::memory::MemoryMachine;

namespace {

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

TEST_F(PathResolution, QuotedPathWithArgumentsIsTestedOnceAtTheBlankAfterTheQuote) {
    machine_.AddFile(u"C:\\Program Files\\x\\y.exe");
    const int before = machine_.FindFirstCount();
    EXPECT_EQ(Resolve(u"\"C:\\Program Files\\x\\y.exe\" /min", true),
              u"C:\\Program Files\\x\\y.exe");
    EXPECT_EQ(machine_.FindFirstCount() - before, 1);
}

TEST_F(PathResolution, UnquotedPathWithBlanksIsFoundAtALaterBlank) {
    machine_.AddFile(u"C:\\Program Files\\x\\y.exe");
    const int before = machine_.FindFirstCount();
    EXPECT_EQ(Resolve(u"C:\\Program Files\\x\\y.exe /min", true), u"C:\\Program Files\\x\\y.exe");
    // "C:\Program": as given, after expansion, and with the three suffixes (a path with a drive
    // is never looked for in the folders); then the full path at the next blank.
    EXPECT_EQ(machine_.FindFirstCount() - before, 6);
}

TEST_F(PathResolution, FolderIsPassedOverAndTheSuffixFindsTheFileBesideIt) {
    machine_.AddFolder(u"C:\\Program");
    machine_.AddFile(u"C:\\Program.exe");
    machine_.AddFile(u"C:\\Program Files\\x\\y.exe");
    EXPECT_EQ(Resolve(u"C:\\Program Files\\x\\y.exe", true), u"C:\\Program.exe");
}

TEST_F(PathResolution, KernelAndVariableFormsExpandToTheWindowsFolder) {
    machine_.AddFile(u"C:\\WINDOWS\\System32\\ntoskrnl.exe");
    EXPECT_EQ(Resolve(u"\\SystemRoot\\System32\\ntoskrnl.exe", true),
              u"C:\\WINDOWS\\System32\\ntoskrnl.exe");
    EXPECT_EQ(Resolve(u"SystemRoot\\System32\\ntoskrnl.exe", true),
              u"C:\\WINDOWS\\System32\\ntoskrnl.exe");
    EXPECT_EQ(Resolve(u"\\??\\C:\\WINDOWS\\System32\\ntoskrnl.exe", true),
              u"C:\\WINDOWS\\System32\\ntoskrnl.exe");

    machine_.SetEnv(u"ProgramFiles", u"C:\\Program Files");
    machine_.AddFile(u"C:\\Program Files\\x.exe");
    EXPECT_EQ(Resolve(u"%ProgramFiles%\\x.exe -run", true), u"C:\\Program Files\\x.exe");
}

TEST_F(PathResolution, PrefixTableReplacesOnlyAtTheStartWithoutRegardToCase) {
    const struct {
        const char16_t* text;
        const char16_t* expected;
    } cases[] = {
        {u"\\SYSTEMROOT\\a.sys", u"%WINDIR%\\a.sys"},
        {u"SystemRootx", u"%WINDIR%x"},
        {u"\\\\?\\C:\\a.exe", u"C:\\a.exe"},
        {u"\\?\\C:\\a.exe", u"C:\\a.exe"},
        {u"\\??\\C:\\WINDOWS\\x.exe", u"C:\\WINDOWS\\x.exe"},
        {u"FILE://C:\\x.txt", u"C:\\x.txt"},
        {u":C:\\x.txt", u"C:\\x.txt"},
        {u"C:\\SystemRoot\\x", u"C:\\SystemRoot\\x"},
        {u"", u""},
    };
    for (const auto& c : cases) {
        std::u16string out = u"stale";
        EXPECT_TRUE(NormalizePathPrefix(c.text, out));
        EXPECT_EQ(out, c.expected) << talutils::ToUtf8(c.text);
    }
}

TEST_F(PathResolution, RelativePathWithoutDriveIsFoundInTheWindowsFolder) {
    machine_.AddFile(u"C:\\WINDOWS\\system32\\DRIVERS\\x.sys");
    EXPECT_EQ(Resolve(u"system32\\DRIVERS\\x.sys", true), u"C:\\WINDOWS\\system32\\DRIVERS\\x.sys");
}

TEST_F(PathResolution, FolderOrderBeatsSuffixOrderAndTheNameAsItStandsWinsInAFolder) {
    machine_.AddFile(u"C:\\WINDOWS\\notepad.exe");
    machine_.AddFile(u"C:\\WINDOWS\\system32\\notepad");
    EXPECT_EQ(Resolve(u"notepad", true), u"C:\\WINDOWS\\notepad.exe");

    machine_.AddFile(u"C:\\Tools\\tool.exe");
    machine_.AddFile(u"C:\\Tools\\tool");
    machine_.AddFile(u"C:\\Bin\\tool");
    EXPECT_EQ(Resolve(u"tool", true), u"C:\\Tools\\tool");

    // The 16-bit folder stands between the system folder and PATH.
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

    std::u16string out;
    EXPECT_FALSE(TryExecutableExtensions(u"C:\\x\\none", out));
    EXPECT_EQ(out, u"C:\\x\\none");
}

TEST_F(PathResolution, UncPathIsFoundOnlyAsItStands) {
    machine_.AddFile(u"\\\\server\\share\\app.exe");
    EXPECT_EQ(Resolve(u"\\\\server\\share\\app.exe", true), u"\\\\server\\share\\app.exe");
    // Without a drive part the suffixes are tried only under the search folders.
    EXPECT_EQ(Resolve(u"\\\\server\\share\\app", false), u"\\\\server\\share\\app");
}

TEST_F(PathResolution, EmptyOrBlankTextLeavesOutAlone) {
    for (const char16_t* text : {static_cast<const char16_t*>(nullptr), u"", u"    "}) {
        std::u16string out = u"kept";
        EXPECT_FALSE(ResolveCommandLine(text, out));
        EXPECT_EQ(out, u"kept");
    }
}

TEST_F(PathResolution, MissingFileGivesTheWholeTextWithoutQuotes) {
    EXPECT_EQ(Resolve(u"  \"C:\\no where\\y.exe\" /min  -q", false),
              u"C:\\no where\\y.exe /min  -q");
    EXPECT_EQ(Resolve(u"\"C:\\unclosed x", false), u"C:\\unclosed x");
}

TEST_F(PathResolution, SearchFoldersFollowTheShellAndPath) {
    machine_.SetEnv(u"PATH", u";;C:\\A;x;C:\\B\\;;");
    EXPECT_EQ(PathSearchFolders(),
              (std::vector<std::u16string>{u"C:\\WINDOWS\\", u"C:\\WINDOWS\\system32\\",
                                           u"C:\\WINDOWS\\system\\", u"C:\\A\\", u"C:\\B\\"}));
}

TEST_F(PathResolution, OnlyAFinal32GivesThe16BitFolder) {
    machine_.SetSpecialFolder(platform::kCsidlSystem, u"C:\\x32\\system32");
    machine_.SetEnv(u"PATH", u"");
    EXPECT_EQ(PathSearchFolders(),
              (std::vector<std::u16string>{u"C:\\WINDOWS\\", u"C:\\x32\\system32\\"}));
}

TEST_F(PathResolution, FailingShellStepsAreLoggedAndLeftOut) {
    machine_.FailSpecialFolderLocation(platform::kCsidlWindows, platform::kEFail);
    machine_.FailSpecialFolderPath(platform::kCsidlSystem);
    EXPECT_EQ(PathSearchFolders(), (std::vector<std::u16string>{u"C:\\Tools\\", u"C:\\Bin\\"}));
    EXPECT_TRUE(Logged("[vistrel] [error] SHGetSpecialFolderLocation_: 0X80004005"));
    EXPECT_TRUE(Logged("[vistrel] [error] SHGetPathFromIDList_ failed"));
}

TEST(PathResolutionTables, AnEmptyFolderListIsBuiltAgainAtTheNextUse) {
    MemoryMachine machine;
    platform::memory::ScopedMachine scoped(machine);
    ResetPathResolutionTables();
    EXPECT_TRUE(PathSearchFolders().empty());
    machine.SetEnv(u"PATH", u"C:\\Late");
    machine.AddFile(u"C:\\Late\\tool.exe");
    std::u16string out;
    EXPECT_TRUE(FindOnSearchPath(u"tool", out));
    EXPECT_EQ(out, u"C:\\Late\\tool.exe");
    // Once it holds a row it isn't refreshed.
    machine.SetEnv(u"PATH", u"C:\\Other");
    EXPECT_EQ(PathSearchFolders(), std::vector<std::u16string>{u"C:\\Late\\"});
    ResetPathResolutionTables();
}

TEST_F(PathResolution, PathLongerThanTheFirstBufferIsReadWhole) {
    std::u16string path;
    for (int i = 0; i < 400; ++i) path += u"C:\\Folder" + talutils::Decimal(i) + u";";
    path += u"C:\\Far";
    ASSERT_GT(path.size(), 4096u);
    machine_.SetEnv(u"PATH", path);
    machine_.AddFile(u"C:\\Far\\far.bat");
    std::u16string out;
    EXPECT_TRUE(FindOnSearchPath(u"far", out));
    EXPECT_EQ(out, u"C:\\Far\\far.bat");
    EXPECT_EQ(PathSearchFolders().size(), 3u + 401u);
}

TEST(SplitPath, PartsFollowTheRuntimeLibrary) {
    PathParts parts;
    ASSERT_TRUE(SplitPath(u"C:\\a\\b.c.txt", parts));
    EXPECT_EQ(parts.drive, u"C:");
    EXPECT_EQ(parts.dir, u"\\a\\");
    EXPECT_EQ(parts.fname, u"b.c");
    EXPECT_EQ(parts.ext, u".txt");

    ASSERT_TRUE(SplitPath(u"\\\\srv\\share\\f", parts));
    EXPECT_EQ(parts.drive, u"");
    EXPECT_EQ(parts.dir, u"\\\\srv\\share\\");
    EXPECT_EQ(parts.fname, u"f");
    EXPECT_EQ(parts.ext, u"");

    ASSERT_TRUE(SplitPath(u"dir.x/name", parts));
    EXPECT_EQ(parts.dir, u"dir.x/");
    EXPECT_EQ(parts.fname, u"name");
    EXPECT_EQ(parts.ext, u"");

    EXPECT_FALSE(SplitPath(u"C:\\" + std::u16string(300, u'n') + u".exe", parts));
    EXPECT_EQ(parts.drive, u"");
    EXPECT_EQ(parts.fname, u"");
}

}  // namespace
