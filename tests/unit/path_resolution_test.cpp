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
        InstallWindowsFolders();
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
    // "C:\Program" as given (its expansion is the same, asked once) and with three suffixes
    // (never in the folders: it has a drive), then the whole path.
    EXPECT_EQ(machine_.FindFirstCount() - before, 5);

    machine_.AddFolder(u"C:\\Program");
    machine_.AddFile(u"C:\\Program.exe");
    EXPECT_EQ(Resolve(u"C:\\Program Files\\x\\y.exe", true), u"C:\\Program.exe");
}

TEST_F(PathResolution, StoredFormsLeadToTheFileOrLeaveTheLastCandidate) {
    // A PATH longer than the first expansion buffer is read whole.
    std::u16string path;
    for (int i = 0; i < 400; ++i) path += u"C:\\Folder" + talutils::Decimal(i) + u";";
    machine_.SetEnv(u"PATH", path + u"C:\\Tools");
    const char16_t* kernel = u"C:\\WINDOWS\\System32\\ntoskrnl.exe";
    for (const char16_t* file :
         {kernel, u"C:\\WINDOWS\\system32\\DRIVERS\\x.sys", u"C:\\WINDOWS\\notepad.exe",
          u"C:\\WINDOWS\\system32\\notepad", u"C:\\Tools\\tool.exe", u"C:\\Tools\\tool",
          u"C:\\WINDOWS\\system\\old.com", u"C:\\Tools\\old.exe", u"C:\\x\\y.bat", u"C:\\x\\y.com",
          u"C:\\x\\a.exe.exe", u"\\\\server\\share\\app.exe"})
        machine_.AddFile(file);
    const struct {
        const char16_t* text;
        bool found;
        const char16_t* out;
    } cases[] = {
        {u"\\SystemRoot\\System32\\ntoskrnl.exe", true, kernel},
        {u"systemroot\\System32\\ntoskrnl.exe", true, kernel},
        // The system finds these as they stand.
        {u"\\??\\C:\\WINDOWS\\System32\\ntoskrnl.exe", true,
         u"\\??\\C:\\WINDOWS\\System32\\ntoskrnl.exe"},
        {u"\\\\?\\C:\\WINDOWS\\System32\\ntoskrnl.exe", true,
         u"\\\\?\\C:\\WINDOWS\\System32\\ntoskrnl.exe"},
        {u"file://C:\\WINDOWS\\System32\\ntoskrnl.exe", true, kernel},
        {u"%windir%\\System32\\ntoskrnl.exe -x", true, kernel},
        // Without a drive: folder by folder, the name as it stands before its suffixes within a
        // folder, and the 16-bit folder before PATH.
        {u"system32\\DRIVERS\\x.sys", true, u"C:\\WINDOWS\\system32\\DRIVERS\\x.sys"},
        {u"notepad", true, u"C:\\WINDOWS\\notepad.exe"},
        {u"tool", true, u"C:\\Tools\\tool"},
        {u"old", true, u"C:\\WINDOWS\\system\\old.com"},
        // Suffixes are tried in their order and always appended.
        {u"C:\\x\\y", true, u"C:\\x\\y.com"},
        {u"C:\\x\\a.exe", true, u"C:\\x\\a.exe.exe"},
        // A UNC path is found only as it stands.
        {u"\\\\server\\share\\app.exe", true, u"\\\\server\\share\\app.exe"},
        {u"\\\\server\\share\\app", false, u"\\\\server\\share\\app"},
        {u"  \"C:\\no where\\y.exe\" /min  -q", false, u"C:\\no where\\y.exe /min  -q"},
        {u"\"C:\\unclosed x", false, u"C:\\unclosed x"},
    };
    for (const auto& c : cases) EXPECT_EQ(Resolve(c.text, c.found), c.out);

    // Nothing to resolve: the out value stays.
    for (const char16_t* text : {static_cast<const char16_t*>(nullptr), u"", u"    "}) {
        std::u16string out = u"kept";
        EXPECT_FALSE(ResolveCommandLine(text, out));
        EXPECT_EQ(out, u"kept");
    }
    // A prefix counts only at the start.
    for (auto [text, normal] : {std::pair{u"SystemRootx", u"%WINDIR%x"},
                                {u":C:\\x.txt", u"C:\\x.txt"},
                                {u"C:\\SystemRoot\\x", u"C:\\SystemRoot\\x"}}) {
        std::u16string out;
        EXPECT_TRUE(NormalizePathPrefix(text, out));
        EXPECT_EQ(out, normal);
    }
}

TEST_F(PathResolution, RememberedAnswersGiveTheResultsOfTheStepByStepWalk) {
    // PATH names the system folders again, so a bare name meets each of them twice.
    machine_.SetEnv(u"PATH", u"C:\\WINDOWS\\system32;C:\\Tools;C:\\WINDOWS");
    machine_.SetEnv(u"APP", u"C:\\x");
    for (const char16_t* file :
         {u"C:\\x\\y.com", u"C:\\Tools\\b c.bat", u"C:\\WINDOWS\\system32\\x y.exe"})
        machine_.AddFile(file);
    machine_.AddFolder(u"C:\\x\\a b");
    // Names longer than a volume holds, unless a wildcard lets them match a shorter one.
    std::u16string manyBlanks;
    for (int i = 0; i < 80; ++i) manyBlanks += u"w ";
    const std::u16string expanded = u"%APP%\\" + std::u16string(300, u'q') + u" x";
    const std::u16string pattern = u"C:\\x\\y.co" + std::u16string(300, u'*') + u" /q";
    const char16_t* texts[] = {
        u"C:\\x\\y /q",     u"%APP%\\y -a b",    u"b c d",        u"x y z",
        u"\\??\\C:\\x\\y",  u"\"C:\\x\\a b\" c", u"nothing here", u"C:\\x\\a b c  ",
        manyBlanks.c_str(), expanded.c_str(),    pattern.c_str(),
    };
    int lookups[2] = {0, 0};  // remembered, step by step
    int foundTexts = 0;
    for (const char16_t* text : texts) {
        std::u16string out[2] = {u"-", u"-"};
        bool found[2];
        for (int remember : {1, 0}) {
            const int before = machine_.FindFirstCount();
            found[remember] = ResolveCommandLine(text, out[remember], remember == 1);
            lookups[remember] += machine_.FindFirstCount() - before;
        }
        EXPECT_EQ(found[1], found[0]) << talutils::ToUtf8(text);
        EXPECT_EQ(out[1], out[0]) << talutils::ToUtf8(text);
        foundTexts += found[0] ? 1 : 0;
    }
    EXPECT_EQ(foundTexts, 6);
    EXPECT_LT(lookups[1], lookups[0] * 3 / 4);
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
