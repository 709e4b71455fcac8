// The memory registry against the contracts the Win32 calls keep (checked under Wine): sizes and
// status codes of queries and enumerations, handles, access rights and the injected faults.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/memory/memory_machine.h"

namespace {

using namespace platform;
using platform::memory::MemoryMachine;

class MemoryRegistryTest : public testing::Test {
  protected:
    MemoryRegistryTest() : reg_(machine_.registry()) {}

    RegKey Open(const char16_t* path, std::uint32_t access = kKeyRead) {
        RegKey key = nullptr;
        EXPECT_EQ(reg_.OpenKey(kHkeyCurrentUser, path, access, &key), kErrorSuccess) << "open";
        return key;
    }

    MemoryMachine machine_;
    Registry& reg_;
};

TEST_F(MemoryRegistryTest, QueryReportsSizesAndMoreDataAndKeepsStoredBytes) {
    machine_.SetString(kHkeyCurrentUser, u"K", u"s", u"abc");
    machine_.SetRaw(kHkeyCurrentUser, u"K", u"odd", kRegSz, std::string("a\0b", 3));
    machine_.SetRaw(kHkeyCurrentUser, u"K", u"empty", kRegSz, {});
    RegKey key = Open(u"K");

    std::uint32_t type = 99, size = 0;
    EXPECT_EQ(reg_.QueryValue(key, u"S", &type, nullptr, &size), kErrorSuccess);
    EXPECT_EQ(type, kRegSz);
    EXPECT_EQ(size, 8u);

    char buffer[16] = {};
    size = 7;
    EXPECT_EQ(reg_.QueryValue(key, u"s", &type, buffer, &size), kErrorMoreData);
    EXPECT_EQ(size, 8u);
    size = sizeof buffer;
    std::memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(reg_.QueryValue(key, u"odd", &type, buffer, &size), kErrorSuccess);
    EXPECT_EQ(size, 3u);
    EXPECT_EQ(std::string(buffer, 4), std::string("a\0bx", 4));  // nothing added after the data

    size = sizeof buffer;
    EXPECT_EQ(reg_.QueryValue(key, u"empty", &type, buffer, &size), kErrorSuccess);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(reg_.QueryValue(key, u"missing", &type, buffer, &size), kErrorFileNotFound);
    EXPECT_EQ(reg_.QueryValue(key, nullptr, &type, nullptr, &size), kErrorFileNotFound);
    EXPECT_EQ(reg_.QueryValue(key, u"s", &type, buffer, nullptr), kErrorInvalidParameter);
    EXPECT_EQ(reg_.CloseKey(key), kErrorSuccess);
}

TEST_F(MemoryRegistryTest, EnumValueNameAndDataSizesFollowTheSystem) {
    machine_.SetString(kHkeyCurrentUser, u"K", u"longername", u"abcdef");
    machine_.SetDword(kHkeyCurrentUser, u"K", u"b", 7);
    RegKey key = Open(u"K");
    char16_t name[32];
    std::uint8_t data[32];

    // The name needs room for its terminator; the size of the data is reported anyway.
    std::uint32_t nameChars = 10, type = 0, dataBytes = 2;
    EXPECT_EQ(reg_.EnumValue(key, 0, name, &nameChars, &type, data, &dataBytes), kErrorMoreData);
    EXPECT_EQ(nameChars, 10u);
    EXPECT_EQ(dataBytes, 14u);
    EXPECT_EQ(type, kRegSz);

    // A name that fits is delivered even when the data doesn't.
    nameChars = 11;
    dataBytes = 2;
    EXPECT_EQ(reg_.EnumValue(key, 0, name, &nameChars, &type, data, &dataBytes), kErrorMoreData);
    EXPECT_EQ(nameChars, 10u);
    EXPECT_EQ(std::u16string(name), u"longername");
    EXPECT_EQ(dataBytes, 14u);

    nameChars = 32;
    dataBytes = sizeof data;
    EXPECT_EQ(reg_.EnumValue(key, 1, name, &nameChars, &type, data, &dataBytes), kErrorSuccess);
    EXPECT_EQ(std::u16string(name), u"b");
    EXPECT_EQ(type, kRegDword);
    EXPECT_EQ(dataBytes, 4u);
    EXPECT_EQ(data[0], 7);
    nameChars = 32;
    EXPECT_EQ(reg_.EnumValue(key, 2, name, &nameChars, nullptr, nullptr, nullptr),
              kErrorNoMoreItems);
    reg_.CloseKey(key);
}

TEST_F(MemoryRegistryTest, UncountedStringTerminatorIsStoredOnlyForStringTypes) {
    RegKey key = Open(u"", kKeyAllAccess);
    const char16_t text[] = {u'a', u'b', 0, u'z'};
    ASSERT_EQ(reg_.SetValue(key, u"sz", kRegSz, text, 4), kErrorSuccess);
    ASSERT_EQ(reg_.SetValue(key, u"multi", kRegMultiSz, text, 4), kErrorSuccess);
    ASSERT_EQ(reg_.SetValue(key, u"bin", kRegBinary, text, 4), kErrorSuccess);
    ASSERT_EQ(reg_.SetValue(key, u"counted", kRegSz, text, 6), kErrorSuccess);
    const char16_t unterminated[] = {u'a', u'b', u'z'};
    ASSERT_EQ(reg_.SetValue(key, u"open", kRegSz, unterminated, 4), kErrorSuccess);
    for (const auto& [name, bytes] :
         {std::pair{u"sz", 6u}, std::pair{u"multi", 6u}, std::pair{u"bin", 4u},
          std::pair{u"counted", 6u}, std::pair{u"open", 4u}}) {
        std::uint32_t size = 0;
        EXPECT_EQ(reg_.QueryValue(key, name, nullptr, nullptr, &size), kErrorSuccess);
        EXPECT_EQ(size, bytes) << static_cast<char>(name[0]);
    }
    EXPECT_EQ(machine_.GetString(kHkeyCurrentUser, u"", u"open"), u"ab");
}

TEST_F(MemoryRegistryTest, ValuesKeepInsertionOrderAndSubKeysComeSorted) {
    RegKey key = nullptr;
    ASSERT_EQ(reg_.CreateKey(kHkeyCurrentUser, u"K\\L", kKeyAllAccess, &key), kErrorSuccess);
    for (const char16_t* v : {u"zeta", u"Alpha", u"mid"})
        ASSERT_EQ(reg_.SetValue(key, v, kRegBinary, "x", 1), kErrorSuccess);
    // Setting a value again keeps its place; names match without regard to case.
    ASSERT_EQ(reg_.SetValue(key, u"ZETA", kRegBinary, "yy", 2), kErrorSuccess);
    EXPECT_EQ(machine_.ValueNames(kHkeyCurrentUser, u"k\\l"),
              (std::vector<std::u16string>{u"zeta", u"Alpha", u"mid"}));
    EXPECT_EQ(reg_.DeleteValue(key, u"ALPHA"), kErrorSuccess);
    EXPECT_EQ(reg_.DeleteValue(key, u"alpha"), kErrorFileNotFound);

    for (const char16_t* k : {u"b", u"A", u"c", u"Zed"})
        machine_.AddKey(kHkeyCurrentUser, std::u16string(u"K\\L\\") + k);
    std::vector<std::u16string> keys;
    char16_t name[8];
    std::uint32_t chars = 8;
    for (std::uint32_t i = 0; reg_.EnumKey(key, i, name, &chars) == kErrorSuccess; ++i, chars = 8)
        keys.emplace_back(name);
    EXPECT_EQ(keys, (std::vector<std::u16string>{u"A", u"b", u"c", u"Zed"}));
    chars = 3;
    EXPECT_EQ(reg_.EnumKey(key, 3, name, &chars), kErrorMoreData);
    EXPECT_EQ(chars, 3u);
    reg_.CloseKey(key);
}

TEST_F(MemoryRegistryTest, HandlesAreObjectsWithTheirOwnRights) {
    machine_.SetString(kHkeyCurrentUser, u"K", u"v", u"x");
    RegKey query = Open(u"K", kKeyQueryValue);
    char16_t name[8];
    std::uint32_t chars = 8, size = 0;
    EXPECT_EQ(reg_.EnumKey(query, 0, name, &chars), kErrorAccessDenied);
    EXPECT_EQ(reg_.SetValue(query, u"w", kRegSz, u"", 2), kErrorAccessDenied);
    EXPECT_EQ(reg_.DeleteValue(query, u"v"), kErrorAccessDenied);
    // Creating below a key is decided by the key, not by the handle it is named through.
    RegKey made = nullptr;
    EXPECT_EQ(reg_.CreateKey(query, u"New", kKeyRead, &made), kErrorSuccess);
    EXPECT_EQ(reg_.CloseKey(made), kErrorSuccess);

    RegKey set = Open(u"K", kKeySetValue);
    EXPECT_EQ(reg_.QueryValue(set, u"v", nullptr, nullptr, &size), kErrorAccessDenied);
    chars = 8;
    EXPECT_EQ(reg_.EnumValue(set, 0, name, &chars, nullptr, nullptr, nullptr), kErrorAccessDenied);

    EXPECT_EQ(reg_.CloseKey(query), kErrorSuccess);
    EXPECT_EQ(reg_.CloseKey(query), kErrorInvalidHandle);
    EXPECT_EQ(reg_.QueryValue(query, u"v", nullptr, nullptr, &size), kErrorInvalidHandle);
    EXPECT_EQ(reg_.CloseKey(kHkeyLocalMachine), kErrorSuccess);
    EXPECT_EQ(reg_.CloseKey(nullptr), kErrorInvalidHandle);
    // A root opened without a sub-key is the root itself; any other key gives a new handle.
    RegKey again = nullptr;
    EXPECT_EQ(reg_.OpenKey(kHkeyCurrentUser, nullptr, kKeyRead, &again), kErrorSuccess);
    EXPECT_EQ(again, kHkeyCurrentUser);
    EXPECT_EQ(reg_.OpenKey(set, u"", kKeyRead, &again), kErrorSuccess);
    EXPECT_NE(again, set);
    EXPECT_EQ(reg_.CloseKey(again), kErrorSuccess);
    RegKey all = Open(u"K", kKeyAllAccess);
    EXPECT_EQ(reg_.SetValue(all, u"w", kRegBinary, nullptr, 4), 998);
    EXPECT_EQ(reg_.CloseKey(all), kErrorSuccess);
    EXPECT_EQ(reg_.CloseKey(set), kErrorSuccess);
}

TEST_F(MemoryRegistryTest, PathsOpeningAndDeletion) {
    machine_.AddKey(kHkeyLocalMachine, u"Software\\Vendor\\App");
    RegKey key = nullptr;
    EXPECT_EQ(reg_.OpenKey(kHkeyLocalMachine, u"software\\\\VENDOR\\app\\", kKeyRead, &key),
              kErrorSuccess);
    EXPECT_EQ(reg_.CloseKey(key), kErrorSuccess);
    key = reinterpret_cast<RegKey>(1);
    EXPECT_EQ(reg_.OpenKey(kHkeyLocalMachine, u"\\Software", kKeyRead, &key), 161);
    EXPECT_EQ(key, nullptr);
    EXPECT_EQ(reg_.OpenKey(kHkeyLocalMachine, u"Software\\Nope", kKeyRead, &key),
              kErrorFileNotFound);
    EXPECT_EQ(reg_.OpenKey(kHkeyCurrentUser, u"Software\\Vendor", kKeyRead, &key),
              kErrorFileNotFound);

    // A key deleted while open answers ERROR_KEY_DELETED, and its handle still closes.
    RegKey app = nullptr;
    ASSERT_EQ(reg_.OpenKey(kHkeyLocalMachine, u"Software\\Vendor\\App", kKeyAllAccess, &app),
              kErrorSuccess);
    EXPECT_EQ(reg_.DeleteTree(kHkeyLocalMachine, u"Software\\Vendor"), kErrorSuccess);
    EXPECT_FALSE(machine_.HasKey(kHkeyLocalMachine, u"Software\\Vendor"));
    EXPECT_TRUE(machine_.HasKey(kHkeyLocalMachine, u"Software"));
    EXPECT_EQ(reg_.SetValue(app, u"v", kRegSz, u"", 2), 1018);
    EXPECT_EQ(reg_.CloseKey(app), kErrorSuccess);
    EXPECT_EQ(reg_.DeleteTree(kHkeyLocalMachine, u"Software\\Vendor"), kErrorFileNotFound);
    EXPECT_EQ(reg_.DeleteTree(kHkeyLocalMachine, u""), kErrorAccessDenied);
    EXPECT_TRUE(machine_.HasKey(kHkeyLocalMachine, u"Software"));
    // By a null name the key is emptied but stays, as RegDeleteKeyW refuses the null name.
    machine_.SetDword(kHkeyLocalMachine, u"Software\\Other", u"v", 1);
    ASSERT_EQ(reg_.OpenKey(kHkeyLocalMachine, u"Software", kKeyAllAccess, &key), kErrorSuccess);
    EXPECT_EQ(reg_.DeleteTree(key, nullptr), kErrorInvalidParameter);
    EXPECT_FALSE(machine_.HasKey(kHkeyLocalMachine, u"Software\\Other"));
    EXPECT_TRUE(machine_.HasKey(kHkeyLocalMachine, u"Software"));
    EXPECT_EQ(reg_.DeleteTree(key, u""), kErrorSuccess);
    EXPECT_FALSE(machine_.HasKey(kHkeyLocalMachine, u"Software"));
    EXPECT_EQ(reg_.CloseKey(key), kErrorSuccess);
}

TEST_F(MemoryRegistryTest, DenyAllAccessRefusesTheKeyUntilAllowedAgain) {
    machine_.AddKey(kHkeyCurrentUser, u"T\\Locked\\Inner");
    EXPECT_EQ(reg_.DenyAllAccess(kHkeyCurrentUser, u"T\\Missing"), kErrorFileNotFound);
    ASSERT_EQ(reg_.DenyAllAccess(kHkeyCurrentUser, u"T\\Locked"), kErrorSuccess);
    RegKey key = nullptr;
    EXPECT_EQ(reg_.OpenKey(kHkeyCurrentUser, u"T\\Locked", kKeyQueryValue, &key),
              kErrorAccessDenied);
    EXPECT_EQ(reg_.CreateKey(kHkeyCurrentUser, u"T\\Locked", kKeyRead, &key), kErrorAccessDenied);
    EXPECT_EQ(reg_.DeleteTree(kHkeyCurrentUser, u"T\\Locked"), kErrorAccessDenied);
    // Deleting a tree goes through the sub-keys in order and stops at the refused one.
    machine_.AddKey(kHkeyCurrentUser, u"T\\A\\Deep");
    machine_.AddKey(kHkeyCurrentUser, u"T\\Z");
    machine_.SetDword(kHkeyCurrentUser, u"T", u"v", 1);
    EXPECT_EQ(reg_.DeleteTree(kHkeyCurrentUser, u"T"), kErrorAccessDenied);
    EXPECT_FALSE(machine_.HasKey(kHkeyCurrentUser, u"T\\A"));
    EXPECT_TRUE(machine_.HasKey(kHkeyCurrentUser, u"T\\Locked\\Inner"));
    EXPECT_TRUE(machine_.HasKey(kHkeyCurrentUser, u"T\\Z"));
    EXPECT_TRUE(machine_.HasValue(kHkeyCurrentUser, u"T", u"v"));
    ASSERT_EQ(reg_.AllowAllAccess(kHkeyCurrentUser, u"T\\Locked"), kErrorSuccess);
    EXPECT_EQ(reg_.DeleteTree(kHkeyCurrentUser, u"T"), kErrorSuccess);
    EXPECT_FALSE(machine_.HasKey(kHkeyCurrentUser, u"T"));
}

TEST_F(MemoryRegistryTest, InjectedFaultsAndOpenCount) {
    machine_.SetString(kHkeyCurrentUser, u"Run", u"a", u"x");
    machine_.AddKey(kHkeyCurrentUser, u"Run\\Sub");
    machine_.DenyOpen(kHkeyCurrentUser, u"Denied");
    RegKey key = nullptr;
    EXPECT_EQ(reg_.OpenKey(kHkeyCurrentUser, u"Denied", kKeyRead, &key), kErrorAccessDenied);
    EXPECT_EQ(reg_.OpenKey(kHkeyCurrentUser, u"denied", kKeyRead, &key), kErrorAccessDenied);
    EXPECT_EQ(machine_.OpenCount(kHkeyCurrentUser, u"DENIED"), 2);
    EXPECT_EQ(machine_.OpenCount(kHkeyCurrentUser, u"Run"), 0);

    machine_.FailEnumeration(kHkeyCurrentUser, u"Run", kErrorGenFailure);
    key = Open(u"Run", kKeyAllAccess);
    EXPECT_EQ(machine_.OpenCount(kHkeyCurrentUser, u"Run"), 1);
    char16_t name[8];
    std::uint32_t chars = 8;
    EXPECT_EQ(reg_.EnumValue(key, 0, name, &chars, nullptr, nullptr, nullptr), kErrorGenFailure);
    EXPECT_EQ(reg_.EnumKey(key, 0, name, &chars), kErrorGenFailure);

    machine_.FailWrites(kHkeyCurrentUser, u"Run", kErrorAccessDenied);
    EXPECT_EQ(reg_.SetValue(key, u"b", kRegSz, u"", 2), kErrorAccessDenied);
    EXPECT_EQ(reg_.DeleteValue(key, u"a"), kErrorAccessDenied);
    EXPECT_EQ(reg_.DeleteTree(kHkeyCurrentUser, u"Run\\Sub"), kErrorAccessDenied);
    EXPECT_TRUE(machine_.HasValue(kHkeyCurrentUser, u"Run", u"A"));
    EXPECT_EQ(machine_.GetString(kHkeyCurrentUser, u"run", u"a"), u"x");
    EXPECT_EQ(machine_.GetString(kHkeyCurrentUser, u"run", u"nope"), std::nullopt);
    reg_.CloseKey(key);
}

}  // namespace
