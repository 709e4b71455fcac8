// The trace logger: what the formatter makes of each conversion, the shape of a log line, the
// mode switch, and two threads writing at once.
#include "libs/talutils/tal_debug.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "libs/talutils/text_utils.h"
#include "platform/memory/memory_machine.h"

namespace {

using platform::memory::MemoryMachine;
using platform::memory::ScopedMachine;

std::string U8(const std::u16string& text) {
    return talutils::ToUtf8(text);
}

TEST(TalFormatTest, FormatsEachConversionWithFlagsAndWidths) {
    EXPECT_EQ(U8(TalFormat(u"[%s] [%s]", u"key", static_cast<const char16_t*>(nullptr))),
              "[key] [(null)]");
    EXPECT_EQ(U8(TalFormat(u"%d %i %d", -42, 7, 0)), "-42 7 0");
    EXPECT_EQ(U8(TalFormat(u"%d", -2147483647 - 1)), "-2147483648");
    EXPECT_EQ(U8(TalFormat(u"%u %u", 4294967295u, 0u)), "4294967295 0");
    EXPECT_EQ(U8(TalFormat(u"%x %X", 0xbeefu, 0xbeefu)), "beef BEEF");
    EXPECT_EQ(U8(TalFormat(u"%#X %#x %#X", 0x80070005u, 0x1fu, 0u)), "0X80070005 0x1f 0");
    EXPECT_EQ(U8(TalFormat(u"%ld %lu %lx %lX", -5, 6u, 0xabu, 0xabu)), "-5 6 ab AB");
    EXPECT_EQ(U8(TalFormat(u"%c%c", static_cast<int>(u'O'), static_cast<int>(u'k'))), "Ok");
    EXPECT_EQ(U8(TalFormat(u"100%%")), "100%");
}

TEST(TalFormatTest, HonoursWidthPaddingAndAlignment) {
    EXPECT_EQ(U8(TalFormat(u"[%5d] [%-5d] [%05d] [%05d]", 42, 42, 42, -42)),
              "[   42] [42   ] [00042] [-0042]");
    EXPECT_EQ(U8(TalFormat(u"[%08X] [%#010x] [%-6s] [%6s]", 0xABu, 0xABu, u"ab", u"ab")),
              "[000000AB] [0x000000ab] [ab    ] [    ab]");
    // A value wider than its field is never cut.
    EXPECT_EQ(U8(TalFormat(u"[%2d]", 12345)), "[12345]");
    // '0' is ignored with '-' and for text.
    EXPECT_EQ(U8(TalFormat(u"[%-05d] [%05s]", 7, u"x")), "[7    ] [    x]");
}

TEST(TalFormatTest, PointersAreSixteenUpperCaseDigits) {
    EXPECT_EQ(U8(TalFormat(u"%p", reinterpret_cast<void*>(0xabcdefu))), "0000000000ABCDEF");
    EXPECT_EQ(U8(TalFormat(u"%p", static_cast<void*>(nullptr))), "0000000000000000");
}

TEST(TalFormatTest, BrokenFormatsStandAsWrittenAndTakeNoArgument) {
    // The unknown conversion takes no argument, so the 5 still reaches %d.
    EXPECT_EQ(U8(TalFormat(u"%q %d", 5)), "%q 5");
    EXPECT_EQ(U8(TalFormat(u"%-3y|%s", u"next")), "%-3y|next");
    EXPECT_EQ(U8(TalFormat(u"end %")), "end %");
    EXPECT_EQ(U8(TalFormat(u"%d%", 3)), "3%");
    EXPECT_EQ(U8(TalFormat(nullptr)), "");
    // Non-ASCII text passes through unchanged.
    EXPECT_EQ(TalFormat(u"%s\u00e9", u"\u0416\u00fc"), u"\u0416\u00fc\u00e9");
}

class TalDebugTest : public ::testing::Test {
  protected:
    MemoryMachine machine;
    ScopedMachine scope{machine};
};

TEST_F(TalDebugTest, WritesOneStampedLinePerCallOnlyWhenOn) {
    CTalDebug trace(0);
    EXPECT_EQ(trace.Mode(), 0);
    trace.Trace(u"[vistrel] [debug] hidden %d", 1);
    EXPECT_TRUE(machine.TraceLines().empty());

    trace.SetMode(3);
    EXPECT_EQ(trace.Mode(), 3);
    trace.Trace(u"[vistrel] [error] SHGetSpecialFolderLocation_: %#X", 0x80004005u);
    trace.Trace(u"two\r\nlines");
    const std::vector<std::string> lines = machine.TraceLines();
    ASSERT_EQ(lines.size(), 2u);
    const std::regex shape(R"(^\d\d:[0-5]\d:[0-5]\d\.\d\d\d \[\d+\] (.*)$)");
    std::smatch match;
    ASSERT_TRUE(std::regex_match(lines[0], match, shape)) << lines[0];
    EXPECT_EQ(match[1].str(), "[vistrel] [error] SHGetSpecialFolderLocation_: 0X80004005");
    EXPECT_EQ(machine.TraceMessages(),
              (std::vector<std::string>{"[vistrel] [error] SHGetSpecialFolderLocation_: 0X80004005",
                                        "two  lines"}));

    trace.SetMode(0);
    trace.Trace(u"off again");
    EXPECT_EQ(machine.TraceLines().size(), 2u);
}

TEST_F(TalDebugTest, TwoThreadsNeverInterleaveWithinALine) {
    CTalDebug trace(1);
    constexpr int kLines = 400;
    auto writer = [&trace](const char16_t* tag) {
        for (int i = 0; i < kLines; ++i)
            trace.Trace(u"VistrelDlg:FillItemsProc: %s %d %s =>", tag, i, tag);
    };
    std::thread first(writer, u"alpha");
    std::thread second(writer, u"omega");
    first.join();
    second.join();

    std::vector<std::string> messages = machine.TraceMessages();
    ASSERT_EQ(messages.size(), 2u * kLines);
    std::vector<std::string> expected;
    for (const char* tag : {"alpha", "omega"})
        for (int i = 0; i < kLines; ++i)
            expected.push_back(std::string("VistrelDlg:FillItemsProc: ") + tag + " " +
                               std::to_string(i) + " " + tag + " =>");
    std::sort(messages.begin(), messages.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(messages, expected);
}

}  // namespace
