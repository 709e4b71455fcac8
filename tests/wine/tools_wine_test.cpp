// Path resolution on the real machine under Wine: the stored forms of a command reach Wine's own
// files through its real search path, folders and variables.
#include <gtest/gtest.h>

#include <string>

#include "libs/talutils/text_utils.h"
#include "platform/machine.h"
#include "platform/win32/win32_machine.h"
#include "tools/path_resolution.h"

namespace {

using talutils::EqualsNoCase;
using talutils::ToUtf8;

std::u16string Expand(const char16_t* text) {
    std::u16string out(4096, u'\0');
    std::uint32_t n = platform::machine().environment().ExpandStrings(text, out.data(), 4096);
    EXPECT_GT(n, 0u);
    out.resize(n ? n - 1 : 0);
    return out;
}

TEST(ToolsOnWine, StoredFormsResolveToWinesOwnFiles) {
    platform::win32::InstallWin32Machine();
    ResetPathResolutionTables();
    const struct {
        const char16_t* text;
        const char16_t* file;
    } cases[] = {
        {u"notepad", u"%windir%\\notepad.exe"},
        {u"\\SystemRoot\\System32\\kernel32.dll", u"%windir%\\System32\\kernel32.dll"},
        {u"%windir%\\notepad.exe /p file.txt", u"%windir%\\notepad.exe"},
    };
    for (const auto& c : cases) {
        std::u16string out;
        EXPECT_TRUE(ResolveCommandLine(c.text, out)) << ToUtf8(c.text);
        EXPECT_TRUE(EqualsNoCase(out, Expand(c.file))) << ToUtf8(out);
    }
    ResetPathResolutionTables();
}

}  // namespace
