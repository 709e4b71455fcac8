// The registry walkers (buffers, terminators, stops) and the writers that go through a helper.
#include "tools/registry_tools.h"

#include <gtest/gtest.h>

#include "platform/unique_handle.h"
#include "tests/unit/tools_test_support.h"

namespace {

using platform::kHkeyCurrentUser;

struct Seen {
    std::vector<std::u16string> names, texts;
    std::vector<std::uint32_t> bytes;
    std::size_t stopAfter = 1000;
};

bool CollectValue(const char16_t* name, const void* data, std::uint32_t bytes, std::uint32_t,
                  void* context) {
    auto* seen = static_cast<Seen*>(context);
    seen->names.push_back(name);
    seen->texts.push_back(static_cast<const char16_t*>(data));
    seen->bytes.push_back(bytes);
    return seen->names.size() < seen->stopAfter;
}

bool CollectText(platform::RegKey, const char16_t* text, void* context) {
    auto* seen = static_cast<Seen*>(context);
    seen->names.push_back(text);
    return seen->names.size() < seen->stopAfter;
}

bool CollectToken(const char16_t* token, void* context) {
    return CollectText({}, token, context);
}

std::string Bytes(std::u16string_view text) {
    return std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
}

class RegistryTools : public ToolsTest {
  protected:
    static constexpr const char16_t* kKey = u"Software\\Test";

    platform::UniqueRegKey Open(const char16_t* path = kKey) {
        platform::UniqueRegKey key;
        EXPECT_EQ(
            machine_.registry().OpenKey(kHkeyCurrentUser, path, platform::kKeyRead, key.put()),
            platform::kErrorSuccess);
        return key;
    }
    Seen WalkValues(bool expected, std::size_t stopAfter = 1000) {
        platform::UniqueRegKey key = Open();
        Seen seen;
        seen.stopAfter = stopAfter;
        EXPECT_EQ(EnumRegValues(key.get(), &CollectValue, &seen), expected);
        return seen;
    }
    std::int32_t Tokens(const char16_t* value, Seen& seen) {
        return ForEachValueToken(kHkeyCurrentUser, kKey, value, u" ,", &CollectToken, &seen);
    }
};

TEST_F(RegistryTools, WalkEndsAtAnOversizeValueOrWhenTheCallbackStops) {
    machine_.AddKey(kHkeyCurrentUser, kKey);
    EXPECT_TRUE(WalkValues(true).names.empty());

    machine_.SetString(kHkeyCurrentUser, kKey, u"A", u"first");
    machine_.SetRaw(kHkeyCurrentUser, kKey, u"Big", platform::kRegBinary, std::string(4097, 'x'));
    machine_.SetString(kHkeyCurrentUser, kKey, u"C", u"behind");
    EXPECT_EQ(WalkValues(true).names, std::vector<std::u16string>{u"A"});
    EXPECT_EQ(WalkValues(false, 1).names, std::vector<std::u16string>{u"A"});

    machine_.FailEnumeration(kHkeyCurrentUser, kKey);
    EXPECT_TRUE(WalkValues(true).names.empty());
}

TEST_F(RegistryTools, StringDataIsAlwaysTerminatedWithinItsOwnBytes) {
    const std::u16string full(2048, u'q');
    machine_.SetString(kHkeyCurrentUser, kKey, u"Long", u"C:\\long\\path.exe");
    machine_.SetRaw(kHkeyCurrentUser, kKey, u"Short", platform::kRegSz, Bytes(u"ab"));
    machine_.SetRaw(kHkeyCurrentUser, kKey, u"Odd", platform::kRegExpandSz, Bytes(u"xyz") + "w");
    machine_.SetRaw(kHkeyCurrentUser, kKey, u"Full", platform::kRegSz, Bytes(full));
    Seen seen = WalkValues(true);
    EXPECT_EQ(seen.texts,
              (std::vector<std::u16string>{u"C:\\long\\path.exe", u"ab", u"xyz", full}));
    EXPECT_EQ(seen.bytes, (std::vector<std::uint32_t>{34, 4, 7, 4096}));
}

TEST_F(RegistryTools, MultiStringEndsInTwoNuls) {
    machine_.SetString(kHkeyCurrentUser, kKey, u"Long", u"0123456789abcdef");
    machine_.SetRaw(kHkeyCurrentUser, kKey, u"Multi", platform::kRegMultiSz,
                    Bytes(std::u16string(u"a\0b", 3)));
    platform::UniqueRegKey key = Open();
    std::u16string multi;
    auto callback = [](const char16_t*, const void* data, std::uint32_t, std::uint32_t type,
                       void* out) {
        if (type == platform::kRegMultiSz)
            static_cast<std::u16string*>(out)->assign(static_cast<const char16_t*>(data), 5);
        return true;
    };
    EXPECT_TRUE(EnumRegValues(key.get(), callback, &multi));
    EXPECT_EQ(multi, std::u16string(u"a\0b\0\0", 5));
}

TEST_F(RegistryTools, SubKeysArriveAsFullPathsAndTheCallbackCanStop) {
    machine_.AddKey(kHkeyCurrentUser, u"A\\B\\C");
    machine_.AddKey(kHkeyCurrentUser, u"A\\B\\D\\E");
    platform::UniqueRegKey key = Open(u"A\\B");
    Seen all;
    EXPECT_TRUE(EnumRegKeys(kHkeyCurrentUser, u"A\\B", key.get(), &CollectText, &all));
    EXPECT_EQ(all.names, (std::vector<std::u16string>{u"A\\B\\C", u"A\\B\\D"}));
    Seen first;
    first.stopAfter = 1;
    EXPECT_FALSE(EnumRegKeys(kHkeyCurrentUser, u"", key.get(), &CollectText, &first));
    EXPECT_EQ(first.names, std::vector<std::u16string>{u"\\C"});
}

TEST_F(RegistryTools, TokensAreSplitOnBlanksAndCommas) {
    machine_.SetString(kHkeyCurrentUser, kKey, u"List", u" a.exe, b.exe ,,c.exe ");
    machine_.SetString(kHkeyCurrentUser, kKey, u"Blank", u" , ");
    machine_.SetRaw(kHkeyCurrentUser, kKey, u"Short", platform::kRegSz, Bytes(u"xy"));
    Seen all, stopped, none, shortOne;
    stopped.stopAfter = 2;
    EXPECT_EQ(Tokens(u"List", all), 3);
    EXPECT_EQ(all.names, (std::vector<std::u16string>{u"a.exe", u"b.exe", u"c.exe"}));
    EXPECT_EQ(Tokens(u"List", stopped), 2);
    EXPECT_EQ(Tokens(u"Blank", none), 0);
    EXPECT_EQ(Tokens(u"Missing", none), -1);
    EXPECT_EQ(ForEachValueToken(kHkeyCurrentUser, u"No\\Key", u"List", u" ,", &CollectToken, &none),
              -1);
    // An unterminated value read after a longer one yields only its own token.
    EXPECT_EQ(Tokens(u"Short", shortOne), 1);
    EXPECT_EQ(shortOne.names, std::vector<std::u16string>{u"xy"});
}

class RegistryWriters : public ToolsTest {
  protected:
    RegistryWriters() { EXPECT_EQ(CElevatedHelperFactory::GetDirectHelper(&helper_), 0); }
    ~RegistryWriters() override { helper_->Release(); }
    IElevatedHelper* helper_ = nullptr;
};

TEST_F(RegistryWriters, RemoveExactlyWhatIsNamed) {
    machine_.SetString(kHkeyCurrentUser, u"T\\Gone\\Deep", u"v", u"1");
    machine_.SetString(kHkeyCurrentUser, u"T\\Stays", u"v", u"1");
    machine_.SetString(kHkeyCurrentUser, u"T", u"Remove", u"1");
    machine_.SetString(kHkeyCurrentUser, u"T", u"Keep", u"1");
    EXPECT_TRUE(DeleteRegKey(helper_, kHkeyCurrentUser, u"T\\Gone"));
    EXPECT_FALSE(machine_.HasKey(kHkeyCurrentUser, u"T\\Gone"));
    EXPECT_TRUE(machine_.HasKey(kHkeyCurrentUser, u"T\\Stays"));
    EXPECT_TRUE(DeleteRegValue(helper_, kHkeyCurrentUser, u"T", u"Remove"));
    EXPECT_EQ(machine_.ValueNames(kHkeyCurrentUser, u"T"), std::vector<std::u16string>{u"Keep"});
}

TEST_F(RegistryWriters, SetValueKeepsSizeAndTypeApartAndCreatesKeysOnlyWithFlagOne) {
    const std::uint8_t data[] = {1, 2, 3, 4, 5};
    EXPECT_FALSE(SetRegValue(helper_, kHkeyCurrentUser, u"New", u"V", data, 3, 5, 0));
    EXPECT_FALSE(machine_.HasKey(kHkeyCurrentUser, u"New"));
    EXPECT_TRUE(SetRegValue(helper_, kHkeyCurrentUser, u"New", nullptr, data, 3, 5, 1));
    platform::UniqueRegKey key;
    ASSERT_EQ(machine_.registry().OpenKey(kHkeyCurrentUser, u"New", platform::kKeyRead, key.put()),
              platform::kErrorSuccess);
    std::uint32_t type = 0, bytes = 0;
    EXPECT_EQ(machine_.registry().QueryValue(key.get(), u"", &type, nullptr, &bytes),
              platform::kErrorSuccess);
    EXPECT_EQ(type, platform::kRegBinary);
    EXPECT_EQ(bytes, 5u);
    // A negative size reaches the helper sign-extended, and the helper refuses it.
    EXPECT_FALSE(SetRegValue(helper_, kHkeyCurrentUser, u"New", u"V", data, 3, -1, 0));
}

TEST_F(RegistryWriters, FailuresAreLoggedWithRootAndStatus) {
    machine_.SetString(platform::kHkeyLocalMachine, u"K", u"V", u"1");
    machine_.FailWrites(platform::kHkeyLocalMachine, u"K", platform::kErrorAccessDenied);
    machine_.ClearTrace();
    EXPECT_FALSE(DeleteRegKey(helper_, platform::kHkeyLocalMachine, u"K"));
    EXPECT_FALSE(DeleteRegValue(helper_, platform::kHkeyLocalMachine, u"K", u"V"));
    EXPECT_FALSE(SetRegValue(helper_, platform::kHkeyLocalMachine, u"K", nullptr, u"", 1, 2, 0));
    EXPECT_EQ(machine_.TraceMessages(),
              (std::vector<std::string>{
                  "Vistrel:DeleteRegKey: Can't delete registry key K from root FFFFFFFF80000002. "
                  "hr=0X80070005",
                  "Vistrel:DeleteRegValue: Can't delete registry value V from key K from root "
                  "FFFFFFFF80000002. hr=0X80070005",
                  "Vistrel:DeleteRegValue: Can't SET registry value  from key K from root "
                  "FFFFFFFF80000002. hr=0X80070005"}));
}

TEST_F(RegistryWriters, NullHelperOrTextChangesNothingAndLogsNothing) {
    machine_.SetString(kHkeyCurrentUser, u"K", u"V", u"1");
    machine_.ClearTrace();
    EXPECT_FALSE(DeleteRegKey(nullptr, kHkeyCurrentUser, u"K"));
    EXPECT_FALSE(DeleteRegValue(nullptr, kHkeyCurrentUser, u"K", u"V"));
    EXPECT_FALSE(SetRegValue(nullptr, kHkeyCurrentUser, u"K", u"V", u"", 1, 2, 0));
    EXPECT_FALSE(DeleteRegKey(helper_, kHkeyCurrentUser, nullptr));
    EXPECT_FALSE(DeleteRegValue(helper_, kHkeyCurrentUser, u"K", nullptr));
    EXPECT_FALSE(SetRegValue(helper_, kHkeyCurrentUser, nullptr, u"V", u"", 1, 2, 0));
    EXPECT_EQ(machine_.GetString(kHkeyCurrentUser, u"K", u"V"), u"1");
    EXPECT_TRUE(machine_.TraceMessages().empty());
}

}  // namespace
