// The memory registry's set-up and injected faults, and what Win32 can't be made to show: values
// holding untrusted bytes, and roots that refuse to go. The Win32 behaviour itself is checked on
// both backends by the contract suite.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/memory/memory_machine.h"

namespace {

using namespace platform;
using platform::memory::MemoryMachine;

TEST(MemoryRegistry, SetUpStoresExactlyTheBytesGiven) {
    MemoryMachine machine;
    machine.SetString(kHkeyCurrentUser, u"K", u"s", u"abc");
    machine.SetRaw(kHkeyCurrentUser, u"K", u"odd", kRegSz, std::string("a\0b", 3));
    machine.SetRaw(kHkeyCurrentUser, u"k", u"nul", kRegSz, std::string("x\0\0\0y\0", 6));
    machine.SetDword(kHkeyCurrentUser, u"K", u"d", 0x0102);
    RegKey key = nullptr;
    ASSERT_EQ(machine.registry().OpenKey(kHkeyCurrentUser, u"K", kKeyRead, &key), kErrorSuccess);
    const struct {
        const char16_t* name;
        std::string bytes;
    } cases[] = {{u"s", std::string("a\0b\0c\0\0\0", 8)},
                 {u"odd", std::string("a\0b", 3)},
                 {u"d", std::string("\x02\x01\0\0", 4)}};
    for (const auto& c : cases) {
        // Unlike Windows nothing is written behind the data: readers of untrusted values must
        // not count on a terminator there.
        char buffer[16];
        std::memset(buffer, 'x', sizeof buffer);
        std::uint32_t size = sizeof buffer;
        EXPECT_EQ(machine.registry().QueryValue(key, c.name, nullptr, buffer, &size),
                  kErrorSuccess);
        EXPECT_EQ(std::string(buffer, size + 1), c.bytes + "x");
    }
    machine.registry().CloseKey(key);

    // GetString reads up to the first null.
    EXPECT_EQ(machine.GetString(kHkeyCurrentUser, u"k", u"S"), u"abc");
    EXPECT_EQ(machine.GetString(kHkeyCurrentUser, u"K", u"nul"), u"x");
    EXPECT_EQ(machine.GetString(kHkeyCurrentUser, u"K", u"none"), std::nullopt);
    EXPECT_EQ(machine.ValueNames(kHkeyCurrentUser, u"K"),
              (std::vector<std::u16string>{u"s", u"odd", u"nul", u"d"}));
    EXPECT_TRUE(machine.HasValue(kHkeyCurrentUser, u"k", u"ODD"));
    EXPECT_FALSE(machine.HasKey(kHkeyLocalMachine, u"K"));
}

TEST(MemoryRegistry, RootsStayAndClosedHandlesAreRefused) {
    MemoryMachine machine;
    Registry& reg = machine.registry();
    machine.AddKey(kHkeyLocalMachine, u"Software\\Vendor");
    EXPECT_EQ(reg.DeleteTree(kHkeyLocalMachine, u""), kErrorAccessDenied);
    EXPECT_TRUE(machine.HasKey(kHkeyLocalMachine, u"Software\\Vendor"));
    EXPECT_EQ(reg.CloseKey(kHkeyLocalMachine), kErrorSuccess);

    RegKey key = nullptr;
    ASSERT_EQ(reg.OpenKey(kHkeyLocalMachine, u"Software", kKeyRead, &key), kErrorSuccess);
    EXPECT_EQ(reg.CloseKey(key), kErrorSuccess);
    std::uint32_t size = 0;
    EXPECT_EQ(reg.QueryValue(key, u"v", nullptr, nullptr, &size), kErrorInvalidHandle);
}

TEST(MemoryRegistry, InjectedFaultsAndOpenCount) {
    MemoryMachine machine;
    Registry& reg = machine.registry();
    machine.SetString(kHkeyCurrentUser, u"Run", u"a", u"x");
    machine.AddKey(kHkeyCurrentUser, u"Run\\Sub");
    machine.DenyOpen(kHkeyCurrentUser, u"Denied");
    RegKey key = nullptr;
    EXPECT_EQ(reg.OpenKey(kHkeyCurrentUser, u"Denied", kKeyRead, &key), kErrorAccessDenied);
    EXPECT_EQ(reg.OpenKey(kHkeyCurrentUser, u"denied", kKeyRead, &key), kErrorAccessDenied);
    EXPECT_EQ(machine.OpenCount(kHkeyCurrentUser, u"DENIED"), 2);
    EXPECT_EQ(machine.OpenCount(kHkeyCurrentUser, u"Run"), 0);

    machine.FailEnumeration(kHkeyCurrentUser, u"Run", kErrorGenFailure);
    ASSERT_EQ(reg.OpenKey(kHkeyCurrentUser, u"Run", kKeyAllAccess, &key), kErrorSuccess);
    EXPECT_EQ(machine.OpenCount(kHkeyCurrentUser, u"Run"), 1);
    char16_t name[8];
    std::uint32_t chars = 8;
    EXPECT_EQ(reg.EnumValue(key, 0, name, &chars, nullptr, nullptr, nullptr), kErrorGenFailure);
    EXPECT_EQ(reg.EnumKey(key, 0, name, &chars), kErrorGenFailure);

    machine.FailWrites(kHkeyCurrentUser, u"Run", kErrorAccessDenied);
    EXPECT_EQ(reg.SetValue(key, u"b", kRegSz, u"", 2), kErrorAccessDenied);
    EXPECT_EQ(reg.DeleteValue(key, u"a"), kErrorAccessDenied);
    EXPECT_EQ(reg.DeleteTree(kHkeyCurrentUser, u"Run\\Sub"), kErrorAccessDenied);
    EXPECT_EQ(machine.GetString(kHkeyCurrentUser, u"run", u"a"), u"x");
    EXPECT_EQ(machine.ValueNames(kHkeyCurrentUser, u"Run"), std::vector<std::u16string>{u"a"});
    reg.CloseKey(key);
}

}  // namespace
