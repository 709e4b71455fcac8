// Services and drivers on the memory machine: keys that can't be opened, the warnings, and that
// Remove takes exactly the chosen service's key. Which sub-keys each leaf lists and how is
// recorded in tests/golden/services.
#include "collectors/autostart/services.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "frame/module_objects.h"
#include "platform/memory/memory_machine.h"
#include "tests/unit/collector_test_support.h"
#include "tools/elevation_support.h"

namespace {

using namespace std::string_literals;

using platform::kHkeyLocalMachine;

constexpr char16_t kServices[] = u"SYSTEM\\CurrentControlSet\\Services";
constexpr char16_t kImage[] = u"C:\\svc\\a.exe";
constexpr char16_t kEditorKey[] = u"Software\\Microsoft\\Windows\\CurrentVersion\\Applets\\Regedit";

std::u16string Path(std::u16string_view name) {
    return std::u16string(kServices) + u"\\" + std::u16string(name);
}

class ServicesTest : public ::testing::Test {
  protected:
    void SetUp() override {
        g_trace.SetMode(1);
        CreateElevatedHelperSupport();
    }
    void TearDown() override {
        DestroyElevatedHelperSupport();
        g_trace.SetMode(0);
    }
    bool Logged(const std::string& line) const {
        const auto lines = machine.TraceMessages();
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    }
    // Index of the service with this key in a leaf's list.
    static std::optional<std::size_t> Find(const CVistrelServices_Base& leaf,
                                           std::u16string_view name) {
        for (std::size_t i = 0; i < leaf.items.size(); ++i)
            if (leaf.items[i].keyPath == Path(name)) return i;
        return std::nullopt;
    }

    platform::memory::MemoryMachine machine;
    platform::memory::ScopedMachine scoped{machine};
    CVistrelServices_Process processes;
    CVistrelServices_Driver drivers;
};

TEST_F(ServicesTest, RemoveDeletesTheChosenKeyWithItsSubtreeAndNothingElse) {
    for (const char16_t* name : {u"Sv", u"Svc", u"Svc2"}) {
        machine.SetString(kHkeyLocalMachine, Path(name), u"ImagePath", kImage);
        machine.SetDword(kHkeyLocalMachine, Path(name), u"Type", 16);
    }
    machine.SetString(kHkeyLocalMachine, Path(u"Svc\\Parameters\\Deep"), u"ServiceDll", u"x.dll");
    machine.SetString(kHkeyLocalMachine, kServices, u"Own", u"value of the services key");
    machine.AddFile(kImage, "MZ");
    ASSERT_EQ(processes.EnumerateItems(nullptr, true, nullptr), 3);
    const std::size_t svc = Find(processes, u"Svc").value();
    EXPECT_EQ(processes.GetActionMask(static_cast<int>(svc)), 7u);
    EXPECT_EQ(processes.GetActionMask(-1), 3u);

    resultFlags flags;
    ASSERT_TRUE(processes.DoAction(2, static_cast<int>(svc), &flags));
    EXPECT_EQ(flags.deleteItem, 1);
    EXPECT_EQ(flags.localUpdate, 1);
    EXPECT_FALSE(machine.HasKey(kHkeyLocalMachine, Path(u"Svc")));
    EXPECT_FALSE(machine.HasKey(kHkeyLocalMachine, Path(u"Svc\\Parameters")));
    EXPECT_TRUE(machine.HasKey(kHkeyLocalMachine, Path(u"Sv")));
    EXPECT_TRUE(machine.HasKey(kHkeyLocalMachine, Path(u"Svc2")));
    EXPECT_TRUE(machine.HasValue(kHkeyLocalMachine, kServices, u"Own"));
    EXPECT_TRUE(machine.HasFile(kImage));
    EXPECT_EQ(processes.items.size(), 3u);  // indexes of the others stay right

    // Go to: the service's own key; the category: the services key.
    const std::size_t svc2 = Find(processes, u"Svc2").value();
    EXPECT_FALSE(processes.DoAction(1, static_cast<int>(svc2), &flags));
    EXPECT_EQ(machine.GetString(platform::kHkeyCurrentUser, kEditorKey, u"LastKey"),
              u"Computer\\HKEY_LOCAL_MACHINE\\" + Path(u"Svc2"));
    EXPECT_FALSE(processes.DoAction(-1, -1, &flags));
    EXPECT_EQ(machine.GetString(platform::kHkeyCurrentUser, kEditorKey, u"LastKey"),
              u"Computer\\HKEY_LOCAL_MACHINE\\" + std::u16string(kServices));

    // A refused deletion is said and changes nothing.
    const std::size_t sv = Find(processes, u"Sv").value();
    machine.FailWrites(kHkeyLocalMachine, Path(u"Sv"));
    resultFlags refused;
    EXPECT_FALSE(processes.DoAction(2, static_cast<int>(sv), &refused));
    EXPECT_EQ(refused.succeeded, 0);
    EXPECT_EQ(refused.deleteItem, 0);
    EXPECT_TRUE(machine.HasKey(kHkeyLocalMachine, Path(u"Sv")));
}

TEST_F(ServicesTest, UnreadableKeysAreLeftOutAndOnlyAMissingServicesKeyFails) {
    std::int32_t result = 0;
    EXPECT_TRUE(collectortest::Texts(processes, &result).empty());
    EXPECT_EQ(result, kEnumNotFound);
    EXPECT_EQ(processes.GetActionMask(-1), 1u);

    for (const std::u16string& name : {u"Denied"s, u"Open"s, u"Open\0x"s}) {
        machine.SetString(kHkeyLocalMachine, Path(name), u"ImagePath", name);
        machine.SetDword(kHkeyLocalMachine, Path(name), u"Type", 16);
    }
    machine.SetString(kHkeyLocalMachine, Path(u"NoType"), u"ImagePath", kImage);
    machine.DenyOpen(kHkeyLocalMachine, Path(u"Denied"));
    // A name with a NUL inside would reach "Open" through the NUL-terminated calls.
    EXPECT_EQ(collectortest::Texts(processes, &result), std::vector<std::u16string>{u"Open"});
    EXPECT_EQ(result, 1);
    EXPECT_FALSE(processes.failed);
    EXPECT_TRUE(
        Logged("[vistrel] [error] services.Open('SYSTEM\\CurrentControlSet\\Services\\"
               "Denied') failed: 5"));
    EXPECT_TRUE(
        Logged("[vistrel] [warning] services.Open('SYSTEM\\CurrentControlSet\\Services\\"
               "NoType') failed: no type"));
}

}  // namespace
