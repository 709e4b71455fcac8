// Shell link files read from their bytes: the target the link object would hand out, and no
// link at all from bytes whose sizes or offsets lie.
#include "platform/shell_link_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "tests/support/shell_link_builder.h"

namespace {

using platform::ReadShellLink;
using testsupport::BuildShellLink;

std::string Damaged(std::string bytes, std::size_t at, std::uint32_t value, int width = 4) {
    std::string field;
    testsupport::PutLinkField(field, value, width);
    std::copy(field.begin(), field.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
    return bytes;
}

TEST(ShellLinkReader, ReadsWellFormedLinksAndRefusesLyingOrCutOnes) {
    const std::string full = BuildShellLink("C:\\a.exe", u"a", u"%x%", std::string(4, 'i'));
    const std::size_t info = 0x4C + 2 + 4, infoSize = 0x1C + 17 + 10;
    const struct {
        const char* what;
        std::string bytes;
        std::optional<std::u16string> target;
    } cases[] = {
        {"local path", BuildShellLink("C:\\App\\app.exe", u"app.exe"), u"C:\\App\\app.exe"},
        {"as written", full, u"%x%"},
        {"relative only", BuildShellLink("", u"..\\.\\..\\..\\Tools/x.exe"), u"C:\\Tools\\x.exe"},
        {"code page 1252", BuildShellLink("C:\\\x80\xE9.exe"), u"C:\\\u20AC\u00E9.exe"},
        {"cut to the path buffer", BuildShellLink(std::string("C:\\").append(300, 'x')),
         std::u16string(u"C:\\").append(256, u'x')},
        {"header size", Damaged(full, 0, 0x4D, 1), std::nullopt},
        {"class id", Damaged(full, 4, 0, 1), std::nullopt},
        {"link info past the end, nothing after it",
         Damaged(Damaged(full, 20, 0x283), info, 0xFFFFFF00u), std::nullopt},
        {"header larger than the link info", Damaged(full, info + 4, 0x100), std::nullopt},
        {"local path outside", Damaged(full, info + 16, 0x7FFFFFFFu), std::nullopt},
        {"suffix without terminator", Damaged(full, info + infoSize - 1, 'x', 1), std::nullopt},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const auto link = ReadShellLink(c.bytes);
        ASSERT_EQ(link.has_value(), c.target.has_value());
        if (link) {
            EXPECT_EQ(platform::LinkTargetPath(*link, u"C:\\Links\\a.lnk", 259), *c.target);
        }
    }
    // Cut anywhere before the extra blocks the link is refused; a cut block is left out.
    const std::size_t blocksAt = info + infoSize + 4, blockEnd = full.size() - 4;
    for (std::size_t size = 0; size < full.size(); ++size) {
        SCOPED_TRACE(size);
        const auto link = ReadShellLink(std::string_view(full).substr(0, size));
        ASSERT_EQ(link.has_value(), size >= blocksAt);
        if (link) {
            EXPECT_EQ(link->environmentTarget, size >= blockEnd ? u"%x%" : u"");
        }
    }
}

}  // namespace
