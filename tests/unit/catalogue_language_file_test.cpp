// The shipped English language file, read as the page reads it: a text for every catalogue
// row, nothing the catalogue doesn't know, and texts that fit where the page puts them.
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

std::string ShippedFileBytes() {
    std::string path = __FILE__;
    path = path.substr(0, path.rfind("tests")) + "lang/l_vistrel.ini";
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

class LanguageFileTest : public ::testing::Test {
  protected:
    void SetUp() override {
        bytes = ShippedFileBytes();
        ASSERT_FALSE(bytes.empty()) << "lang/l_vistrel.ini not found from " << __FILE__;
        machine.AddFile(u"C:\\Host\\Lang\\l_vistrel.ini", bytes);
        g_textFile = load_tdfile(u"C:\\Host\\Lang\\l_vistrel.ini");
        ASSERT_NE(g_textFile, nullptr);
    }
    void TearDown() override {
        close_tdfile(g_textFile);
        g_textFile = nullptr;
    }

    std::string bytes;
    MemoryMachine machine;
    ScopedMachine scope{machine};
};

TEST_F(LanguageFileTest, EveryRowHasATextAndEveryKeyARow) {
    int rows = 0;
    for (std::int32_t id = 22100; id < 22500; ++id) {
        const char16_t* key = CatalogueKey(id);
        if (key == nullptr) continue;
        ++rows;
        const std::u16string text(TextById(id));
        EXPECT_FALSE(text.empty()) << talutils::ToUtf8(key);
        EXPECT_NE(text.front(), u' ') << talutils::ToUtf8(key);
        EXPECT_NE(text.back(), u' ') << talutils::ToUtf8(key);
        // An escape the reader doesn't know would show as a backslash.
        EXPECT_EQ(text.find(u'\\'), std::u16string::npos) << talutils::ToUtf8(key);
    }
    EXPECT_EQ(rows, 126);
    EXPECT_EQ(talutils::View(TextByKey(0, u"IDS_VISTREL_TITLE")), u"Current system settings");
    EXPECT_FALSE(talutils::View(TextByKey(0, u"IDS_VISTREL_TITLE_WAITING")).empty());

    // Every key of the file is known: a misspelt key would leave its text unused.
    std::set<std::string> known = {"IDS_VISTREL_TITLE"};
    for (std::int32_t id = 22100; id < 22500; ++id)
        if (const char16_t* key = CatalogueKey(id)) known.insert(talutils::ToUtf8(key));
    std::istringstream lines(bytes);
    std::set<std::string> seen;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line[0] == ';' || line[0] == '[' || line == "\r") continue;
        const std::string key = line.substr(0, line.find('='));
        EXPECT_TRUE(known.count(key)) << "unknown key " << key;
        EXPECT_TRUE(seen.insert(key).second) << "duplicate key " << key;
    }
    EXPECT_EQ(seen.size(), known.size());
}

TEST_F(LanguageFileTest, TextsFitWhereThePageShowsThem) {
    const std::u16string name(TextById(22109));
    EXPECT_LE(name.size(), 31u);
    for (std::int32_t id : {22200, 22201, 22202, 22203, 22204})
        EXPECT_LE(std::u16string(TextById(id)).size(), 10u) << id;  // buttons of 50 units
    EXPECT_EQ(talutils::View(TextById(22200)), u"Refresh");
    EXPECT_EQ(talutils::View(TextById(22202)), u"Go to");
    EXPECT_EQ(talutils::View(TextById(22201)), u"Remove");
    // Labels of the pane: the pane adds ": " itself.
    for (std::int32_t id = 22205; id <= 22221; ++id)
        EXPECT_NE(std::u16string(TextById(id)).back(), u':') << id;
    // A description is whole sentences, the lines joined by CR LF only.
    for (std::int32_t id = 22100; id < 22500; ++id) {
        const char16_t* key = CatalogueKey(id);
        if (key == nullptr || !talutils::EndsWithNoCase(talutils::View(key), u"_DESC")) continue;
        const std::u16string text(TextById(id));
        EXPECT_EQ(text.back(), u'.') << id;
        for (std::size_t at = text.find(u'\n'); at != std::u16string::npos;
             at = text.find(u'\n', at + 1))
            EXPECT_TRUE(at > 0 && text[at - 1] == u'\r') << id;
    }
    EXPECT_EQ(talutils::View(TextById(22490)),
              u"access denied \u2014 administrator rights required");
}

}  // namespace
