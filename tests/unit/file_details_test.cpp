// The details lines of a stored text: resolution, links, the version block and its absence.
#include "tools/file_details.h"

#include <gtest/gtest.h>

#include "libs/talutils/text_utils.h"
#include "tests/support/version_block_builder.h"
#include "tests/unit/tools_test_support.h"

namespace {

using testsupport::BuildVersionBlock;
using testsupport::VersionBlockContents;

struct Line {
    std::int32_t index;
    std::int32_t labelId;
    std::u16string value;
    bool valueIsNull;
    std::int32_t flags;

    bool operator==(const Line&) const = default;
};

void PrintTo(const Line& line, std::ostream* out) {
    *out << "{" << line.index << ", " << line.labelId << ", \"" << talutils::ToUtf8(line.value)
         << "\"" << (line.valueIsNull ? " (null)" : "") << ", " << line.flags << "}";
}

bool CollectLine(std::int32_t index, std::int32_t labelId, const char16_t* value,
                 std::int32_t flags, void* context) {
    static_cast<std::vector<Line>*>(context)->push_back(
        {index, labelId, value ? value : u"", value == nullptr, flags});
    return true;
}

Line L(std::int32_t labelId, std::u16string value, std::int32_t index = 7) {
    return {index, labelId, std::move(value), false, 0};
}

class FileDetails : public ToolsTest {
  protected:
    FileDetails() {
        machine_.SetSpecialFolder(platform::kCsidlWindows, u"C:\\WINDOWS");
        machine_.SetSpecialFolder(platform::kCsidlSystem, u"C:\\WINDOWS\\system32");
        machine_.SetEnv(u"WINDIR", u"C:\\WINDOWS");
    }

    std::int32_t Details(const char16_t* text, bool mayBeWrong = false) {
        lines_.clear();
        return GetFileDetails(text, 7, &CollectLine, &lines_, mayBeWrong);
    }

    std::vector<Line> lines_;
};

TEST_F(FileDetails, RunValueWithQuotesShowsFileAndVersion) {
    VersionBlockContents spec;
    spec.fileVersion = {1, 2, 30, 400};
    spec.productVersion = {5, 0, 0, 65535};
    spec.translations = {{0x0409, 0x04B0}};
    spec.tables = {
        {0x0409, 0x04B0, {{u"CompanyName", u"Maker Ltd"}, {u"FileDescription", u"Y tool"}}}};
    machine_.AddFile(u"C:\\Program Files\\x\\y.exe");
    machine_.SetVersionBlock(u"C:\\Program Files\\x\\y.exe", BuildVersionBlock(spec));

    EXPECT_EQ(Details(u"\"C:\\Program Files\\x\\y.exe\" /min"), 6);
    EXPECT_EQ(lines_, (std::vector<Line>{
                          L(kDetailsTextObject, u"\"C:\\Program Files\\x\\y.exe\" /min"),
                          L(kDetailsTextFile, u"y.exe"),
                          L(kDetailsTextPath, u"C:\\Program Files\\x\\y.exe"),
                          L(kDetailsTextFileVersion, u"1.2.30.400"),
                          L(kDetailsTextProductVersion, u"5.0.0.65535"),
                          L(kDetailsTextPublisher, u"Maker Ltd"),
                          L(kDetailsTextDescription, u"Y tool"),
                      }));
}

TEST_F(FileDetails, FileWithoutVersionBlockEndsWithTheNoInfoLine) {
    machine_.AddFile(u"C:\\tools\\plain.exe");
    EXPECT_EQ(Details(u"C:\\tools\\plain.exe -x"), 0);
    EXPECT_EQ(lines_, (std::vector<Line>{L(kDetailsTextObject, u"C:\\tools\\plain.exe -x"),
                                         L(kDetailsTextFile, u"plain.exe"),
                                         L(kDetailsTextPath, u"C:\\tools\\plain.exe"),
                                         L(kDetailsTextNoFileInfo, u"C:\\tools\\plain.exe")}));
}

TEST_F(FileDetails, UnresolvedCommandShowsTheLastCandidateAndNeverTheDoubt) {
    EXPECT_EQ(Details(u"gone.exe -q", true), 0);
    EXPECT_EQ(lines_,
              (std::vector<Line>{
                  L(kDetailsTextObject, u"gone.exe -q"), L(kDetailsTextFile, u"gone.exe -q"),
                  L(kDetailsTextPath, u"gone.exe -q"), L(kDetailsTextNoFileInfo, u"gone.exe -q")}));
}

TEST_F(FileDetails, BareProcessNameFoundInTheSystemFolderIsMarkedAsDoubtful) {
    machine_.AddFile(u"C:\\WINDOWS\\system32\\svchost.exe");
    Details(u"svchost.exe", true);
    ASSERT_EQ(lines_.size(), 5u);
    EXPECT_EQ(lines_[2], (Line{7, kDetailsTextMaybeWrong, u"", true, kLineDropIfNoLabel}));
    EXPECT_EQ(lines_[3], L(kDetailsTextPath, u"C:\\WINDOWS\\system32\\svchost.exe"));

    Details(u"svchost.exe", false);
    EXPECT_EQ(lines_.size(), 4u);
    Details(u"C:\\WINDOWS\\system32\\svchost.exe", true);
    EXPECT_EQ(lines_.size(), 4u);
}

TEST_F(FileDetails, LinkIsFollowedToItsTargetWhileTheObjectStaysTheLink) {
    VersionBlockContents spec;
    spec.fileVersion = {2, 0, 0, 1};
    spec.translations = {{0x0409, 0x04E4}};
    spec.tables = {{0x0409, 0x04E4, {{u"CompanyName", u"Target Maker"}}}};
    machine_.AddFile(u"C:\\apps\\target.exe");
    machine_.SetVersionBlock(u"C:\\apps\\target.exe", BuildVersionBlock(spec));
    machine_.AddLink(u"C:\\Startup\\App.LNK", u"C:\\apps\\target.exe");

    EXPECT_EQ(Details(u"C:\\Startup\\App.LNK"), 6);
    ASSERT_EQ(lines_.size(), 7u);
    EXPECT_EQ(lines_[0], L(kDetailsTextObject, u"C:\\Startup\\App.LNK"));
    EXPECT_EQ(lines_[1], L(kDetailsTextFile, u"target.exe"));
    EXPECT_EQ(lines_[2], L(kDetailsTextPath, u"C:\\apps\\target.exe"));
    EXPECT_EQ(lines_[3], L(kDetailsTextFileVersion, u"2.0.0.1"));
    EXPECT_EQ(lines_[5], L(kDetailsTextPublisher, u"Target Maker"));
    EXPECT_EQ(lines_[6], L(kDetailsTextDescription, u""));
}

TEST_F(FileDetails, BrokenLinkIsDescribedAsItself) {
    machine_.AddBrokenLink(u"C:\\Startup\\bad.lnk", platform::LinkStep::kLoad);
    EXPECT_EQ(Details(u"C:\\Startup\\bad.lnk"), 0);
    ASSERT_EQ(lines_.size(), 4u);
    EXPECT_EQ(lines_[1], L(kDetailsTextFile, u"bad.lnk"));
    EXPECT_EQ(lines_[3], L(kDetailsTextNoFileInfo, u"C:\\Startup\\bad.lnk"));
}

TEST_F(FileDetails, BlockWithoutTranslationTableShowsNumbersAndEmptyTexts) {
    VersionBlockContents spec;
    spec.fileVersion = {3, 1, 4, 1};
    spec.productVersion = {3, 1, 0, 0};
    spec.withTranslations = false;
    spec.tables = {{0x0409, 0x04B0, {{u"CompanyName", u"Unreachable"}}}};
    machine_.AddFile(u"C:\\a.dll");
    machine_.SetVersionBlock(u"C:\\a.dll", BuildVersionBlock(spec));
    machine_.ClearTrace();
    EXPECT_EQ(Details(u"C:\\a.dll"), 6);
    ASSERT_EQ(lines_.size(), 7u);
    EXPECT_EQ(lines_[3], L(kDetailsTextFileVersion, u"3.1.4.1"));
    EXPECT_EQ(lines_[4], L(kDetailsTextProductVersion, u"3.1.0.0"));
    EXPECT_EQ(lines_[5], L(kDetailsTextPublisher, u""));
    EXPECT_EQ(lines_[6], L(kDetailsTextDescription, u""));
    EXPECT_TRUE(Logged("[vistrel] [error]: VerQueryValue_('\\VarFileInfo\\Translation')"));
}

TEST_F(FileDetails, RecordTakesTheStringsOfTheFirstTranslationPairOnly) {
    VersionBlockContents spec;
    spec.translations = {{0x0407, 0x04B0}, {0x0409, 0x04B0}};
    spec.tables = {
        {0x0407,
         0x04B0,
         {{u"CompanyName", u"Hersteller"},
          {u"Comments", u"c"},
          {u"InternalName", u"i"},
          {u"OriginalFilename", u"o"},
          {u"SpecialBuild", u"s"},
          {u"ProductVersion", u"9.9"}}},
        {0x0409, 0x04B0, {{u"CompanyName", u"Maker"}, {u"FileDescription", u"Only English"}}}};
    machine_.AddFile(u"C:\\b.dll");
    machine_.SetVersionBlock(u"C:\\b.dll", BuildVersionBlock(spec));

    FileVersionRecord record;
    ASSERT_TRUE(ReadVersionInfo(u"C:\\b.dll", record, machine_.version().GetSize(u"C:\\b.dll")));
    EXPECT_EQ(record.CompanyName, u"Hersteller");
    EXPECT_EQ(record.FileDescription, u"");
    EXPECT_EQ(record.Comments + record.InternalName + record.OriginalFilename +
                  record.SpecialBuild + record.ProductVersion,
              u"cios9.9");
    EXPECT_EQ(record.fileVersion[0], 0);
}

TEST_F(FileDetails, NullCallbackTouchesNoFile) {
    machine_.AddFile(u"C:\\x.exe");
    const int before = machine_.FindFirstCount();
    EXPECT_EQ(GetFileDetails(u"C:\\x.exe", 0, nullptr, nullptr, true), 0);
    EXPECT_EQ(machine_.FindFirstCount(), before);
}

}  // namespace
