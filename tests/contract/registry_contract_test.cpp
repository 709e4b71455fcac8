// Registry calls: status codes, sizes and terminators exactly as Win32 gives them.
#include <algorithm>
#include <string>
#include <vector>

#include "tests/contract/contract_fixture.h"

namespace contract {
namespace {

using namespace platform;
using Names = std::vector<std::u16string>;

constexpr Status kErrorBadPathname = 161;
constexpr Status kErrorNoAccess = 998;
constexpr Status kErrorKeyDeleted = 1018;
const std::uint32_t kOne = 1;

class RegistryContract : public PlatformContract {
  protected:
    void MakeKey(const char16_t* path) {
        RegKey key = nullptr;
        ASSERT_EQ(registry().CreateKey(scratch(), path, kKeyAllAccess, &key), kErrorSuccess);
        registry().CloseKey(key);
    }
    RegKey Open(const char16_t* path, std::uint32_t access) {
        RegKey key = nullptr;
        EXPECT_EQ(registry().OpenKey(scratch(), path, access, &key), kErrorSuccess);
        return key;
    }
    bool Opens(const char16_t* path) {
        RegKey key = nullptr;
        if (registry().OpenKey(scratch(), path, kKeyRead, &key) != kErrorSuccess) return false;
        registry().CloseKey(key);
        return true;
    }
    Status SetText(const char16_t* name, std::u16string_view text) {
        const std::string bytes = Utf16Bytes(text, true);
        return registry().SetValue(scratch(), name, kRegSz, bytes.data(),
                                   static_cast<std::uint32_t>(bytes.size()));
    }
    Status SetOne(RegKey key, const char16_t* name) {
        return registry().SetValue(key, name, kRegDword, &kOne, 4);
    }
    Status QuerySize(RegKey key, const char16_t* name) {
        std::uint32_t size = 0;
        return registry().QueryValue(key, name, nullptr, nullptr, &size);
    }
    // The value's bytes as QueryValue reports them into a large buffer. Windows writes a
    // terminator behind a string's bytes when the buffer has room, but never counts it in the
    // size, so only the reported bytes are compared.
    std::string QueryBytes(const char16_t* name, std::uint32_t* type = nullptr) {
        std::string buffer(512, '\xCC');
        std::uint32_t size = static_cast<std::uint32_t>(buffer.size());
        Status status = registry().QueryValue(scratch(), name, type, buffer.data(), &size);
        EXPECT_EQ(status, kErrorSuccess);
        buffer.resize(status == kErrorSuccess ? size : 0);
        return buffer;
    }
    // Value names (or sub-key names) by index until the enumeration ends, which must be with
    // ERROR_NO_MORE_ITEMS.
    Names Enumerate(bool values) {
        Names names;
        for (std::uint32_t index = 0;; ++index) {
            char16_t name[256];
            std::uint32_t chars = 256;
            const Status status = values ? registry().EnumValue(scratch(), index, name, &chars,
                                                                nullptr, nullptr, nullptr)
                                         : registry().EnumKey(scratch(), index, name, &chars);
            if (status != kErrorSuccess) {
                EXPECT_EQ(status, kErrorNoMoreItems);
                return names;
            }
            names.emplace_back(name, chars);
        }
    }
};

TEST_P(RegistryContract, StoredBytesComeBackWithWin32Terminators) {
    // Windows stores a string's terminator when the caller forgot to count it and the character
    // behind the counted bytes is null; the memory machine never reads behind them.
    const std::string withTerminator = Utf16Bytes(u"abc", true);
    const std::string uncounted = IsWin32() ? withTerminator : Utf16Bytes(u"abc", false);
    const std::u16string abc = u"abc";    // a null follows in memory
    const std::u16string abcX = u"abcX";  // no null behind the counted characters
    const std::uint32_t dword = 0x12345678;
    const struct {
        const char16_t* name;
        std::uint32_t type;
        const void* data;
        std::uint32_t bytes;
        std::string expected;
    } cases[] = {
        {u"Short", kRegSz, abc.data(), 8, withTerminator},
        {u"Uncounted", kRegSz, abc.data(), 6, uncounted},
        {u"UncountedMulti", kRegMultiSz, abc.data(), 6, uncounted},
        {u"Binary", kRegBinary, abc.data(), 6, Utf16Bytes(u"abc", false)},
        {u"NoTerminator", kRegSz, abcX.data(), 6, Utf16Bytes(u"abc", false)},
        {u"Empty", kRegSz, "", 0, ""},
        {u"Odd", kRegExpandSz, "a\0b\0c", 5, std::string("a\0b\0c", 5)},
        {u"Multi", kRegMultiSz, u"a\0", 6, std::string("a\0\0\0\0\0", 6)},
        {u"Number", kRegDword, &dword, 4, "\x78\x56\x34\x12"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(Narrow(c.name));
        ASSERT_EQ(registry().SetValue(scratch(), c.name, c.type, c.data, c.bytes), kErrorSuccess);
        std::uint32_t type = 99;
        EXPECT_EQ(QueryBytes(c.name, &type), c.expected);
        EXPECT_EQ(type, c.type);
    }

    // "Short" holds 8 bytes: too small a buffer gives ERROR_MORE_DATA and the size needed.
    std::uint32_t size = 0;
    EXPECT_EQ(registry().QueryValue(scratch(), u"Short", nullptr, nullptr, &size), kErrorSuccess);
    EXPECT_EQ(size, 8u);
    char buffer[8];
    size = 7;
    EXPECT_EQ(registry().QueryValue(scratch(), u"Short", nullptr, buffer, &size), kErrorMoreData);
    EXPECT_EQ(size, 8u);
    EXPECT_EQ(registry().QueryValue(scratch(), u"Short", nullptr, buffer, &size), kErrorSuccess);
    EXPECT_EQ(std::string(buffer, 8), Utf16Bytes(u"abc", true));
    EXPECT_EQ(registry().QueryValue(scratch(), u"Short", nullptr, buffer, nullptr),
              kErrorInvalidParameter);
    EXPECT_EQ(registry().SetValue(scratch(), u"Null", kRegBinary, nullptr, 4), kErrorNoAccess);
}

// A value name may hold a NUL (the native API counts names); the counted calls reach exactly
// that value, never the one named by the part before the NUL.
TEST_P(RegistryContract, CountedNamesReachExactlyTheirValue) {
    using namespace std::string_literals;
    const std::u16string hidden = u"Updater\0x"s;
    ASSERT_EQ(SetText(u"Updater", u"plain"), kErrorSuccess);
    const std::string bytes = Utf16Bytes(u"hidden", true);
    ASSERT_EQ(registry().SetCountedValue(scratch(), hidden, kRegSz, bytes.data(), 14),
              kErrorSuccess);
    // The enumeration counts the whole name (Wine lists values sorted, so the order is open).
    Names names = Enumerate(true);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (Names{u"Updater", hidden}));
    EXPECT_EQ(QueryBytes(u"Updater"), Utf16Bytes(u"plain", true));

    EXPECT_EQ(registry().DeleteCountedValue(kHkeyCurrentUser, hidden), kErrorInvalidHandle);
    EXPECT_EQ(registry().DeleteCountedValue(scratch(), u"UPDATER\0X"s), kErrorSuccess);
    EXPECT_EQ(Enumerate(true), Names{u"Updater"});
    EXPECT_EQ(registry().DeleteCountedValue(scratch(), hidden), kErrorFileNotFound);
    // Without a NUL the counted call is the plain one.
    EXPECT_EQ(registry().DeleteCountedValue(scratch(), u"updater"), kErrorSuccess);
    EXPECT_EQ(Enumerate(true), Names{});
}

TEST_P(RegistryContract, NamesMatchWithoutCaseAndKeepTheirSpelling) {
    ASSERT_EQ(SetText(u"MixedCase", u"one"), kErrorSuccess);
    EXPECT_EQ(QueryBytes(u"mixedcase"), Utf16Bytes(u"one", true));
    // Writing under another spelling replaces the value and keeps the first spelling.
    ASSERT_EQ(SetText(u"MIXEDCASE", u"two"), kErrorSuccess);
    EXPECT_EQ(Enumerate(true), Names{u"MixedCase"});
    EXPECT_EQ(QueryBytes(u"MixedCase"), Utf16Bytes(u"two", true));
    ASSERT_EQ(registry().DeleteValue(scratch(), u"mixedCASE"), kErrorSuccess);
    MakeKey(u"Sub\\Deeper");
    EXPECT_TRUE(Opens(u"sub\\DEEPER"));
    // Doubled and trailing backslashes don't matter; a leading one does.
    EXPECT_TRUE(Opens(u"Sub\\\\Deeper\\"));
    RegKey key = reinterpret_cast<RegKey>(1);
    EXPECT_EQ(registry().OpenKey(scratch(), u"\\Sub", kKeyRead, &key), kErrorBadPathname);
    EXPECT_EQ(key, nullptr);

    // The default value is named by null or by the empty name.
    ASSERT_EQ(SetText(nullptr, u"dflt"), kErrorSuccess);
    EXPECT_EQ(QueryBytes(u""), Utf16Bytes(u"dflt", true));
    EXPECT_EQ(Enumerate(true), Names{u""});
    EXPECT_EQ(registry().DeleteValue(scratch(), u""), kErrorSuccess);
    EXPECT_EQ(QuerySize(scratch(), nullptr), kErrorFileNotFound);
}

TEST_P(RegistryContract, ValuesEnumerateInOrderOfCreation) {
    // Wine keeps a key's values sorted by name; Windows keeps them in the order they were made,
    // and the collectors show them in that order.
    if (RunsUnderWine()) GTEST_SKIP() << "Wine enumerates values sorted by name, Windows does not";
    for (const char16_t* name : {u"zeta", u"Alpha", u"mid", u"beta"}) {
        ASSERT_EQ(SetText(name, name), kErrorSuccess);
    }
    // Overwriting keeps a value's place, whatever its new type.
    ASSERT_EQ(SetOne(scratch(), u"zeta"), kErrorSuccess);
    EXPECT_EQ(Enumerate(true), (Names{u"zeta", u"Alpha", u"mid", u"beta"}));
    ASSERT_EQ(registry().DeleteValue(scratch(), u"ALPHA"), kErrorSuccess);
    EXPECT_EQ(Enumerate(true), (Names{u"zeta", u"mid", u"beta"}));
}

TEST_P(RegistryContract, EnumerationSizesAndOrder) {
    EXPECT_EQ(Enumerate(true), Names{});
    EXPECT_EQ(Enumerate(false), Names{});
    ASSERT_EQ(SetText(u"Seven77", u"0123456789"), kErrorSuccess);
    char16_t name[16];
    char buffer[64];
    // The name's capacity counts its terminator; a name that fits comes even when the data
    // doesn't; the type and the data's size come back anyway; without a buffer only the size is
    // asked for.
    const struct {
        std::uint32_t chars, size;
        char* data;
        Status status;
    } cases[] = {{7, 4, buffer, kErrorMoreData},
                 {8, 4, buffer, kErrorMoreData},
                 {8, sizeof(buffer), buffer, kErrorSuccess},
                 {8, 0, nullptr, kErrorSuccess}};
    for (const auto& c : cases) {
        std::uint32_t chars = c.chars, type = 0, size = c.size;
        EXPECT_EQ(registry().EnumValue(scratch(), 0, name, &chars, &type, c.data, &size), c.status);
        EXPECT_EQ(chars, 7u);
        EXPECT_EQ(type, kRegSz);
        EXPECT_EQ(size, 22u);
        if (c.chars == 8) {
            EXPECT_EQ(std::u16string(name), u"Seven77");
        }
    }
    EXPECT_EQ(std::string(buffer, 22), Utf16Bytes(u"0123456789", true));

    std::uint32_t chars = 0;
    // Sub-keys come sorted without regard to case.
    for (const char16_t* key : {u"b", u"Five5", u"C", u"a"}) MakeKey(key);
    EXPECT_EQ(Enumerate(false), (Names{u"a", u"b", u"C", u"Five5"}));
    chars = 5;
    EXPECT_EQ(registry().EnumKey(scratch(), 3, name, &chars), kErrorMoreData);
    EXPECT_EQ(chars, 5u);
    chars = 6;
    EXPECT_EQ(registry().EnumKey(scratch(), 3, name, &chars), kErrorSuccess);
    EXPECT_EQ(chars, 5u);
    EXPECT_EQ(std::u16string(name), u"Five5");
}

TEST_P(RegistryContract, MissingThingsAndDeletion) {
    EXPECT_EQ(QuerySize(scratch(), u"Missing"), kErrorFileNotFound);
    EXPECT_EQ(registry().DeleteValue(scratch(), u"Missing"), kErrorFileNotFound);
    RegKey key = reinterpret_cast<RegKey>(1);
    EXPECT_EQ(registry().OpenKey(scratch(), u"Missing\\Deeper", kKeyRead, &key),
              kErrorFileNotFound);
    EXPECT_EQ(key, nullptr);
    EXPECT_EQ(registry().DeleteTree(scratch(), u"Missing"), kErrorFileNotFound);

    // A key deleted while open answers ERROR_KEY_DELETED, and its handle still closes.
    MakeKey(u"Top\\Middle\\Leaf");
    RegKey leaf = Open(u"Top\\Middle\\Leaf", kKeyAllAccess);
    EXPECT_EQ(SetOne(leaf, u"v"), kErrorSuccess);
    EXPECT_EQ(registry().DeleteTree(scratch(), u"Top"), kErrorSuccess);
    EXPECT_FALSE(Opens(u"Top"));
    EXPECT_EQ(SetOne(leaf, u"v"), kErrorKeyDeleted);
    EXPECT_EQ(registry().CloseKey(leaf), kErrorSuccess);

    // Through a handle and a null name the key is emptied but stays, as RegDeleteKeyW refuses
    // the null name; the empty name deletes the key itself.
    MakeKey(u"Top\\Middle");
    RegKey top = Open(u"Top", kKeyAllAccess);
    EXPECT_EQ(SetOne(top, u"v"), kErrorSuccess);
    EXPECT_EQ(registry().DeleteTree(top, nullptr), kErrorInvalidParameter);
    EXPECT_FALSE(Opens(u"Top\\Middle"));
    EXPECT_EQ(QuerySize(top, u"v"), kErrorFileNotFound);
    EXPECT_TRUE(Opens(u"Top"));
    EXPECT_EQ(registry().DeleteTree(top, u""), kErrorSuccess);
    EXPECT_FALSE(Opens(u"Top"));
    registry().CloseKey(top);
}

TEST_P(RegistryContract, HandlesAreCheckedAndEachCallNeedsItsOwnRight) {
    MakeKey(u"Parent\\Child");
    RegKey key = Open(u"Parent\\Child", kKeyAllAccess);
    ASSERT_EQ(SetOne(key, u"v"), kErrorSuccess);
    EXPECT_EQ(registry().CloseKey(key), kErrorSuccess);
    EXPECT_EQ(registry().CloseKey(key), kErrorInvalidHandle);
    EXPECT_EQ(registry().CloseKey(nullptr), kErrorInvalidHandle);
    // Predefined roots close without effect, and open without a sub-key as themselves.
    EXPECT_EQ(registry().CloseKey(kHkeyCurrentUser), kErrorSuccess);
    ASSERT_EQ(registry().OpenKey(kHkeyCurrentUser, nullptr, kKeyRead, &key), kErrorSuccess);
    EXPECT_EQ(key, kHkeyCurrentUser);
    // Any other key opens again as a handle of its own.
    key = Open(u"", kKeyRead);
    EXPECT_NE(key, nullptr);
    EXPECT_NE(key, scratch());
    registry().CloseKey(key);

    RegKey queryOnly = Open(u"Parent", kKeyQueryValue);
    char16_t name[16];
    std::uint32_t chars = 16;
    EXPECT_EQ(registry().EnumKey(queryOnly, 0, name, &chars), kErrorAccessDenied);
    EXPECT_EQ(SetOne(queryOnly, u"v"), kErrorAccessDenied);
    // Creating a sub-key is checked against the key's security, not against the rights of the
    // handle it is created through.
    for (const char16_t* sub : {u"New", u"Child"}) {
        EXPECT_EQ(registry().CreateKey(queryOnly, sub, kKeyRead, &key), kErrorSuccess);
        registry().CloseKey(key);
    }
    registry().CloseKey(queryOnly);

    RegKey enumerateOnly = Open(u"Parent\\Child", kKeyEnumerateSubKeys);
    EXPECT_EQ(QuerySize(enumerateOnly, u"v"), kErrorAccessDenied);
    EXPECT_EQ(registry().EnumValue(enumerateOnly, 0, name, &chars, nullptr, nullptr, nullptr),
              kErrorAccessDenied);
    EXPECT_EQ(registry().DeleteValue(enumerateOnly, u"v"), kErrorAccessDenied);
    registry().CloseKey(enumerateOnly);
}

TEST_P(RegistryContract, DeniedKeyIsRefusedUntilAllowedAgain) {
    EXPECT_EQ(registry().DenyAllAccess(scratch(), u"Missing"), kErrorFileNotFound);
    for (const char16_t* key : {u"T\\A\\Deep", u"T\\Locked\\Inner", u"T\\Z"}) MakeKey(key);
    RegKey t = Open(u"T", kKeyAllAccess);
    ASSERT_EQ(SetOne(t, u"v"), kErrorSuccess);
    ASSERT_EQ(DenyScratchSubKey(u"T\\Locked"), kErrorSuccess);

    RegKey key = reinterpret_cast<RegKey>(1);
    EXPECT_EQ(registry().OpenKey(scratch(), u"T\\Locked", kKeyQueryValue, &key),
              kErrorAccessDenied);
    EXPECT_EQ(key, nullptr);
    EXPECT_EQ(registry().CreateKey(scratch(), u"T\\Locked", kKeyRead, &key), kErrorAccessDenied);
    EXPECT_EQ(registry().DeleteTree(scratch(), u"T\\Locked"), kErrorAccessDenied);
    // Deleting a tree goes through the sub-keys in order and stops at the refused one.
    EXPECT_EQ(registry().DeleteTree(scratch(), u"T"), kErrorAccessDenied);
    EXPECT_FALSE(Opens(u"T\\A"));
    EXPECT_TRUE(Opens(u"T\\Z"));
    EXPECT_EQ(QuerySize(t, u"v"), kErrorSuccess);
    registry().CloseKey(t);

    ASSERT_EQ(registry().AllowAllAccess(scratch(), u"T\\Locked"), kErrorSuccess);
    EXPECT_TRUE(Opens(u"T\\Locked\\Inner"));
}

TEST_P(RegistryContract, ClassesRootIsTheMachinesClassesKey) {
    // A class of its own below HKLM\Software\Classes, named after the scratch key.
    const std::u16string unique = ScratchKeyPath().substr(ScratchKeyPath().rfind(u'\\') + 1);
    const std::u16string machinePath = u"Software\\Classes\\" + unique;
    struct Removed {
        Registry& registry;
        const std::u16string& path;
        ~Removed() { registry.DeleteTree(kHkeyLocalMachine, path.c_str()); }
    } removed{registry(), machinePath};

    // Written through one root, read, listed and deleted through the other.
    const auto write = [&](RegKey root, const std::u16string& path) {
        RegKey key = nullptr;
        ASSERT_EQ(registry().CreateKey(root, path.c_str(), kKeyAllAccess, &key), kErrorSuccess);
        EXPECT_EQ(SetOne(key, u"v"), kErrorSuccess);
        registry().CloseKey(key);
    };
    write(kHkeyLocalMachine, machinePath + u"\\ViaMachine");
    write(kHkeyClassesRoot, unique + u"\\ViaClasses");
    for (RegKey root : {kHkeyClassesRoot, kHkeyLocalMachine}) {
        const std::u16string path = root == kHkeyClassesRoot ? unique : machinePath;
        RegKey key = nullptr;
        ASSERT_EQ(registry().OpenKey(root, path.c_str(), kKeyRead, &key), kErrorSuccess);
        Names names;
        char16_t name[64];
        for (std::uint32_t index = 0;; ++index) {
            std::uint32_t chars = 64;
            if (registry().EnumKey(key, index, name, &chars) != kErrorSuccess) break;
            names.emplace_back(name, chars);
            RegKey child = nullptr;
            ASSERT_EQ(registry().OpenKey(key, names.back().c_str(), kKeyQueryValue, &child),
                      kErrorSuccess);
            std::uint32_t value = 0, size = 4;
            EXPECT_EQ(registry().QueryValue(child, u"v", nullptr, &value, &size), kErrorSuccess);
            EXPECT_EQ(value, 1u);
            registry().CloseKey(child);
        }
        EXPECT_EQ(names, (Names{u"ViaClasses", u"ViaMachine"}));
        registry().CloseKey(key);
    }

    // A deletion through the classes root is gone from the machine's key.
    EXPECT_EQ(registry().DeleteTree(kHkeyClassesRoot, (unique + u"\\ViaMachine").c_str()),
              kErrorSuccess);
    RegKey key = nullptr;
    EXPECT_EQ(registry().OpenKey(kHkeyLocalMachine, (machinePath + u"\\ViaMachine").c_str(),
                                 kKeyQueryValue, &key),
              kErrorFileNotFound);
}

INSTANTIATE_TEST_SUITE_P(Backends, RegistryContract, testing::ValuesIn(AllBackends()), BackendName);

}  // namespace
}  // namespace contract
