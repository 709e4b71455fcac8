// The language file reader on the memory machine: both encodings, the INI rules it follows,
// the 1023-character limit, and files that are missing or not text at all.
#include "libs/talutils/tdfile.h"

#include <gtest/gtest.h>

#include <string>

#include "libs/talutils/text_utils.h"
#include "platform/memory/memory_machine.h"

namespace {

using platform::memory::MemoryMachine;
using platform::memory::ScopedMachine;

std::string Utf16LeWithBom(std::u16string_view text) {
    std::string bytes = "\xFF\xFE";
    for (char16_t c : text) {
        bytes += static_cast<char>(c & 0xFF);
        bytes += static_cast<char>(c >> 8);
    }
    return bytes;
}

// The value of key in section, or "<none>" when get_value reports nothing.
std::u16string Value(_TDFILE* file, const char16_t* key, const char16_t* section = u"LangSupport") {
    char16_t buffer[1024] = {u'?'};
    if (get_value(file, section, key, buffer, u"%s", 1) != 1) return u"<none>";
    return buffer;
}

class TdFileTest : public ::testing::Test {
  protected:
    void TearDown() override { close_tdfile(file); }

    _TDFILE* Load(std::string_view bytes) {
        close_tdfile(file);
        machine.AddFile(u"C:\\Host\\Lang\\l_vistrel.ini", bytes);
        file = load_tdfile(u"C:\\Host\\Lang\\l_vistrel.ini");
        return file;
    }

    MemoryMachine machine;
    ScopedMachine scope{machine};
    _TDFILE* file = nullptr;
};

TEST_F(TdFileTest, ReadsUtf8WithAndWithoutBomAndUtf16WithBom) {
    const std::u16string text =
        u"[LangSupport]\r\nIDS_PLUGIN_NAME=Vistrel \u00e9t\u00e9\r\nIDS_YES=\u0414\u0430 "
        u"\U0001F600\r\n";
    for (const std::string& bytes :
         {talutils::ToUtf8(text), "\xEF\xBB\xBF" + talutils::ToUtf8(text), Utf16LeWithBom(text)}) {
        ASSERT_NE(Load(bytes), nullptr) << bytes.size();
        EXPECT_EQ(Value(file, u"IDS_PLUGIN_NAME"), u"Vistrel \u00e9t\u00e9") << bytes.size();
        EXPECT_EQ(Value(file, u"IDS_YES"), u"\u0414\u0430 \U0001F600") << bytes.size();
    }
}

TEST_F(TdFileTest, FollowsTheRulesOfWindowsProfileFiles) {
    ASSERT_NE(Load("KEY=before any section\n"
                   "; [LangSupport]\n"
                   "[ langsupport ]\n"
                   "  Ids_Yes  =  Yes  \r\n"
                   "IDS_NO=No\r\n"
                   "IDS_YES=second yes\n"
                   "no equals sign here\n"
                   "=no key\n"
                   ";IDS_COMMENTED=x\n"
                   "IDS_QUOTED=\"  padded  \"\n"
                   "IDS_EMPTY=\n"
                   "IDS_EQUALS=a=b\n"
                   "\n"
                   "[Other]\n"
                   "IDS_NO=other no\n"
                   "[Broken\n"
                   "IDS_AFTER_BROKEN=lost\n"
                   "[LANGSUPPORT]\n"
                   "IDS_LATER=merged\n"
                   "IDS_NO=duplicate in a later section"),
              nullptr);
    EXPECT_EQ(Value(file, u"IDS_YES"), u"Yes");
    EXPECT_EQ(Value(file, u"ids_yes", u"LANGSUPPORT"), u"Yes");
    EXPECT_EQ(Value(file, u"IDS_NO"), u"No");
    EXPECT_EQ(Value(file, u"IDS_NO", u"other"), u"other no");
    EXPECT_EQ(Value(file, u"IDS_QUOTED"), u"  padded  ");
    EXPECT_EQ(Value(file, u"IDS_EMPTY"), u"");
    EXPECT_EQ(Value(file, u"IDS_EQUALS"), u"a=b");
    EXPECT_EQ(Value(file, u"IDS_LATER"), u"merged");
    EXPECT_EQ(Value(file, u"KEY"), u"<none>");
    EXPECT_EQ(Value(file, u"IDS_COMMENTED"), u"<none>");
    EXPECT_EQ(Value(file, u"IDS_AFTER_BROKEN", u"Other"), u"<none>");  // the section before
    EXPECT_EQ(Value(file, u"IDS_AFTER_BROKEN", u"Broken"), u"<none>");
    EXPECT_EQ(Value(file, u"IDS_YES", u"Missing"), u"<none>");

    int number = -1;
    ASSERT_NE(Load("[S]\nCOUNT= 42 \nWORD=abc\n"), nullptr);
    EXPECT_EQ(get_value(file, u"S", u"COUNT", &number, u"%d", 1), 1);
    EXPECT_EQ(number, 42);
    EXPECT_EQ(get_value(file, u"S", u"WORD", &number, u"%f", 1), 0);
    EXPECT_EQ(get_value(file, u"S", u"WORD", &number, u"%s", 0), 0);
}

TEST_F(TdFileTest, ValuesAreCutAt1023CharactersWithoutOverflow) {
    const std::string exact(1023, 'a');
    const std::string longer = std::string(1023, 'b') + "cdef";
    // A pair cut in half would leave a lone high surrogate: the whole character goes.
    const std::string pair = std::string(1022, 'p') + "\xF0\x9F\x98\x80";
    ASSERT_NE(Load("[LangSupport]\nEXACT=" + exact + "\nLONGER=" + longer + "\nPAIR=" + pair),
              nullptr);

    struct {
        char16_t text[1024];
        char16_t guard[8];
    } out;
    std::fill(std::begin(out.guard), std::end(out.guard), u'#');
    ASSERT_EQ(get_value(file, u"LangSupport", u"EXACT", out.text, u"%s", 1), 1);
    EXPECT_EQ(std::u16string(out.text), std::u16string(1023, u'a'));
    ASSERT_EQ(get_value(file, u"LangSupport", u"LONGER", out.text, u"%s", 1), 1);
    EXPECT_EQ(std::u16string(out.text), std::u16string(1023, u'b'));
    EXPECT_EQ(out.guard[0], u'#');
    ASSERT_EQ(get_value(file, u"LangSupport", u"PAIR", out.text, u"%s", 1), 1);
    EXPECT_EQ(std::u16string(out.text), std::u16string(1022, u'p'));
    EXPECT_EQ(out.guard[0], u'#');
}

TEST_F(TdFileTest, MissingUnreadableAndGarbageFiles) {
    EXPECT_EQ(load_tdfile(u"C:\\Host\\Lang\\absent.ini"), nullptr);
    EXPECT_EQ(load_tdfile(u""), nullptr);
    EXPECT_EQ(load_tdfile(nullptr), nullptr);
    char16_t buffer[1024] = {};
    EXPECT_EQ(get_value(nullptr, u"LangSupport", u"IDS_YES", buffer, u"%s", 1), 0);
    close_tdfile(nullptr);

    // Bytes that are no text: no crash, and nothing that could pass for a key.
    ASSERT_NE(Load("\x01\xFE\x80\xC0\n[LangSupport]\nIDS_YES=\xC3\x28\xFF tail\n"), nullptr);
    EXPECT_EQ(Value(file, u"IDS_YES"), u"\uFFFD(\uFFFD tail");
    EXPECT_EQ(Value(file, u"IDS_NO"), u"<none>");

    // A UTF-16 file with an odd byte count loses the torn last character only.
    ASSERT_NE(Load(Utf16LeWithBom(u"[LangSupport]\nIDS_NO=No") + "x"), nullptr);
    EXPECT_EQ(Value(file, u"IDS_NO"), u"No");
}

}  // namespace
