// What only the memory machine has and the contract suite can't compare with Win32: a root that
// refuses to go, injected enumeration faults, and version blocks copied short. Its answers to the
// Win32 calls themselves are checked by the contract suite, next to Win32's; its set-up and call
// logs by every test that uses them.
#include "platform/memory/memory_machine.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/version_block_builder.h"

namespace {

using namespace platform;
using platform::memory::MemoryMachine;

// What Win32 can't be made to show: a root that refuses to go, an injected enumeration failure.
TEST(MemoryRegistry, RootsStayAndEnumerationFaultsReachSubKeysToo) {
    MemoryMachine machine;
    Registry& reg = machine.registry();
    machine.AddKey(kHkeyLocalMachine, u"Software\\Vendor");
    EXPECT_EQ(reg.DeleteTree(kHkeyLocalMachine, u""), kErrorAccessDenied);
    EXPECT_TRUE(machine.HasKey(kHkeyLocalMachine, u"Software\\Vendor"));
    machine.FailEnumeration(kHkeyLocalMachine, u"Software", kErrorGenFailure);
    RegKey key = nullptr;
    ASSERT_EQ(reg.OpenKey(kHkeyLocalMachine, u"Software", kKeyRead, &key), kErrorSuccess);
    char16_t name[8];
    std::uint32_t chars = 8;
    EXPECT_EQ(reg.EnumKey(key, 0, name, &chars), kErrorGenFailure);
    reg.CloseKey(key);
}

TEST(MemoryVersion, BlocksAreHandedOutAsStoredAndReadOnlyWithinTheirBytes) {
    MemoryMachine machine;
    VersionInfo& version = machine.version();
    const std::string block = testsupport::BuildVersionBlock({});
    machine.AddFile(u"C:\\App\\plain.exe");
    EXPECT_EQ(version.GetSize(u"C:\\App\\plain.exe"), 0u);
    EXPECT_EQ(machine.LastError(), static_cast<std::uint32_t>(kErrorResourceTypeNotFound));

    // Each copy lands in a buffer that holds a whole block from before: a query must not read
    // those stale bytes behind what was really copied, whatever the block's first word claims.
    const struct {
        std::string stored;
        std::uint32_t asked;  // 0: the size GetSize gives
        bool readable;
    } cases[] = {{block, 0, true},
                 {block, 8, false},  // a copy cut short
                 {block.substr(0, 1), 0, false},
                 {block.substr(0, block.size() - 4), 0, false}};  // claims more than it holds
    for (const auto& c : cases) {
        machine.SetVersionBlock(u"C:\\App\\app.exe", c.stored);
        const std::uint32_t size = version.GetSize(u"c:\\app\\APP.EXE");
        ASSERT_EQ(size, c.stored.size());
        std::string buffer = block;
        ASSERT_TRUE(version.Get(u"C:\\App\\app.exe", c.asked ? c.asked : size, buffer.data()));
        const void* value = nullptr;
        std::uint32_t length = 0;
        EXPECT_EQ(version.Query(buffer.data(), u"\\", &value, &length), c.readable) << c.asked;
    }
}

}  // namespace
