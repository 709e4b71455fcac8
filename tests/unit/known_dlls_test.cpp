// Known DLLs on the memory machine: the string values are listed, "DllDirectory" is described
// as a folder and everything else as a library, and the category never offers Remove.
#include "collectors/autostart/known_dlls.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/module_objects.h"
#include "platform/memory/memory_machine.h"
#include "tests/unit/collector_test_support.h"
#include "tools/elevation_support.h"
#include "tools/file_details.h"
#include "tools/path_resolution.h"
#include "tools/registry_values.h"

namespace {

using namespace std::string_literals;
using collectortest::Bytes;
using collectortest::Line;
using platform::kHkeyLocalMachine;

constexpr char16_t kKnown[] = u"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\KnownDLLs";

// label: 0 when the value isn't listed; kDetailsTextPath for the folder, whose pane is that one
// line; kDetailsTextObject for a library, whose pane begins with it.
struct KnownCase {
    std::u16string name;
    std::uint32_t type;
    std::u16string data;
    std::int32_t label;
    std::u16string value;
};

class KnownDllsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ResetPathResolutionTables();
        machine.SetEnv(u"SystemRoot", u"C:\\WINDOWS");
        machine.SetSpecialFolder(platform::kCsidlWindows, u"C:\\WINDOWS");
        machine.SetSpecialFolder(platform::kCsidlSystem, u"C:\\WINDOWS\\system32");
        machine.AddFolder(u"C:\\WINDOWS\\system32");
        CreateElevatedHelperSupport();
    }
    void TearDown() override {
        DestroyElevatedHelperSupport();
        ResetPathResolutionTables();
    }

    platform::memory::MemoryMachine machine;
    platform::memory::ScopedMachine scoped{machine};
    CVistrelKnownDLLs known;
};

TEST_F(KnownDllsTest, StringValuesAreListedAndOnlyDllDirectoryIsAFolder) {
    constexpr std::int32_t kFolder = kDetailsTextPath, kFile = kDetailsTextObject;
    const KnownCase cases[] = {
        {u"kernel32", platform::kRegSz, u"kernel32.dll", kFile, u"kernel32.dll"},
        // Value names are case-blind, in the registry as in the test for the folder.
        {u"DLLDIRECTORY", platform::kRegExpandSz, u"%SystemRoot%\\system32", kFolder,
         u"C:\\WINDOWS\\system32"},
        {u"DllDirectory32", platform::kRegSz, u"%SystemRoot%\\x", kFile, u"%SystemRoot%\\x"},
        // The name the pane shows isn't "DllDirectory", so it isn't taken for the folder.
        {u"DllDirectory\0x"s, platform::kRegSz, u"x.dll", kFile, u"x.dll"},
        {u"", platform::kRegSz, u"ntdll.dll", kFile, u"ntdll.dll"},
        {u"Flags", platform::kRegDword, u"\1", 0, {}},
        {u"Multi", platform::kRegMultiSz, u"a.dll\0b.dll\0"s, 0, {}},
        {u"Blob", platform::kRegBinary, u"MZ", 0, {}},
    };
    for (const KnownCase& c : cases)
        machine.SetRaw(kHkeyLocalMachine, kKnown, c.name, c.type, Bytes(c.data + u'\0'));

    std::int32_t result = 0;
    const auto texts = collectortest::Texts(known, &result);
    int listed = 0;
    for (const KnownCase& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.name));
        std::int32_t at = 0;
        while (at < result && known.items[at].name != c.name) ++at;
        ASSERT_EQ(at < result, c.label != 0);
        if (c.label == 0) continue;
        ++listed;
        EXPECT_EQ(texts[at], VisibleRegName(c.name));
        std::vector<Line> lines = collectortest::Details(known, at);
        ASSERT_EQ(lines.size() > 1, c.label == kFile);
        EXPECT_EQ(lines[0], (Line{c.label, c.value}));
        EXPECT_EQ(known.GetActionMask(at), 3u);  // Refresh and Go to only, whatever the entry
    }
    EXPECT_EQ(result, listed);
    EXPECT_TRUE(collectortest::Details(known, result).empty());
}

TEST_F(KnownDllsTest, RemoveIsNeverOfferedNorDoneAndAMissingKeyLeavesOnlyRefresh) {
    std::int32_t result = 0;
    collectortest::Texts(known, &result);
    EXPECT_EQ(result, kEnumNotFound);
    EXPECT_EQ(known.GetActionMask(-1), 1u);

    machine.SetString(kHkeyLocalMachine, kKnown, u"user32", u"user32.dll");
    EXPECT_EQ(known.EnumerateItems(nullptr, true, nullptr), 1);
    EXPECT_EQ(known.GetActionCount(), 2);
    EXPECT_EQ(known.GetActionTextId(2), -1);
    EXPECT_EQ(known.GetActionMask(-1), 3u);
    resultFlags flags;
    EXPECT_FALSE(known.DoAction(2, 0, &flags));
    EXPECT_EQ(flags.succeeded, 1);
    EXPECT_TRUE(machine.HasValue(kHkeyLocalMachine, kKnown, u"user32"));
}

}  // namespace
