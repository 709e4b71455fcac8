// The details lines of a stored text: doubt, links, odd version blocks and the absence of one.
// A quoted path with arguments and its version block is among the recorded scans.
#include "tools/file_details.h"

#include <gtest/gtest.h>

#include <array>

#include "libs/talutils/text_utils.h"
#include "tests/support/version_block_builder.h"
#include "tests/unit/tools_test_support.h"

namespace {

using testsupport::VersionBlockContents;

DetailsLine L(std::int32_t labelId, std::u16string value, std::int32_t index = 7) {
    return {index, labelId, std::move(value), false, 0};
}

// The lines of a file found with a version block: versions, publisher, description.
std::vector<DetailsLine> Versioned(std::u16string object, std::u16string file, std::u16string path,
                                   std::array<std::u16string, 4> info) {
    return {L(kDetailsTextObject, object),
            L(kDetailsTextFile, file),
            L(kDetailsTextPath, path),
            L(kDetailsTextFileVersion, info[0]),
            L(kDetailsTextProductVersion, info[1]),
            L(kDetailsTextPublisher, info[2]),
            L(kDetailsTextDescription, info[3])};
}

class FileDetails : public ToolsTest {
  protected:
    FileDetails() { InstallWindowsFolders(); }

    void AddFile(const char16_t* path, const VersionBlockContents& contents) {
        machine_.AddFile(path);
        machine_.SetVersionBlock(path, testsupport::BuildVersionBlock(contents));
    }

    std::int32_t Details(const char16_t* text, bool mayBeWrong = false) {
        lines_.clear();
        return GetFileDetails(text, 7, &CollectDetailsLine, &lines_, mayBeWrong);
    }

    std::vector<DetailsLine> lines_;
};

TEST_F(FileDetails, WithoutVersionBlockTheNoInfoLineEndsTheDetails) {
    const char16_t* svchost = u"C:\\WINDOWS\\system32\\svchost.exe";
    machine_.AddFile(u"C:\\tools\\plain.exe");
    machine_.AddFile(svchost);
    machine_.AddBrokenLink(u"C:\\Startup\\bad.lnk", platform::LinkStep::kLoad);
    const struct {
        const char16_t* text;
        bool mayBeWrong;
        const char16_t* file;
        const char16_t* path;
        bool doubtShown;
    } cases[] = {
        {u"C:\\tools\\plain.exe -x", true, u"plain.exe", u"C:\\tools\\plain.exe", false},
        // Unresolved: the last candidate, and never the doubt although it is asked for.
        {u"gone.exe -q", true, u"gone.exe -q", u"gone.exe -q", false},
        // A broken link is described as itself.
        {u"C:\\Startup\\bad.lnk", true, u"bad.lnk", u"C:\\Startup\\bad.lnk", false},
        // Only a bare name found in a search folder is in doubt, and only when asked.
        {u"svchost.exe", true, u"svchost.exe", svchost, true},
        {u"svchost.exe", false, u"svchost.exe", svchost, false},
        {svchost, true, u"svchost.exe", svchost, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(talutils::ToUtf8(c.text) + (c.mayBeWrong ? " (may be wrong)" : ""));
        EXPECT_EQ(Details(c.text, c.mayBeWrong), 0);
        std::vector<DetailsLine> expected{L(kDetailsTextObject, c.text),
                                          L(kDetailsTextFile, c.file), L(kDetailsTextPath, c.path),
                                          L(kDetailsTextNoFileInfo, c.path)};
        if (c.doubtShown)
            expected.insert(expected.begin() + 2,
                            DetailsLine{7, kDetailsTextMaybeWrong, u"", true, kLineDropIfNoLabel});
        EXPECT_EQ(lines_, expected);
    }
}

TEST_F(FileDetails, VersionedLinesFollowALinkAndShowNumbersWithoutTranslationTable) {
    VersionBlockContents linked, untranslated;
    linked.fileVersion = {2, 0, 0, 1};
    linked.translations = {{0x0409, 0x04E4}};
    linked.tables = {{0x0409, 0x04E4, {{u"CompanyName", u"Target Maker"}}}};
    AddFile(u"C:\\apps\\target.exe", linked);
    machine_.AddLink(u"C:\\Startup\\App.LNK", u"C:\\apps\\target.exe");
    untranslated.fileVersion = {3, 1, 4, 1};
    untranslated.productVersion = {3, 1, 0, 0};
    untranslated.withTranslations = false;
    untranslated.tables = {{0x0409, 0x04B0, {{u"CompanyName", u"Unreachable"}}}};
    AddFile(u"C:\\a.dll", untranslated);
    machine_.ClearTrace();

    // The object stays the link; the rest is its target's.
    EXPECT_EQ(Details(u"C:\\Startup\\App.LNK"), 6);
    EXPECT_EQ(lines_, Versioned(u"C:\\Startup\\App.LNK", u"target.exe", u"C:\\apps\\target.exe",
                                {u"2.0.0.1", u"0.0.0.0", u"Target Maker", u""}));
    EXPECT_EQ(Details(u"C:\\a.dll"), 6);
    EXPECT_EQ(lines_,
              Versioned(u"C:\\a.dll", u"a.dll", u"C:\\a.dll", {u"3.1.4.1", u"3.1.0.0", u"", u""}));
    EXPECT_TRUE(Logged("[vistrel] [error]: VerQueryValue_('\\VarFileInfo\\Translation')"));
}

TEST_F(FileDetails, RecordTakesTheStringsOfTheFirstTranslationPairOnly) {
    VersionBlockContents block;
    block.translations = {{0x0407, 0x04B0}, {0x0409, 0x04B0}};
    block.tables = {
        {0x0407,
         0x04B0,
         {{u"CompanyName", u"Hersteller"},
          {u"Comments", u"c"},
          {u"InternalName", u"i"},
          {u"OriginalFilename", u"o"},
          {u"SpecialBuild", u"s"},
          {u"ProductVersion", u"9.9"}}},
        {0x0409, 0x04B0, {{u"CompanyName", u"Maker"}, {u"FileDescription", u"Only English"}}}};
    AddFile(u"C:\\b.dll", block);

    FileVersionRecord record;
    ASSERT_TRUE(ReadVersionInfo(u"C:\\b.dll", record, machine_.version().GetSize(u"C:\\b.dll")));
    EXPECT_EQ(record.CompanyName, u"Hersteller");
    EXPECT_EQ(record.FileDescription, u"");
    EXPECT_EQ(record.Comments + record.InternalName + record.OriginalFilename +
                  record.SpecialBuild + record.ProductVersion,
              u"cios9.9");
    EXPECT_EQ(record.fileVersion[0], 0);
}

}  // namespace
