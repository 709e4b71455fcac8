// The shared tools on the real machine under Wine: resolution to Wine's own files, version
// blocks, links, and the registry editor restarted at a key.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "libs/talelev/elevated_helper.h"
#include "libs/talutils/text_utils.h"
#include "platform/machine.h"
#include "platform/win32/win32_machine.h"
#include "tools/elevation_support.h"
#include "tools/file_details.h"
#include "tools/path_resolution.h"
#include "tools/regedit_navigation.h"
#include "tools/shortcut.h"

namespace {

using platform::kHkeyCurrentUser;
using talutils::EqualsNoCase;
using talutils::ToUtf8;

const std::u16string kTestRoot = u"Software\\VistrelTest\\Tools";
const std::u16string kEditorKey = u"Software\\Microsoft\\Windows\\CurrentVersion\\Applets\\Regedit";

std::u16string Expand(const char16_t* text) {
    std::u16string out(4096, u'\0');
    std::uint32_t n = platform::machine().environment().ExpandStrings(text, out.data(), 4096);
    EXPECT_GT(n, 0u);
    out.resize(n ? n - 1 : 0);
    return out;
}

// The details lines by label.
bool CollectLine(std::int32_t, std::int32_t labelId, const char16_t* value, std::int32_t,
                 void* context) {
    (*static_cast<std::map<std::int32_t, std::u16string>*>(context))[labelId] = value ? value : u"";
    return true;
}

// The test's keys are written and read through a direct helper of its own.
class ToolsOnWine : public testing::Test {
  protected:
    void SetUp() override {
        platform::win32::InstallWin32Machine();
        ResetPathResolutionTables();
        CElevatedHelperFactory::SetCreateFunction(nullptr);
        ASSERT_EQ(CElevatedHelperFactory::GetDirectHelper(&helper_), platform::kSOk);
    }
    void TearDown() override {
        helper_->Reg_DeleteKey(kHkeyCurrentUser, kTestRoot);
        helper_->Release();
        DestroyElevatedHelperSupport();
        ResetPathResolutionTables();
    }

    void SetString(const std::u16string& path, const char16_t* name, std::u16string_view text) {
        ASSERT_EQ(helper_->Reg_SetValue(kHkeyCurrentUser, path, name, text.data(),
                                        2 * text.size() + 2, platform::kRegSz, 1),
                  platform::kSOk);
    }
    std::optional<std::u16string> ReadString(const std::u16string& path, const char16_t* name) {
        std::vector<std::uint8_t> data;
        if (helper_->Reg_QueryValue(kHkeyCurrentUser, path, name, nullptr, data) < 0)
            return std::nullopt;
        std::u16string text(reinterpret_cast<const char16_t*>(data.data()), data.size() / 2);
        return text.substr(0, text.find(u'\0'));
    }

    IElevatedHelper* helper_ = nullptr;
};

TEST_F(ToolsOnWine, StoredFormsResolveToWinesOwnFiles) {
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
}

// A stored value of 4096 bytes with 500 blanks on the real file system: remembered answers give
// the step-by-step result. The times are printed against a bare baseline (the details of a plain
// path), not judged.
TEST_F(ToolsOnWine, ALongValueWithManyBlanksResolvesAsStepByStep) {
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
    std::map<std::int32_t, std::u16string> lines;
    const double baseline = milliseconds(
        100, [&] { GetFileDetails(u"%windir%\\notepad.exe", 0, &CollectLine, &lines, false); });
    std::u16string out[2];
    bool found[2] = {true, true};
    const double remembered =
        milliseconds(1, [&] { found[0] = ResolveCommandLine(text.c_str(), out[0]); });
    const double stepByStep =
        milliseconds(1, [&] { found[1] = ResolveCommandLine(text.c_str(), out[1], false); });
    const double details =
        milliseconds(3, [&] { GetFileDetails(text.c_str(), 0, &CollectLine, &lines, false); });
    EXPECT_FALSE(found[0]);
    EXPECT_EQ(found[1], found[0]);
    EXPECT_EQ(out[1], out[0]);
    std::printf(
        "[ timing ] details of 4096 bytes with 500 blanks: %.1f ms = %.0f x baseline "
        "(%.3f ms); resolution %.1f ms remembered, %.1f ms step by step\n",
        details, details / baseline, baseline, remembered, stepByStep);
}

TEST_F(ToolsOnWine, Kernel32HasAVersionBlockAndNotepadHasNone) {
    std::map<std::int32_t, std::u16string> kernel, notepad;
    EXPECT_EQ(GetFileDetails(u"%windir%\\system32\\kernel32.dll", 3, &CollectLine, &kernel, false),
              6);
    ASSERT_EQ(kernel.size(), 7u);
    EXPECT_EQ(kernel[kDetailsTextFile], u"kernel32.dll");
    EXPECT_NE(kernel[kDetailsTextFileVersion], u"0.0.0.0");
    EXPECT_FALSE(kernel[kDetailsTextPublisher].empty());
    EXPECT_FALSE(kernel[kDetailsTextDescription].empty());

    // Found by its bare name, so marked as doubtful.
    EXPECT_EQ(GetFileDetails(u"notepad.exe", 0, &CollectLine, &notepad, true), 0);
    ASSERT_EQ(notepad.size(), 5u);
    EXPECT_EQ(notepad.count(kDetailsTextMaybeWrong), 1u);
    EXPECT_TRUE(EqualsNoCase(notepad[kDetailsTextNoFileInfo], Expand(u"%windir%\\notepad.exe")));
}

TEST_F(ToolsOnWine, LinkToAnAbsolutePathResolvesToItsTarget) {
    const std::u16string link = Expand(u"%TEMP%\\vistrel_tools_test.lnk");
    const std::u16string target = Expand(u"%windir%\\system32\\kernel32.dll");
    // Writing the link needs COM on this thread; reading it initialises COM by itself.
    ASSERT_GE(platform::machine().shell().ComInitialize(), 0);
    ASSERT_GE(platform::machine().shell().CreateLink(link.c_str(), target.c_str()), 0);
    std::u16string out;
    EXPECT_TRUE(ResolveLink(link.c_str(), out));
    EXPECT_TRUE(EqualsNoCase(out, target)) << ToUtf8(out);
    EXPECT_EQ(platform::machine().files().RemoveFile(link.c_str()), platform::kErrorSuccess);
}

// Waits for an editor window other than the one given; null after the limit.
platform::WindowHandle WaitForEditor(std::uint32_t notProcess) {
    platform::Windows& windows = platform::machine().windows();
    for (int i = 0; i < 200; ++i) {
        platform::WindowHandle w = windows.Find(u"RegEdit_RegEdit", nullptr);
        if (w && windows.GetProcessId(w) != notProcess) return w;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return nullptr;
}

TEST_F(ToolsOnWine, GoToKeyWritesLastKeyAndRestartsTheEditor) {
    platform::Windows& windows = platform::machine().windows();
    platform::Processes& processes = platform::machine().processes();
    if (windows.Find(u"RegEdit_RegEdit", nullptr) != nullptr)
        GTEST_SKIP() << "an editor of someone else is running";
    const std::optional<std::u16string> previous = ReadString(kEditorKey, u"LastKey");
    CreateElevatedHelperSupport();

    const std::u16string first = kTestRoot + u"\\Nav", second = kTestRoot + u"\\Other";
    SetString(first, u"v", u"x");
    EXPECT_TRUE(GoToKey(kHkeyCurrentUser, first.c_str(), u"v"));
    EXPECT_EQ(ReadString(kEditorKey, u"LastKey"), u"Computer\\HKEY_CURRENT_USER\\" + first);
    platform::WindowHandle editor = WaitForEditor(0);
    ASSERT_NE(editor, nullptr);
    const std::uint32_t firstProcess = windows.GetProcessId(editor);
    ASSERT_NE(firstProcess, 0u);

    // With Wine's editor running, it is found by its window, ended and started anew.
    EXPECT_TRUE(GoToKey(kHkeyCurrentUser, second.c_str(), nullptr));
    EXPECT_EQ(ReadString(kEditorKey, u"LastKey"), u"Computer\\HKEY_CURRENT_USER\\" + second);
    editor = WaitForEditor(firstProcess);
    ASSERT_NE(editor, nullptr);
    // Ending a process takes effect a moment after TerminateProcess returns.
    for (int i = 0; i < 100 && processes.IsRunning(firstProcess); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(processes.IsRunning(firstProcess));
    EXPECT_EQ(processes.Terminate(windows.GetProcessId(editor)), platform::kErrorSuccess);

    if (previous)
        SetString(kEditorKey, u"LastKey", *previous);
    else
        helper_->Reg_DeleteValue(kHkeyCurrentUser, kEditorKey, u"LastKey");
}

}  // namespace
