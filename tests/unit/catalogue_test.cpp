// The text catalogue on the memory machine: the table, the language file through both
// lookups, the order of the unescaping passes, and the falls back to the string resources.
#include <gtest/gtest.h>

#include <set>
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

    void OpenLanguageFile(std::string_view lines) {
        machine.AddFile(kLangPath,
                        std::string("\xEF\xBB\xBF[LangSupport]\r\n") + std::string(lines));
        g_textFile = load_tdfile(kLangPath);
        ASSERT_NE(g_textFile, nullptr);
    }

    MemoryMachine machine;
    ScopedMachine scope{machine};
};

TEST_F(CatalogueTest, TableHoldsEveryIdOnceWithItsKey) {
    std::set<std::u16string> keys;
    int rows = 0;
    for (std::int32_t id = 21000; id < 24000; ++id) {
        if (const char16_t* key = CatalogueKey(id)) {
            ++rows;
            keys.insert(key);
        }
    }
    EXPECT_EQ(rows, 126);
    EXPECT_EQ(keys.size(), 126u);
    EXPECT_EQ(talutils::View(CatalogueKey(22109)), u"IDS_PLUGIN_NAME");
    EXPECT_EQ(talutils::View(CatalogueKey(22203)), u"IDS_VISTREL_ACTION_KILL");
    EXPECT_EQ(talutils::View(CatalogueKey(22474)), u"IDS_VISTREL_SERVICES_DRIVERS");
    EXPECT_EQ(talutils::View(CatalogueKey(22477)), u"IDS_VISTREL_SERVICES_PROCESSES_DESC");
    EXPECT_EQ(talutils::View(CatalogueKey(22489)), u"IDS_VISTREL_TITLE_WAITING");
    EXPECT_EQ(talutils::View(CatalogueKey(22490)), u"IDS_VISTREL_ACCESS_DENIED_REQUIRES_ELEVATION");
    EXPECT_EQ(CatalogueKey(-1), nullptr);
    EXPECT_EQ(CatalogueKey(0), nullptr);
    EXPECT_EQ(CatalogueKey(22000), nullptr);
    EXPECT_EQ(CatalogueKey(22370), nullptr);
    EXPECT_FALSE(keys.count(u"IDS_VISTREL_TITLE"));
}

TEST_F(CatalogueTest, UnescapesInThreePassesWithoutABackslashEscape) {
    const auto unescaped = [](std::u16string text) {
        UnescapeCatalogueText(text);
        return text;
    };
    EXPECT_EQ(unescaped(u"a\\r\\nb"), u"a\r\nb");
    EXPECT_EQ(unescaped(u"a\\\\nb"), u"a\\\nb");
    EXPECT_EQ(unescaped(u"\\t\\t\\n\\r"), u"\t\t\n\r");
    EXPECT_EQ(unescaped(u"\\\\r\\x\\"), u"\\\r\\x\\");
    EXPECT_EQ(unescaped(u"C:\\new\\table\\"), u"C:\new\table\\");
    EXPECT_EQ(unescaped(u""), u"");
}

TEST_F(CatalogueTest, LanguageFileTextsComeUnescapedThroughBothLookups) {
    OpenLanguageFile(
        "IDS_PLUGIN_NAME=Vistrel\r\n"
        "IDS_VISTREL_ACTION_REFRESH=a\\r\\nb\r\n"
        "IDS_VISTREL_ACTION_REMOVE=a\\\\nb\r\n"
        "IDS_VISTREL_TITLE=Current system settings\\tnow\r\n"
        "IDS_VISTREL_TITLE_WAITING=Reading\r\n");
    EXPECT_EQ(talutils::View(TextById(22109)), u"Vistrel");
    EXPECT_EQ(talutils::View(TextById(22200)), u"a\r\nb");
    EXPECT_EQ(talutils::View(TextById(22201)), u"a\\\nb");
    EXPECT_EQ(talutils::View(TextByKey(0, u"IDS_VISTREL_TITLE")), u"Current system settings\tnow");
    EXPECT_EQ(talutils::View(TextByKey(0, u"ids_vistrel_title_waiting")), u"Reading");
    // A key the file lacks and no id: empty, never null.
    EXPECT_EQ(talutils::View(TextByKey(0, u"IDS_NOT_THERE")), u"");
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

TEST_F(CatalogueTest, LongTextsStopAt1023Characters) {
    OpenLanguageFile("IDS_VISTREL_RUNITEMS_DESC=" + std::string(3000, 'x') + "\r\n" +
                     "IDS_VISTREL_HOSTS_DESC=" + std::string(1020, 'y') + "\\r\\n\r\n");
    EXPECT_EQ(talutils::View(TextById(22301)), std::u16string(1023, u'x'));
    // The limit counts the file's characters, before the escapes shrink them.
    EXPECT_EQ(talutils::View(TextById(22461)), std::u16string(1020, u'y') + u"\r\\");
}

}  // namespace
