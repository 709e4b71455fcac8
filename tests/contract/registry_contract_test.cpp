// Registry calls: status codes, sizes and terminators exactly as Win32 gives them.
#include <cstring>
#include <string>
#include <vector>

#include "tests/contract/contract_fixture.h"

namespace contract {
namespace {

using namespace platform;

class RegistryContract : public PlatformContract {
  protected:
    void SetBytes(const char16_t* name, std::uint32_t type, const std::string& bytes) {
        ASSERT_EQ(registry().SetValue(scratch(), name, type, bytes.data(),
                                      static_cast<std::uint32_t>(bytes.size())),
                  kErrorSuccess);
    }
    // The value's bytes as QueryValue reports them into a large buffer. Windows writes a
    // terminator behind a string's bytes when the buffer has room, but never counts it in the
    // size, so only the reported bytes are compared.
    std::string QueryBytes(const char16_t* name, std::uint32_t* type = nullptr) {
        std::string buffer(512, '\xCC');
        std::uint32_t size = static_cast<std::uint32_t>(buffer.size());
        Status status = registry().QueryValue(scratch(), name, type, buffer.data(), &size);
        EXPECT_EQ(status, kErrorSuccess);
        if (status != kErrorSuccess) return {};
        buffer.resize(size);
        return buffer;
    }
    std::vector<std::u16string> ValueNames() {
        std::vector<std::u16string> names;
        for (std::uint32_t index = 0;; ++index) {
            char16_t name[256];
            std::uint32_t chars = 256;
            Status status =
                registry().EnumValue(scratch(), index, name, &chars, nullptr, nullptr, nullptr);
            if (status != kErrorSuccess) {
                EXPECT_EQ(status, kErrorNoMoreItems);
                break;
            }
            names.emplace_back(name, chars);
        }
        return names;
    }
};

TEST_P(RegistryContract, QueryValueReportsSizesAndMoreData) {
    const std::string text = Utf16Bytes(u"abc", true);
    SetBytes(u"Text", kRegSz, text);

    std::uint32_t type = 0;
    std::uint32_t size = 0;
    EXPECT_EQ(registry().QueryValue(scratch(), u"Text", &type, nullptr, &size), kErrorSuccess);
    EXPECT_EQ(type, kRegSz);
    EXPECT_EQ(size, 8u);

    char small[4];
    size = sizeof(small);
    EXPECT_EQ(registry().QueryValue(scratch(), u"Text", &type, small, &size), kErrorMoreData);
    EXPECT_EQ(size, 8u);

    char exact[8];
    size = sizeof(exact);
    EXPECT_EQ(registry().QueryValue(scratch(), u"Text", nullptr, exact, &size), kErrorSuccess);
    EXPECT_EQ(size, 8u);
    EXPECT_EQ(std::string(exact, 8), text);
}

TEST_P(RegistryContract, DataComesBackExactlyAsStored) {
    // The character behind the counted ones isn't a null (see the next test for why it matters).
    const std::u16string noTerminator = u"abcX";
    ASSERT_EQ(registry().SetValue(scratch(), u"NoTerminator", kRegSz, noTerminator.data(), 6),
              kErrorSuccess);
    SetBytes(u"Empty", kRegSz, {});
    SetBytes(u"Odd", kRegExpandSz, std::string("a\0b\0c", 5));
    SetBytes(u"Multi", kRegMultiSz, Utf16Bytes(u"a", true) + Utf16Bytes(u"", true));

    EXPECT_EQ(QueryBytes(u"NoTerminator"), Utf16Bytes(u"abc", false));
    std::uint32_t type = 99;
    EXPECT_EQ(QueryBytes(u"Empty", &type), "");
    EXPECT_EQ(type, kRegSz);
    EXPECT_EQ(QueryBytes(u"Odd", &type), std::string("a\0b\0c", 5));
    EXPECT_EQ(type, kRegExpandSz);
    EXPECT_EQ(QueryBytes(u"Multi", &type), std::string("a\0\0\0\0\0", 6));
    EXPECT_EQ(type, kRegMultiSz);

    std::uint32_t dword = 0x12345678;
    ASSERT_EQ(registry().SetValue(scratch(), u"Number", kRegDword, &dword, 4), kErrorSuccess);
    EXPECT_EQ(QueryBytes(u"Number", &type), std::string("\x78\x56\x34\x12", 4));
    EXPECT_EQ(type, kRegDword);
}

TEST_P(RegistryContract, StringCountThatMissesAFollowingTerminatorIsExtended) {
    // RegSetValueExW stores a string's terminator when the caller forgot to count it: if the
    // last counted character isn't null and the one behind it is, the count grows by one.
    const std::u16string text = u"abc";  // a null follows in memory
    ASSERT_EQ(registry().SetValue(scratch(), u"Short", kRegSz, text.data(), 6), kErrorSuccess);
    ASSERT_EQ(registry().SetValue(scratch(), u"Binary", kRegBinary, text.data(), 6), kErrorSuccess);
    EXPECT_EQ(QueryBytes(u"Short"), Utf16Bytes(u"abc", true));
    EXPECT_EQ(QueryBytes(u"Binary"), Utf16Bytes(u"abc", false));
}

TEST_P(RegistryContract, NamesMatchWithoutCaseAndKeepTheirSpelling) {
    SetBytes(u"MixedCase", kRegSz, Utf16Bytes(u"one", true));
    EXPECT_EQ(QueryBytes(u"mixedcase"), Utf16Bytes(u"one", true));
    // Writing under another spelling replaces the value and keeps the first spelling.
    SetBytes(u"MIXEDCASE", kRegSz, Utf16Bytes(u"two", true));
    EXPECT_EQ(ValueNames(), std::vector<std::u16string>{u"MixedCase"});
    EXPECT_EQ(QueryBytes(u"MixedCase"), Utf16Bytes(u"two", true));

    RegKey sub = nullptr;
    ASSERT_EQ(registry().CreateKey(scratch(), u"Sub\\Deeper", kKeyAllAccess, &sub), kErrorSuccess);
    registry().CloseKey(sub);
    EXPECT_EQ(registry().OpenKey(scratch(), u"sub\\DEEPER", kKeyRead, &sub), kErrorSuccess);
    registry().CloseKey(sub);
}

TEST_P(RegistryContract, DefaultValueIsNullOrEmptyName) {
    SetBytes(nullptr, kRegSz, Utf16Bytes(u"dflt", true));
    EXPECT_EQ(QueryBytes(u""), Utf16Bytes(u"dflt", true));
    EXPECT_EQ(ValueNames(), std::vector<std::u16string>{u""});
    EXPECT_EQ(registry().DeleteValue(scratch(), u""), kErrorSuccess);
    std::uint32_t size = 0;
    EXPECT_EQ(registry().QueryValue(scratch(), nullptr, nullptr, nullptr, &size),
              kErrorFileNotFound);
}

TEST_P(RegistryContract, ValuesEnumerateInOrderOfCreation) {
    // Wine keeps a key's values sorted by name; Windows keeps them in the order they were made,
    // and the collectors show them in that order.
    if (RunsUnderWine()) GTEST_SKIP() << "Wine enumerates values sorted by name, Windows does not";
    for (const char16_t* name : {u"zeta", u"Alpha", u"mid", u"beta"}) {
        SetBytes(name, kRegSz, Utf16Bytes(name, true));
    }
    // Overwriting keeps a value's place.
    SetBytes(u"zeta", kRegDword, std::string(4, '\0'));
    EXPECT_EQ(ValueNames(), (std::vector<std::u16string>{u"zeta", u"Alpha", u"mid", u"beta"}));
    ASSERT_EQ(registry().DeleteValue(scratch(), u"Alpha"), kErrorSuccess);
    EXPECT_EQ(ValueNames(), (std::vector<std::u16string>{u"zeta", u"mid", u"beta"}));
}

TEST_P(RegistryContract, SubKeysEnumerateSortedWithoutCase) {
    for (const char16_t* name : {u"b", u"C", u"a"}) {
        RegKey sub = nullptr;
        ASSERT_EQ(registry().CreateKey(scratch(), name, kKeyAllAccess, &sub), kErrorSuccess);
        registry().CloseKey(sub);
    }
    std::vector<std::u16string> names;
    for (std::uint32_t index = 0;; ++index) {
        char16_t name[16];
        std::uint32_t chars = 16;
        Status status = registry().EnumKey(scratch(), index, name, &chars);
        if (status != kErrorSuccess) {
            EXPECT_EQ(status, kErrorNoMoreItems);
            break;
        }
        names.emplace_back(name, chars);
    }
    EXPECT_EQ(names, (std::vector<std::u16string>{u"a", u"b", u"C"}));
}

TEST_P(RegistryContract, EnumValueNameCapacityCountsTheTerminator) {
    SetBytes(u"Seven77", kRegSz, Utf16Bytes(u"x", true));
    char16_t name[16];
    std::uint32_t chars = 7;
    EXPECT_EQ(registry().EnumValue(scratch(), 0, name, &chars, nullptr, nullptr, nullptr),
              kErrorMoreData);
    chars = 8;
    std::uint32_t type = 0;
    EXPECT_EQ(registry().EnumValue(scratch(), 0, name, &chars, &type, nullptr, nullptr),
              kErrorSuccess);
    EXPECT_EQ(chars, 7u);
    EXPECT_EQ(std::u16string(name), u"Seven77");
    EXPECT_EQ(type, kRegSz);

    char16_t keyName[16];
    RegKey sub = nullptr;
    ASSERT_EQ(registry().CreateKey(scratch(), u"Five5", kKeyAllAccess, &sub), kErrorSuccess);
    registry().CloseKey(sub);
    chars = 5;
    EXPECT_EQ(registry().EnumKey(scratch(), 0, keyName, &chars), kErrorMoreData);
    chars = 6;
    EXPECT_EQ(registry().EnumKey(scratch(), 0, keyName, &chars), kErrorSuccess);
    EXPECT_EQ(chars, 5u);
    EXPECT_EQ(std::u16string(keyName), u"Five5");
}

TEST_P(RegistryContract, EnumValueDataTooLongGivesTheNeededSize) {
    const std::string data = Utf16Bytes(u"0123456789", true);
    SetBytes(u"v", kRegSz, data);
    char16_t name[8];
    std::uint32_t chars = 8;
    char buffer[64];
    std::uint32_t size = 4;
    EXPECT_EQ(registry().EnumValue(scratch(), 0, name, &chars, nullptr, buffer, &size),
              kErrorMoreData);
    EXPECT_EQ(size, 22u);

    chars = 8;
    size = sizeof(buffer);
    std::uint32_t type = 0;
    EXPECT_EQ(registry().EnumValue(scratch(), 0, name, &chars, &type, buffer, &size),
              kErrorSuccess);
    EXPECT_EQ(size, 22u);
    EXPECT_EQ(std::string(buffer, size), data);

    // Without a buffer only the size is asked for.
    chars = 8;
    size = 0;
    EXPECT_EQ(registry().EnumValue(scratch(), 0, name, &chars, nullptr, nullptr, &size),
              kErrorSuccess);
    EXPECT_EQ(size, 22u);
}

TEST_P(RegistryContract, EndsAndMissingThingsGiveTheirCodes) {
    char16_t name[16];
    std::uint32_t chars = 16;
    EXPECT_EQ(registry().EnumValue(scratch(), 0, name, &chars, nullptr, nullptr, nullptr),
              kErrorNoMoreItems);
    chars = 16;
    EXPECT_EQ(registry().EnumKey(scratch(), 0, name, &chars), kErrorNoMoreItems);

    std::uint32_t size = 0;
    EXPECT_EQ(registry().QueryValue(scratch(), u"Missing", nullptr, nullptr, &size),
              kErrorFileNotFound);
    EXPECT_EQ(registry().DeleteValue(scratch(), u"Missing"), kErrorFileNotFound);

    RegKey key = reinterpret_cast<RegKey>(1);
    EXPECT_EQ(registry().OpenKey(scratch(), u"Missing\\Deeper", kKeyRead, &key),
              kErrorFileNotFound);
    EXPECT_EQ(key, nullptr);
    EXPECT_EQ(registry().DeleteTree(scratch(), u"Missing"), kErrorFileNotFound);
}

TEST_P(RegistryContract, DeleteTreeRemovesTheWholeSubtree) {
    RegKey deep = nullptr;
    ASSERT_EQ(registry().CreateKey(scratch(), u"Top\\Middle\\Leaf", kKeyAllAccess, &deep),
              kErrorSuccess);
    const std::uint32_t one = 1;
    EXPECT_EQ(registry().SetValue(deep, u"v", kRegDword, &one, 4), kErrorSuccess);
    registry().CloseKey(deep);

    EXPECT_EQ(registry().DeleteTree(scratch(), u"Top"), kErrorSuccess);
    RegKey key = nullptr;
    EXPECT_EQ(registry().OpenKey(scratch(), u"Top", kKeyRead, &key), kErrorFileNotFound);
}

TEST_P(RegistryContract, HandlesAreCheckedAndRightsHonoured) {
    RegKey sub = nullptr;
    ASSERT_EQ(registry().CreateKey(scratch(), u"Rights", kKeyAllAccess, &sub), kErrorSuccess);
    EXPECT_EQ(registry().CloseKey(sub), kErrorSuccess);
    EXPECT_EQ(registry().CloseKey(sub), kErrorInvalidHandle);
    // Predefined roots close without effect.
    EXPECT_EQ(registry().CloseKey(kHkeyCurrentUser), kErrorSuccess);

    RegKey readOnly = nullptr;
    ASSERT_EQ(registry().OpenKey(scratch(), u"Rights", kKeyQueryValue, &readOnly), kErrorSuccess);
    const std::uint32_t one = 1;
    EXPECT_EQ(registry().SetValue(readOnly, u"v", kRegDword, &one, 4), kErrorAccessDenied);
    registry().CloseKey(readOnly);

    // An empty subKey opens the same key again.
    RegKey again = nullptr;
    ASSERT_EQ(registry().OpenKey(scratch(), u"", kKeyRead, &again), kErrorSuccess);
    EXPECT_NE(again, nullptr);
    registry().CloseKey(again);
}

TEST_P(RegistryContract, EachCallNeedsItsOwnRight) {
    RegKey sub = nullptr;
    ASSERT_EQ(registry().CreateKey(scratch(), u"Parent\\Child", kKeyAllAccess, &sub),
              kErrorSuccess);
    const std::uint32_t one = 1;
    ASSERT_EQ(registry().SetValue(sub, u"v", kRegDword, &one, 4), kErrorSuccess);
    registry().CloseKey(sub);

    RegKey queryOnly = nullptr;
    ASSERT_EQ(registry().OpenKey(scratch(), u"Parent", kKeyQueryValue, &queryOnly), kErrorSuccess);
    char16_t name[16];
    std::uint32_t chars = 16;
    EXPECT_EQ(registry().EnumKey(queryOnly, 0, name, &chars), kErrorAccessDenied);
    // Creating a sub-key is checked against the key's security, not against the rights of the
    // handle it is created through.
    RegKey created = nullptr;
    EXPECT_EQ(registry().CreateKey(queryOnly, u"New", kKeyAllAccess, &created), kErrorSuccess);
    registry().CloseKey(created);
    EXPECT_EQ(registry().CreateKey(queryOnly, u"Child", kKeyRead, &created), kErrorSuccess);
    registry().CloseKey(created);
    registry().CloseKey(queryOnly);

    RegKey enumerateOnly = nullptr;
    ASSERT_EQ(registry().OpenKey(scratch(), u"Parent\\Child", kKeyEnumerateSubKeys, &enumerateOnly),
              kErrorSuccess);
    std::uint32_t size = 0;
    EXPECT_EQ(registry().QueryValue(enumerateOnly, u"v", nullptr, nullptr, &size),
              kErrorAccessDenied);
    chars = 16;
    EXPECT_EQ(registry().EnumValue(enumerateOnly, 0, name, &chars, nullptr, nullptr, nullptr),
              kErrorAccessDenied);
    EXPECT_EQ(registry().DeleteValue(enumerateOnly, u"v"), kErrorAccessDenied);
    registry().CloseKey(enumerateOnly);
}

TEST_P(RegistryContract, DeniedKeyRefusesOpeningUntilAllowedAgain) {
    RegKey sub = nullptr;
    ASSERT_EQ(registry().CreateKey(scratch(), u"Locked", kKeyAllAccess, &sub), kErrorSuccess);
    registry().CloseKey(sub);
    ASSERT_EQ(DenyScratchSubKey(u"Locked"), kErrorSuccess);

    RegKey key = reinterpret_cast<RegKey>(1);
    EXPECT_EQ(registry().OpenKey(scratch(), u"Locked", kKeyRead, &key), kErrorAccessDenied);
    EXPECT_EQ(key, nullptr);
    EXPECT_EQ(registry().OpenKey(scratch(), u"Locked", kKeyQueryValue, &key), kErrorAccessDenied);

    ASSERT_EQ(registry().AllowAllAccess(scratch(), u"Locked"), kErrorSuccess);
    EXPECT_EQ(registry().OpenKey(scratch(), u"Locked", kKeyRead, &key), kErrorSuccess);
    registry().CloseKey(key);
}

INSTANTIATE_TEST_SUITE_P(Backends, RegistryContract, testing::ValuesIn(AllBackends()), BackendName);

}  // namespace
}  // namespace contract
