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

struct KnownCase {
    std::u16string name;
    std::uint32_t type;
    std::string bytes;
    bool listed;
    // The whole pane for a folder; for a library only its first line, the object.
    std::vector<Line> lines;
    bool folder = false;
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
    const KnownCase cases[] = {
        {u"kernel32",
         platform::kRegSz,
         Bytes(u"kernel32.dll\0"s),
         true,
         {{kDetailsTextObject, u"kernel32.dll"}}},
        // Value names are case-blind, in the registry as in the test for the folder.
        {u"DLLDIRECTORY",
         platform::kRegExpandSz,
         Bytes(u"%SystemRoot%\\system32\0"s),
         true,
         {{kDetailsTextPath, u"C:\\WINDOWS\\system32"}},
         true},
        {u"DllDirectory32",
         platform::kRegSz,
         Bytes(u"%SystemRoot%\\SysWOW64\0"s),
         true,
         {{kDetailsTextObject, u"%SystemRoot%\\SysWOW64"}}},
        // The name the pane shows isn't "DllDirectory", so it isn't taken for the folder.
        {u"DllDirectory\0x"s,
         platform::kRegSz,
         Bytes(u"x.dll\0"s),
         true,
         {{kDetailsTextObject, u"x.dll"}}},
        {u"", platform::kRegSz, Bytes(u"ntdll.dll"s), true, {{kDetailsTextObject, u"ntdll.dll"}}},
        {u"Flags", platform::kRegDword, "\1\0\0\0"s, false, {}},
        {u"Multi", platform::kRegMultiSz, Bytes(u"a.dll\0b.dll\0\0"s), false, {}},
        {u"Blob", platform::kRegBinary, "MZ", false, {}},
    };
    for (const KnownCase& c : cases)
        machine.SetRaw(kHkeyLocalMachine, kKnown, c.name, c.type, c.bytes);

    std::int32_t result = 0;
    const auto texts = collectortest::Texts(known, &result);
    int listed = 0;
    for (const KnownCase& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.name));
        listed += c.listed;
        std::size_t at = 0;
        while (at < known.items.size() && known.items[at].name != c.name) ++at;
        ASSERT_EQ(at < known.items.size(), c.listed);
        if (!c.listed) continue;
        EXPECT_EQ(texts[at], VisibleRegName(c.name));
        std::vector<Line> lines = collectortest::Details(known, static_cast<std::int32_t>(at));
        if (c.folder) {
            EXPECT_EQ(lines, c.lines);
            EXPECT_EQ(known.GetItemDetails(static_cast<std::int32_t>(at), nullptr, nullptr), 1);
        } else {
            ASSERT_GT(lines.size(), 1u);
            lines.resize(1);
            EXPECT_EQ(lines, c.lines);
        }
        // Refresh and Go to only, whatever the entry.
        EXPECT_EQ(known.GetActionMask(static_cast<std::int32_t>(at)), 3u);
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
