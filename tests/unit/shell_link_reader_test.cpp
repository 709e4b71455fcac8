// Shell link files read from their bytes: the target the link object would hand out, and no
// link at all from bytes whose sizes or offsets lie.
#include "platform/shell_link_reader.h"

#include <gtest/gtest.h>

#include <functional>

#include "tests/support/shell_link_builder.h"

namespace {

using namespace testsupport;
using platform::LinkTargetPath;
using platform::ReadShellLink;

void Put(std::string& bytes, std::size_t at, std::uint32_t value, int width = 4) {
    for (int i = 0; i < width; ++i) bytes[at + i] = static_cast<char>(value >> (8 * i) & 0xFF);
}

TEST(ShellLinkReader, WellFormedLinksGiveTheTargetTheLinkObjectWould) {
    const struct {
        const char* what;
        ShellLinkParts parts;
        std::u16string target;
    } cases[] = {
        {"local path",
         {std::string(4, '\x01'), "C:\\App\\app.exe", u"app.exe", u"/tray", u""},
         u"C:\\App\\app.exe"},
        {"as written",
         {"", "C:\\Windows\\notepad.exe", u"", u"", u"%windir%\\notepad.exe"},
         u"%windir%\\notepad.exe"},
        {"relative only", {"", "", u"..\\.\\..\\..\\Tools/x.exe", u"", u""}, u"C:\\Tools\\x.exe"},
        {"code page 1252", {"", "C:\\\x80\xE9.exe", u"", u"", u""}, u"C:\\\u20AC\u00E9.exe"},
        {"cut to the path buffer",
         {"", "C:\\" + std::string(300, 'x'), u"", u"", u""},
         u"C:\\" + std::u16string(256, u'x')},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const auto link = ReadShellLink(BuildShellLink(c.parts));
        ASSERT_TRUE(link.has_value());
        EXPECT_EQ(LinkTargetPath(*link, u"C:\\Links\\a.lnk", 259), c.target);
        EXPECT_EQ(link->arguments, c.parts.arguments);
    }
}

TEST(ShellLinkReader, LyingOrCutLinksAreRefused) {
    const std::string good =
        BuildShellLink({std::string(4, '\x01'), "C:\\a.exe", u"a", u"", u"%x%"});
    const std::size_t info = kShellLinkInfoAt + 2 + 4, infoSize = 0x1C + 17 + 10;
    const struct {
        const char* what;
        std::function<void(std::string&)> damage;
    } cases[] = {
        {"header size", [](std::string& s) { s[0] = 0x4D; }},
        {"class id", [](std::string& s) { s[4] ^= 1; }},
        {"link info past the end, nothing after it",
         [=](std::string& s) {
             Put(s, info, 0xFFFFFF00u);
             s[20] &= ~0x08;
         }},
        {"link info smaller than a header", [=](std::string& s) { Put(s, info, 8); }},
        {"header larger than the link info", [=](std::string& s) { Put(s, info + 4, 0x100); }},
        {"local path outside", [=](std::string& s) { Put(s, info + 16, 0x7FFFFFFFu); }},
        {"suffix without terminator", [=](std::string& s) { s[info + infoSize - 1] = 'x'; }},
        {"counted string past the end",
         [=](std::string& s) { Put(s, info + infoSize, 0xFFFF, 2); }},
    };
    ASSERT_TRUE(ReadShellLink(good).has_value());
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::string bytes = good;
        c.damage(bytes);
        EXPECT_FALSE(ReadShellLink(bytes).has_value());
    }
    // Cut anywhere before the extra blocks the link is refused; a cut block is left out.
    const std::size_t blocksAt = info + infoSize + 4, blockEnd = good.size() - 4;
    for (std::size_t size = 0; size < good.size(); ++size) {
        SCOPED_TRACE(size);
        const auto link = ReadShellLink(std::string_view(good).substr(0, size));
        ASSERT_EQ(link.has_value(), size >= blocksAt);
        if (link) {
            EXPECT_EQ(link->environmentTarget, size >= blockEnd ? u"%x%" : u"");
        }
    }
}

}  // namespace
