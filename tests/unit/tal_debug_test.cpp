// The trace logger: what the formatter makes of each conversion, the shape of a log line, the
// mode switch, and two threads writing at once.
#include "libs/talutils/tal_debug.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "libs/talutils/text_utils.h"
#include "platform/memory/memory_machine.h"

namespace {

using platform::memory::MemoryMachine;
using platform::memory::ScopedMachine;

TEST(TalFormatTest, FormatsEachConversionWithFlagsAndWidths) {
    const char16_t* const none = nullptr;
    const struct {
        std::u16string made;
        std::u16string expected;
    } cases[] = {
        {TalFormat(u"[%s] [%s] %s\u00e9", u"key", none, u"\u0416\u00fc"),
         u"[key] [(null)] \u0416\u00fc\u00e9"},
        {TalFormat(u"%d %i %d %d %u %u", -42, 7, 0, -2147483647 - 1, 4294967295u, 0u),
         u"-42 7 0 -2147483648 4294967295 0"},
        {TalFormat(u"%x %X %#X %#x %#X", 0xbeefu, 0xbeefu, 0x80070005u, 0x1fu, 0u),
         u"beef BEEF 0X80070005 0x1f 0"},
        {TalFormat(u"%ld %lu %lx %lX %c%c 100%%", -5, 6u, 0xabu, 0xabu, static_cast<int>(u'O'),
                   static_cast<int>(u'k')),
         u"-5 6 ab AB Ok 100%"},
        {TalFormat(u"%p %p", reinterpret_cast<void*>(0xabcdefu), static_cast<void*>(nullptr)),
         u"0000000000ABCDEF 0000000000000000"},
        {TalFormat(u"[%5d] [%-5d] [%05d] [%05d]", 42, 42, 42, -42),
         u"[   42] [42   ] [00042] [-0042]"},
        {TalFormat(u"[%08X] [%#010x] [%-6s] [%6s]", 0xABu, 0xABu, u"ab", u"ab"),
         u"[000000AB] [0x000000ab] [ab    ] [    ab]"},
        // A value wider than its field is never cut; '0' is ignored with '-' and for text.
        {TalFormat(u"[%2d]", 12345), u"[12345]"},
        {TalFormat(u"[%-05d] [%05s]", 7, u"x"), u"[7    ] [    x]"},
        // Broken conversions stand as written and take no argument: the 5 still reaches %d.
        {TalFormat(u"%q %d %-3y|%s", 5, u"next"), u"%q 5 %-3y|next"},
        {TalFormat(u"end %"), u"end %"},
        {TalFormat(u"%d%", 3), u"3%"},
        {TalFormat(nullptr), u""},
    };
    for (const auto& c : cases) EXPECT_EQ(talutils::ToUtf8(c.made), talutils::ToUtf8(c.expected));
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
    // The stamp and thread id in front are checked on the real trace file under Wine.
    EXPECT_EQ(machine.TraceMessages(),
              (std::vector<std::string>{"[vistrel] [error] SHGetSpecialFolderLocation_: 0X80004005",
                                        "two  lines"}));

    trace.SetMode(0);
    trace.Trace(u"off again");
    EXPECT_EQ(machine.TraceLines().size(), 2u);
}

TEST_F(TalDebugTest, TwoThreadsNeverInterleaveWithinALine) {
    CTalDebug trace(1);
    auto writer = [&trace](const char16_t* tag) {
        for (int i = 0; i < 400; ++i)
            trace.Trace(u"VistrelDlg:FillItemsProc: %s %d %s =>", tag, i, tag);
    };
    std::thread first(writer, u"alpha"), second(writer, u"omega");
    first.join();
    second.join();
    const std::vector<std::string> messages = machine.TraceMessages();
    EXPECT_EQ(messages.size(), 800u);
    const std::regex whole(R"(VistrelDlg:FillItemsProc: (alpha|omega) \d+ \1 =>)");
    for (const std::string& message : messages)
        EXPECT_TRUE(std::regex_match(message, whole)) << message;
}

}  // namespace
