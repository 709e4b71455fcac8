// The shared tools on the real machine under Wine: resolution to Wine's own files, version
// blocks, links, removal through the direct helper, and the registry editor restarted at a key.
#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "libs/talelev/elevated_helper.h"
#include "libs/talutils/text_utils.h"
#include "platform/machine.h"
#include "platform/unique_handle.h"
#include "platform/win32/win32_machine.h"
#include "sources/plugin.h"
#include "tools/elevation_support.h"
#include "tools/file_details.h"
#include "tools/path_resolution.h"
#include "tools/regedit_navigation.h"
#include "tools/registry_tools.h"
#include "tools/shortcut.h"

namespace {

using platform::kHkeyCurrentUser;
using talutils::EqualsNoCase;
using talutils::ToUtf8;

constexpr const char16_t* kTestRoot = u"Software\\VistrelTest\\Tools";
constexpr const char16_t* kEditorKey =
    u"Software\\Microsoft\\Windows\\CurrentVersion\\Applets\\Regedit";

class ToolsOnWine : public testing::Test {
  protected:
    void SetUp() override {
        platform::win32::InstallWin32Machine();
        ResetPathResolutionTables();
        CElevatedHelperFactory::SetCreateFunction(nullptr);
    }
    void TearDown() override {
        platform::machine().registry().DeleteTree(kHkeyCurrentUser, kTestRoot);
        DestroyElevatedHelperSupport();
        ResetPathResolutionTables();
    }

    static std::u16string Folder(int csidl) {
        platform::SpecialFolder folder = platform::machine().shell().GetSpecialFolder(csidl);
        EXPECT_TRUE(folder.pathFound);
        return folder.path + u"\\";
    }

    static std::u16string Expand(const char16_t* text) {
        std::u16string out(4096, u'\0');
        std::uint32_t n = platform::machine().environment().ExpandStrings(text, out.data(), 4096);
        EXPECT_GT(n, 0u);
        out.resize(n ? n - 1 : 0);
        return out;
    }

    static void SetString(const char16_t* path, const char16_t* name, std::u16string_view text) {
        platform::UniqueRegKey key;
        ASSERT_EQ(platform::machine().registry().CreateKey(kHkeyCurrentUser, path,
                                                           platform::kKeyAllAccess, key.put()),
                  platform::kErrorSuccess);
        ASSERT_EQ(platform::machine().registry().SetValue(
                      key.get(), name, platform::kRegSz, text.data(),
                      static_cast<std::uint32_t>(text.size() * 2 + 2)),
                  platform::kErrorSuccess);
    }

    static bool KeyExists(const std::u16string& path) {
        platform::UniqueRegKey key;
        return platform::machine().registry().OpenKey(kHkeyCurrentUser, path.c_str(),
                                                      platform::kKeyRead,
                                                      key.put()) == platform::kErrorSuccess;
    }

    static std::optional<std::u16string> ReadString(const char16_t* path, const char16_t* name) {
        platform::UniqueRegKey key;
        if (platform::machine().registry().OpenKey(kHkeyCurrentUser, path, platform::kKeyRead,
                                                   key.put()) != platform::kErrorSuccess)
            return std::nullopt;
        char16_t buffer[2048] = {};
        std::uint32_t bytes = sizeof(buffer) - 2;
        if (platform::machine().registry().QueryValue(key.get(), name, nullptr, buffer, &bytes) !=
            platform::kErrorSuccess)
            return std::nullopt;
        return std::u16string(buffer);
    }
};

TEST_F(ToolsOnWine, StoredFormsResolveToWinesOwnFiles) {
    const std::u16string windows = Folder(platform::kCsidlWindows);
    const std::u16string system = Folder(platform::kCsidlSystem);
    std::u16string out;

    ASSERT_TRUE(ResolveCommandLine(u"notepad", out));
    EXPECT_TRUE(EqualsNoCase(out, windows + u"notepad.exe")) << ToUtf8(out);

    ASSERT_TRUE(ResolveCommandLine(u"\\SystemRoot\\System32\\kernel32.dll", out));
    EXPECT_TRUE(EqualsNoCase(out, Expand(u"%windir%") + u"\\System32\\kernel32.dll"))
        << ToUtf8(out);

    ASSERT_TRUE(ResolveCommandLine(u"%windir%\\notepad.exe /p file.txt", out));
    EXPECT_TRUE(EqualsNoCase(out, Expand(u"%windir%\\notepad.exe"))) << ToUtf8(out);

    const std::u16string quoted = u"\"" + system + u"notepad.exe\" -x";
    ASSERT_TRUE(ResolveCommandLine(quoted.c_str(), out));
    EXPECT_TRUE(EqualsNoCase(out, system + u"notepad.exe")) << ToUtf8(out);

    EXPECT_FALSE(ResolveCommandLine(u"C:\\no\\such\\file.exe -a", out));
    EXPECT_EQ(out, u"C:\\no\\such\\file.exe -a");
}

struct Lines {
    std::vector<std::int32_t> ids;
    std::vector<std::u16string> values;
    std::u16string Value(std::int32_t id) const {
        for (std::size_t i = 0; i < ids.size(); ++i)
            if (ids[i] == id) return values[i];
        return u"<missing>";
    }
};

bool CollectLine(std::int32_t, std::int32_t labelId, const char16_t* value, std::int32_t,
                 void* context) {
    auto* lines = static_cast<Lines*>(context);
    lines->ids.push_back(labelId);
    lines->values.push_back(value ? value : u"");
    return true;
}

TEST_F(ToolsOnWine, Kernel32HasAVersionBlockAndNotepadHasNone) {
    Lines kernel;
    EXPECT_EQ(GetFileDetails(u"%windir%\\system32\\kernel32.dll", 3, &CollectLine, &kernel, false),
              6);
    ASSERT_EQ(kernel.ids.size(), 7u);
    EXPECT_EQ(kernel.Value(kDetailsTextFile), u"kernel32.dll");
    EXPECT_NE(kernel.Value(kDetailsTextFileVersion), u"0.0.0.0");
    EXPECT_FALSE(kernel.Value(kDetailsTextPublisher).empty());
    EXPECT_FALSE(kernel.Value(kDetailsTextDescription).empty());

    Lines notepad;
    EXPECT_EQ(GetFileDetails(u"notepad.exe", 0, &CollectLine, &notepad, true), 0);
    ASSERT_EQ(notepad.ids.size(), 5u);
    EXPECT_EQ(notepad.ids[2], kDetailsTextMaybeWrong);
    EXPECT_EQ(notepad.ids[4], kDetailsTextNoFileInfo);
    EXPECT_TRUE(EqualsNoCase(notepad.values[4], Folder(platform::kCsidlWindows) + u"notepad.exe"));
}

TEST_F(ToolsOnWine, LinkToAnAbsolutePathResolvesToItsTarget) {
    std::u16string temp;
    ASSERT_TRUE(platform::machine().environment().GetVariable(u"TEMP", &temp));
    const std::u16string link = temp + u"\\vistrel_tools_test.lnk";
    const std::u16string target = Folder(platform::kCsidlSystem) + u"kernel32.dll";
    // Writing the link needs COM on this thread; reading it initialises COM by itself.
    ASSERT_GE(platform::machine().shell().ComInitialize(), 0);
    ASSERT_GE(platform::machine().shell().CreateLink(link.c_str(), target.c_str()), 0);

    std::u16string out;
    EXPECT_TRUE(ResolveLink(link.c_str(), out));
    EXPECT_TRUE(EqualsNoCase(out, target)) << ToUtf8(out);

    Lines lines;
    EXPECT_EQ(GetFileDetails(link.c_str(), 0, &CollectLine, &lines, false), 6);
    EXPECT_EQ(lines.Value(kDetailsTextObject), link);
    EXPECT_TRUE(EqualsNoCase(lines.Value(kDetailsTextPath), target));
    EXPECT_EQ(platform::machine().files().RemoveFile(link.c_str()), platform::kErrorSuccess);
}

TEST_F(ToolsOnWine, DirectHelperRemovesExactlyTheValueAndTheKeyWithItsSubtree) {
    const std::u16string root(kTestRoot);
    SetString((root + u"\\Del\\Sub\\Deep").c_str(), u"v", u"deep");
    SetString((root + u"\\Del").c_str(), u"v", u"top");
    SetString((root + u"\\Keep").c_str(), u"Remove", u"1");
    SetString((root + u"\\Keep").c_str(), u"Stay", u"2");
    CreateElevatedHelperSupport();
    CVistrelPlugin source;
    IElevatedHelper* helper = GetHelperForSource(&source);
    ASSERT_NE(helper, nullptr);

    EXPECT_TRUE(DeleteRegKey(helper, kHkeyCurrentUser, (root + u"\\Del").c_str()));
    EXPECT_FALSE(KeyExists(root + u"\\Del"));
    EXPECT_TRUE(KeyExists(root + u"\\Keep"));
    EXPECT_FALSE(DeleteRegKey(helper, kHkeyCurrentUser, (root + u"\\Del").c_str()));

    EXPECT_TRUE(DeleteRegValue(helper, kHkeyCurrentUser, (root + u"\\Keep").c_str(), u"Remove"));
    EXPECT_FALSE(ReadString((root + u"\\Keep").c_str(), u"Remove").has_value());
    EXPECT_EQ(ReadString((root + u"\\Keep").c_str(), u"Stay"), u"2");
}

TEST_F(ToolsOnWine, OversizeValueEndsTheRealWalk) {
    const std::u16string path = std::u16string(kTestRoot) + u"\\Walk";
    SetString(path.c_str(), u"A", u"first");
    SetString(path.c_str(), u"B", std::u16string(3000, u'b'));
    SetString(path.c_str(), u"C", u"behind");
    platform::UniqueRegKey key;
    ASSERT_EQ(platform::machine().registry().OpenKey(kHkeyCurrentUser, path.c_str(),
                                                     platform::kKeyRead, key.put()),
              platform::kErrorSuccess);
    std::vector<std::u16string> names;
    auto collect = [](const char16_t* name, const void*, std::uint32_t, std::uint32_t,
                      void* context) {
        static_cast<std::vector<std::u16string>*>(context)->push_back(name);
        return true;
    };
    EXPECT_TRUE(EnumRegValues(key.get(), collect, &names));
    EXPECT_EQ(names, std::vector<std::u16string>{u"A"});
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
    if (windows.Find(u"RegEdit_RegEdit", nullptr) != nullptr)
        GTEST_SKIP() << "an editor of someone else is running";
    const std::optional<std::u16string> previous = ReadString(kEditorKey, u"LastKey");
    CreateElevatedHelperSupport();

    const std::u16string keyPath = std::u16string(kTestRoot) + u"\\Nav";
    SetString(keyPath.c_str(), u"v", u"x");
    EXPECT_TRUE(GoToKey(kHkeyCurrentUser, keyPath.c_str(), u"v"));
    EXPECT_EQ(ReadString(kEditorKey, u"LastKey"), u"Computer\\HKEY_CURRENT_USER\\" + keyPath);
    platform::WindowHandle first = WaitForEditor(0);
    ASSERT_NE(first, nullptr);
    const std::uint32_t firstProcess = windows.GetProcessId(first);
    ASSERT_NE(firstProcess, 0u);

    // With the editor running it is ended and started anew.
    const std::u16string other = std::u16string(kTestRoot) + u"\\Other";
    EXPECT_TRUE(GoToKey(kHkeyCurrentUser, other.c_str(), nullptr));
    EXPECT_EQ(ReadString(kEditorKey, u"LastKey"), u"Computer\\HKEY_CURRENT_USER\\" + other);
    platform::WindowHandle second = WaitForEditor(firstProcess);
    ASSERT_NE(second, nullptr);
    const std::uint32_t secondProcess = windows.GetProcessId(second);
    // Ending a process takes effect a moment after TerminateProcess returns.
    for (int i = 0; i < 100 && platform::machine().processes().IsRunning(firstProcess); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(platform::machine().processes().IsRunning(firstProcess));
    EXPECT_EQ(platform::machine().processes().Terminate(secondProcess), platform::kErrorSuccess);

    if (previous) {
        SetString(kEditorKey, u"LastKey", *previous);
    } else {
        platform::UniqueRegKey key;
        if (platform::machine().registry().OpenKey(kHkeyCurrentUser, kEditorKey,
                                                   platform::kKeyAllAccess,
                                                   key.put()) == platform::kErrorSuccess)
            platform::machine().registry().DeleteValue(key.get(), u"LastKey");
    }
}

}  // namespace
