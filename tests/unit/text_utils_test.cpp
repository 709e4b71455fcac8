// Wide text conversions: UTF-8 round trips, malformed input, case folding and _wtoi.
#include "libs/talutils/text_utils.h"

#include <gtest/gtest.h>

using namespace talutils;

TEST(TextUtils, Utf8RoundTripsAndMalformedInput) {
    const std::u16string text = u"a\u00e9\u4e2d\U0001F600z";
    EXPECT_EQ(FromUtf8(ToUtf8(text)), text);
    EXPECT_EQ(ToUtf8(u"\u00e9"), "\xC3\xA9");
    // Malformed input becomes replacement characters.
    EXPECT_EQ(FromUtf8(std::string("a\xFF") + "b"), u"a\uFFFDb");
    EXPECT_EQ(FromUtf8("\xC3"), u"\uFFFD");                           // cut sequence
    EXPECT_EQ(FromUtf8("\xC0\xAF"), u"\uFFFD\uFFFD");                 // overlong
    EXPECT_EQ(ToUtf8(std::u16string(1, u'\xD800')), "\xEF\xBF\xBD");  // lone surrogate
}

TEST(TextUtils, CaseInsensitiveComparisonsAndNumbers) {
    EXPECT_TRUE(EqualsNoCase(u"Software\\Microsoft", u"SOFTWARE\\microsoft"));
    EXPECT_TRUE(EqualsNoCase(u"\u00e9t\u00e9", u"\u00c9T\u00c9"));
    EXPECT_TRUE(EqualsNoCase(u"\u0434\u043e\u043c", u"\u0414\u041e\u041c"));
    EXPECT_FALSE(EqualsNoCase(u"abc", u"abd"));
    EXPECT_TRUE(StartsWithNoCase(u"\\SystemRoot\\x", u"\\systemroot"));
    EXPECT_FALSE(StartsWithNoCase(u"\\Sys", u"\\systemroot"));
    EXPECT_TRUE(EndsWithNoCase(u"a.LNK", u".lnk"));
    // ParseInt follows _wtoi.
    EXPECT_EQ(ParseInt(u"  42)"), 42);
    EXPECT_EQ(ParseInt(u"-7"), -7);
    EXPECT_EQ(ParseInt(u"x1"), 0);
    EXPECT_EQ(ParseInt(u""), 0);
    EXPECT_EQ(Decimal(-12), u"-12");
}
