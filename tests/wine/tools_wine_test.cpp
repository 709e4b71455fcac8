// Path resolution on the real machine under Wine: the stored forms of a command reach Wine's own
// files through its real search path, folders and variables; a long value with many blanks
// resolves as the step-by-step walk does.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <string>

#include "libs/talutils/text_utils.h"
#include "platform/machine.h"
#include "platform/win32/win32_machine.h"
#include "tools/file_details.h"
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

bool CountLine(std::int32_t, std::int32_t, const char16_t*, std::int32_t, void* lines) {
    ++*static_cast<int*>(lines);
    return true;
}

// A stored value of 4096 bytes with 500 blanks on the real file system: remembered answers give
// the step-by-step result. The times are printed against a bare baseline (the details of a plain
// path), not judged.
TEST(ToolsOnWine, ALongValueWithManyBlanksResolvesAsStepByStep) {
    platform::win32::InstallWin32Machine();
    ResetPathResolutionTables();
    std::u16string text;
    for (int word = 0; word < 500; ++word) text += u"xyz ";
    text.append(2047 - text.size(), u'q');
    const auto milliseconds = [](int rounds, auto&& work) {
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < rounds; ++i) work();
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                   .count() /
               rounds;
    };
    int lines = 0;
    const double baseline = milliseconds(
        100, [&] { GetFileDetails(u"%windir%\\notepad.exe", 0, &CountLine, &lines, false); });
    std::u16string out[2];
    bool found[2] = {true, true};
    const double remembered =
        milliseconds(1, [&] { found[0] = ResolveCommandLine(text.c_str(), out[0]); });
    const double stepByStep =
        milliseconds(1, [&] { found[1] = ResolveCommandLine(text.c_str(), out[1], false); });
    const double details =
        milliseconds(3, [&] { GetFileDetails(text.c_str(), 0, &CountLine, &lines, false); });
    EXPECT_FALSE(found[0]);
    EXPECT_EQ(found[1], found[0]);
    EXPECT_EQ(out[1], out[0]);
    std::printf(
        "[ timing ] details of 4096 bytes with 500 blanks: %.1f ms = %.0f x baseline "
        "(%.3f ms); resolution %.1f ms remembered, %.1f ms step by step\n",
        details, details / baseline, baseline, remembered, stepByStep);
    ResetPathResolutionTables();
}

}  // namespace
