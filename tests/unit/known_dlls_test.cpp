// Known DLLs on the memory machine: a value name with a NUL, and the category never offering
// Remove. What is listed and how each entry is described is recorded in tests/golden/known_dlls.
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

namespace {

using namespace std::string_literals;
using collectortest::Line;
using platform::kHkeyLocalMachine;

constexpr char16_t kKnown[] = u"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\KnownDLLs";

class KnownDllsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ResetPathResolutionTables();
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

// The name the pane shows isn't "DllDirectory", so it isn't taken for the folder.
TEST_F(KnownDllsTest, ANameWithANulBehindDllDirectoryIsALibrary) {
    machine.SetString(kHkeyLocalMachine, kKnown, u"DllDirectory\0x"s, u"x.dll");
    std::int32_t result = 0;
    EXPECT_EQ(collectortest::Texts(known, &result),
              std::vector<std::u16string>{u"DllDirectory\\0x"});
    const std::vector<Line> lines = collectortest::Details(known, 0);
    ASSERT_GT(lines.size(), 1u);
    EXPECT_EQ(lines[0], (Line{kDetailsTextObject, u"x.dll"}));
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
    EXPECT_EQ(known.GetActionMask(0), 3u);
    resultFlags flags;
    EXPECT_FALSE(known.DoAction(2, 0, &flags));
    EXPECT_EQ(flags.succeeded, 1);
    EXPECT_TRUE(machine.HasValue(kHkeyLocalMachine, kKnown, u"user32"));
}

}  // namespace
