// Profile sections: the lines of an INI file's section as the system's profile calls hand them
// over, with the count and closing NULs of their buffer rules.
#include <string>

#include "tests/contract/contract_fixture.h"

namespace contract {
namespace {

using ProfileContract = PlatformContract;

TEST_P(ProfileContract, SectionLinesComeNulSeparatedWithTheirCount) {
    WriteFile(u"t.ini",
              "[other]\r\nrun=no.exe\r\n[Boot]\r\n; note=x.exe\r\n  Shell = e.exe , f.exe "
              "\r\nSCRNSAVE.EXE=s.scr"
              "\r\n\r\n[next]\r\nx=1");
    const std::u16string file = InFolder(u"t.ini");
    const std::u16string absent = InFolder(u"absent.ini");
    const struct {
        const char16_t* file;
        const char16_t* section;
        std::uint32_t chars;
        std::uint32_t count;
        std::u16string content;  // the buffer's start
    } cases[] = {
        {file.c_str(), u"boot", 100, 39,
         std::u16string(u"Shell=e.exe , f.exe\0SCRNSAVE.EXE=s.scr\0\0", 40)},
        {file.c_str(), u"next", 100, 4, std::u16string(u"x=1\0\0", 5)},
        // Lines that don't fit are cut and closed by two NULs, counted as chars - 2.
        {file.c_str(), u"boot", 8, 6, std::u16string(u"Shell=\0\0", 8)},
        {file.c_str(), u"missing", 100, 0, std::u16string(u"\0\0", 2)},
        {absent.c_str(), u"boot", 100, 0, std::u16string(u"\0\0", 2)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(Narrow(c.section));
        std::u16string buffer(c.chars, u'#');
        const std::uint32_t count =
            files().ReadProfileSection(c.file, c.section, buffer.data(), c.chars);
        EXPECT_EQ(count, c.count);
        EXPECT_EQ(buffer.substr(0, c.content.size()), c.content);
    }
}

INSTANTIATE_TEST_SUITE_P(Backends, ProfileContract, testing::ValuesIn(AllBackends()), BackendName);

}  // namespace
}  // namespace contract
