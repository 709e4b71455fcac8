// The text catalogue on the memory machine: the language file through both lookups, the order
// of the unescaping passes, the length limit, the fallbacks to the string resources, and the
// shipped English file.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>

#include "frame/module_objects.h"
#include "frame/text_catalogue.h"
#include "libs/talutils/text_utils.h"
#include "platform/memory/memory_machine.h"

namespace {

using platform::memory::MemoryMachine;
using platform::memory::ScopedMachine;

constexpr char16_t kLangPath[] = u"C:\\Host\\Lang\\l_vistrel.ini";

class CatalogueTest : public ::testing::Test {
  protected:
    void TearDown() override {
        close_tdfile(g_textFile);
        g_textFile = nullptr;
    }

    void OpenLanguageFile(std::string_view lines,
                          std::string_view header = "\xEF\xBB\xBF[LangSupport]\r\n") {
        machine.AddFile(kLangPath, std::string(header) + std::string(lines));
        g_textFile = load_tdfile(kLangPath);
        ASSERT_NE(g_textFile, nullptr);
    }

    MemoryMachine machine;
    ScopedMachine scope{machine};
};

TEST_F(CatalogueTest, LanguageFileTextsComeUnescapedThroughBothLookups) {
    OpenLanguageFile(
        "IDS_PLUGIN_NAME=Vistrel\r\n"
        "IDS_VISTREL_ACTION_REFRESH=a\\r\\nb\r\n"
        "IDS_VISTREL_ACTION_REMOVE=a\\\\nb\r\n"
        "IDS_VISTREL_TITLE=Current\\tsystem\\tsettings\\x\r\n"
        "IDS_VISTREL_TITLE_WAITING=Reading\r\n"
        "IDS_VISTREL_RUNITEMS_DESC=" +
        std::string(3000, 'x') + "\r\nIDS_VISTREL_HOSTS_DESC=" + std::string(1020, 'y') +
        "\\r\\n\r\n");
    EXPECT_EQ(talutils::View(TextById(22109)), u"Vistrel");
    EXPECT_EQ(talutils::View(TextById(22200)), u"a\r\nb");
    EXPECT_EQ(talutils::View(TextById(22201)), u"a\\\nb");
    // Each escape is replaced wherever it stands; a backslash before another letter stays.
    EXPECT_EQ(talutils::View(TextByKey(0, u"IDS_VISTREL_TITLE")), u"Current\tsystem\tsettings\\x");
    EXPECT_EQ(talutils::View(TextByKey(0, u"ids_vistrel_title_waiting")), u"Reading");
    // A key the file lacks and no id: empty, never null.
    EXPECT_EQ(talutils::View(TextByKey(0, u"IDS_NOT_THERE")), u"");
    // Long texts stop at 1023 characters, counted in the file before the escapes shrink them.
    EXPECT_EQ(talutils::View(TextById(22301)), std::u16string(1023, u'x'));
    EXPECT_EQ(talutils::View(TextById(22461)), std::u16string(1020, u'y') + u"\r\\");
}

TEST_F(CatalogueTest, MissingTextsFallBackOnTheResources) {
    machine.SetStringResource(22202, u"Go\\tto");
    machine.SetStringResource(22000, u"raw\\nresource");
    machine.SetStringResource(0xFFFFFFFFu, u"minus\\none");

    // No file: TextById asks the resources and leaves the text as it is.
    EXPECT_EQ(talutils::View(TextById(22202)), u"Go\\tto");
    EXPECT_EQ(talutils::View(TextById(22203)), u"");
    EXPECT_EQ(talutils::View(TextByKey(0, u"IDS_VISTREL_TITLE")), u"");
    // TextByKey falls back by id and unescapes what it found.
    EXPECT_EQ(talutils::View(TextByKey(22202, u"IDS_VISTREL_ACTION_GOTO")), u"Go\tto");

    OpenLanguageFile("IDS_PLUGIN_NAME=From the file\r\n");
    // A row whose key the file lacks goes through TextByKey: unescaped.
    EXPECT_EQ(talutils::View(TextById(22202)), u"Go\tto");
    // Ids without a row skip the file and the unescaping even with a file open.
    EXPECT_EQ(talutils::View(TextById(22000)), u"raw\\nresource");
    EXPECT_EQ(talutils::View(TextById(-1)), u"minus\\none");
    EXPECT_EQ(talutils::View(TextByKey(22000, u"IDS_NO_ROW")), u"raw\nresource");
}

TEST_F(CatalogueTest, BuffersLiveUntilTheNextLookupOfTheirKind) {
    machine.SetStringResource(22000, u"first");
    machine.SetStringResource(22001, u"second");
    OpenLanguageFile("IDS_YES=Yes\r\nIDS_NO=No\r\n");

    const char16_t* byKey = TextById(22479);
    const char16_t* byId = TextById(22000);
    EXPECT_EQ(talutils::View(byKey), u"Yes");
    EXPECT_EQ(talutils::View(byId), u"first");
    // A resource fallback by id leaves the text found by key alone, and the other way round.
    TextById(22001);
    EXPECT_EQ(talutils::View(byKey), u"Yes");
    TextById(22480);
    EXPECT_EQ(talutils::View(TextById(22001)), u"second");
    EXPECT_EQ(talutils::View(TextById(22480)), u"No");
}

// The shipped English file, read as the page reads it: a text for every row that fits where
// the page puts it, and nothing the catalogue doesn't know.
TEST_F(CatalogueTest, ShippedFileHasATextThatFitsForEveryRowAndARowForEveryKey) {
    std::string path = __FILE__;
    path = path.substr(0, path.rfind("tests")) + "lang/l_vistrel.ini";
    std::ifstream in(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    ASSERT_FALSE(bytes.empty()) << path;
    OpenLanguageFile(bytes, "");

    std::set<std::string> known = {"IDS_VISTREL_TITLE"};
    for (std::int32_t id = 22100; id < 22500; ++id) {
        const char16_t* key = CatalogueKey(id);
        if (key == nullptr) continue;
        SCOPED_TRACE(talutils::ToUtf8(key));
        EXPECT_TRUE(known.insert(talutils::ToUtf8(key)).second) << "key of two rows";
        const std::u16string text(TextById(id));
        ASSERT_FALSE(text.empty());
        EXPECT_NE(text.front(), u' ');
        EXPECT_NE(text.back(), u' ');
        // An escape the reader doesn't know would show as a backslash.
        EXPECT_EQ(text.find(u'\\'), std::u16string::npos);
        // A description is whole sentences, the lines joined by CR LF only.
        if (talutils::EndsWithNoCase(talutils::View(key), u"_DESC")) {
            EXPECT_EQ(text.back(), u'.');
            for (std::size_t at = text.find(u'\n'); at != std::u16string::npos;
                 at = text.find(u'\n', at + 1))
                EXPECT_TRUE(at > 0 && text[at - 1] == u'\r');
        }
        // Labels of the pane: the pane adds ": " itself.
        EXPECT_TRUE(id < 22205 || id > 22221 || text.back() != u':');
        // Buttons are 50 units wide.
        EXPECT_TRUE(id < 22200 || id > 22204 || text.size() <= 10u);
    }
    EXPECT_EQ(known.size(), 127u);  // 126 rows and the title, which is read by key only

    // Every key of the file is known: a misspelt key would leave its text unused.
    std::istringstream lines(bytes);
    std::set<std::string> seen;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line[0] == ';' || line[0] == '[' || line == "\r") continue;
        const std::string key = line.substr(0, line.find('='));
        EXPECT_TRUE(known.count(key)) << "unknown key " << key;
        EXPECT_TRUE(seen.insert(key).second) << "duplicate key " << key;
    }
    EXPECT_EQ(seen.size(), known.size());

    EXPECT_LE(std::u16string(TextById(22109)).size(), 31u);
    EXPECT_EQ(talutils::View(TextById(22200)), u"Refresh");
    EXPECT_EQ(talutils::View(TextById(22202)), u"Go to");
    EXPECT_EQ(talutils::View(TextById(22201)), u"Remove");
}

}  // namespace
