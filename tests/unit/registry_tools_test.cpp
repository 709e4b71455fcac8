// The registry walkers (buffers, terminators, stops) and the writers that go through a helper.
#include "tools/registry_tools.h"

#include <gtest/gtest.h>

#include "libs/talutils/text_utils.h"
#include "platform/unique_handle.h"
#include "tests/unit/tools_test_support.h"
#include "tools/registry_values.h"

namespace {

using platform::kHkeyCurrentUser;
using platform::kHkeyLocalMachine;
using Names = std::vector<std::u16string>;

// What a walk delivered; the callbacks say stop once stopAfter items have arrived.
struct Seen {
    Names names, texts;
    std::vector<std::uint32_t> bytes;
    std::size_t stopAfter = 1000;
};

bool CollectValue(std::u16string_view name, const void* data, std::uint32_t bytes,
                  std::uint32_t type, void* context) {
    auto* seen = static_cast<Seen*>(context);
    const auto* text = static_cast<const char16_t*>(data);
    seen->names.emplace_back(name);
    // A multi-string is taken with the two characters behind its bytes, where its NULs belong.
    seen->texts.push_back(type == platform::kRegMultiSz ? std::u16string(text, bytes / 2 + 2)
                                                        : std::u16string(text));
    seen->bytes.push_back(bytes);
    return seen->names.size() < seen->stopAfter;
}

bool CollectText(platform::RegKey, std::u16string_view text, void* context) {
    auto* seen = static_cast<Seen*>(context);
    seen->names.emplace_back(text);
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

    RegistryTools() { EXPECT_EQ(CElevatedHelperFactory::GetDirectHelper(&helper_), 0); }
    ~RegistryTools() override { helper_->Release(); }

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

    IElevatedHelper* helper_ = nullptr;
};

TEST_F(RegistryTools, WalkEndsAtAnOversizeValueOrWhenTheCallbackStops) {
    machine_.SetString(kHkeyCurrentUser, kKey, u"A", u"first");
    machine_.SetRaw(kHkeyCurrentUser, kKey, u"Big", platform::kRegBinary, std::string(4097, 'x'));
    machine_.SetString(kHkeyCurrentUser, kKey, u"C", u"behind");
    EXPECT_EQ(WalkValues(true).names, Names{u"A"});
    EXPECT_EQ(WalkValues(false, 1).names, Names{u"A"});
    // Any other failure ends it as well.
    machine_.FailEnumeration(kHkeyCurrentUser, kKey);
    EXPECT_TRUE(WalkValues(true).names.empty());
}

TEST_F(RegistryTools, StringDataIsAlwaysTerminatedWithinItsOwnBytes) {
    // Each value is shorter than one before it and stored without its terminator (the odd one
    // with a stray byte), so what a longer one left in the buffer must not show.
    const std::u16string full(2048, u'q');
    machine_.SetString(kHkeyCurrentUser, kKey, u"Long", u"C:\\long\\path.exe");
    machine_.SetRaw(kHkeyCurrentUser, kKey, u"Multi", platform::kRegMultiSz,
                    Bytes(std::u16string(u"a\0b", 3)));
    machine_.SetRaw(kHkeyCurrentUser, kKey, u"Short", platform::kRegSz, Bytes(u"ab"));
    machine_.SetRaw(kHkeyCurrentUser, kKey, u"Odd", platform::kRegExpandSz, Bytes(u"xyz") + "w");
    machine_.SetRaw(kHkeyCurrentUser, kKey, u"Full", platform::kRegSz, Bytes(full));
    Seen seen = WalkValues(true);
    EXPECT_EQ(seen.texts,
              (Names{u"C:\\long\\path.exe", std::u16string(u"a\0b\0\0", 5), u"ab", u"xyz", full}));
    EXPECT_EQ(seen.bytes, (std::vector<std::uint32_t>{34, 6, 4, 7, 4096}));
}

TEST_F(RegistryTools, SubKeysArriveAsFullPathsAndTheCallbackCanStop) {
    machine_.AddKey(kHkeyCurrentUser, u"A\\B\\C");
    machine_.AddKey(kHkeyCurrentUser, u"A\\B\\D\\E");
    platform::UniqueRegKey key = Open(u"A\\B");
    Seen all, first;
    first.stopAfter = 1;
    EXPECT_TRUE(EnumRegKeys(kHkeyCurrentUser, u"A\\B", key.get(), &CollectText, &all));
    EXPECT_EQ(all.names, (Names{u"A\\B\\C", u"A\\B\\D"}));
    EXPECT_FALSE(EnumRegKeys(kHkeyCurrentUser, u"", key.get(), &CollectText, &first));
    EXPECT_EQ(first.names, Names{u"\\C"});
}

TEST_F(RegistryTools, TokensAreSplitOnBlanksAndCommas) {
    machine_.SetString(kHkeyCurrentUser, kKey, u"List", u" a.exe, b.exe ,,c.exe ");
    machine_.SetString(kHkeyCurrentUser, kKey, u"Blank", u" , ");
    machine_.SetRaw(kHkeyCurrentUser, kKey, u"Short", platform::kRegSz, Bytes(u"xy"));
    Seen all, stopped, none, shortOne;
    stopped.stopAfter = 2;
    EXPECT_EQ(Tokens(u"List", all), 3);
    EXPECT_EQ(all.names, (Names{u"a.exe", u"b.exe", u"c.exe"}));
    // An unterminated value read after a longer one yields only its own token.
    EXPECT_EQ(Tokens(u"Short", shortOne), 1);
    EXPECT_EQ(shortOne.names, Names{u"xy"});
    EXPECT_EQ(Tokens(u"List", stopped), 2);
    EXPECT_EQ(Tokens(u"Blank", none), 0);
    EXPECT_EQ(Tokens(u"Missing", none), -1);
    EXPECT_EQ(ForEachValueToken(kHkeyCurrentUser, u"No\\Key", u"List", u" ,", &CollectToken, &none),
              -1);
}

TEST_F(RegistryTools, SingleValueReadsComeOnlyFromTheirOwnBytes) {
    machine_.SetString(kHkeyCurrentUser, kKey, u"Long", u"C:\\long\\path.exe");
    machine_.SetRaw(kHkeyCurrentUser, kKey, u"Short", platform::kRegSz, Bytes(u"ab"));
    machine_.SetRaw(kHkeyCurrentUser, kKey, u"Odd", platform::kRegBinary, Bytes(u"xyz") + "w");
    machine_.SetRaw(kHkeyCurrentUser, kKey, u"Nul", platform::kRegSz, Bytes({u"a\0b", 3}));
    machine_.SetRaw(kHkeyCurrentUser, kKey, u"Big", platform::kRegSz, std::string(4098, 'x'));
    machine_.SetDword(kHkeyCurrentUser, kKey, u"Dword", 0x01020304);
    machine_.SetRaw(kHkeyCurrentUser, kKey, u"Half", platform::kRegDword, "\x05\x01");
    machine_.SetRaw(kHkeyCurrentUser, kKey, u"Qword", platform::kRegDword, std::string(8, '\x01'));
    platform::UniqueRegKey key = Open();
    struct Case {
        const char16_t* name;
        bool read;
        std::u16string text;
    };
    for (const Case& c : {Case{u"Long", true, u"C:\\long\\path.exe"}, Case{u"Short", true, u"ab"},
                          Case{u"Odd", true, u"xyz"}, Case{u"Nul", true, u"a"},
                          Case{u"Big", false, u""}, Case{u"Missing", false, u""}}) {
        std::u16string text = u"stale";
        EXPECT_EQ(ReadRegText(key.get(), c.name, &text), c.read) << talutils::ToUtf8(c.name);
        EXPECT_EQ(text, c.text) << talutils::ToUtf8(c.name);
    }
    std::uint32_t number = 7;
    EXPECT_TRUE(ReadRegDword(key.get(), u"Dword", &number));
    EXPECT_EQ(number, 0x01020304u);
    EXPECT_TRUE(ReadRegDword(key.get(), u"Half", &number));
    EXPECT_EQ(number, 0x105u);
    EXPECT_FALSE(ReadRegDword(key.get(), u"Qword", &number));
    EXPECT_FALSE(ReadRegDword(key.get(), u"Short", &number));
    EXPECT_EQ(number, 0u);
    EXPECT_EQ(VisibleRegName({u"Updater\0x\0", 10}), u"Updater\\0x\\0");
}

TEST_F(RegistryTools, WritersChangeExactlyWhatIsNamed) {
    using namespace std::string_literals;
    machine_.SetString(kHkeyCurrentUser, u"T\\Gone\\Deep", u"v", u"1");
    machine_.SetString(kHkeyCurrentUser, u"T\\Stays", u"v", u"1");
    machine_.AddKey(kHkeyCurrentUser, u"T\\Stays\0x"s);
    for (const std::u16string& name : {u"Remove"s, u"Keep\0x"s, u"Keep"s})
        machine_.SetString(kHkeyCurrentUser, u"T", name, u"1");
    EXPECT_TRUE(DeleteRegKey(helper_, kHkeyCurrentUser, u"T\\Gone"));
    EXPECT_FALSE(machine_.HasKey(kHkeyCurrentUser, u"T\\Gone"));
    // A name hidden behind a NUL is a name of its own: the value goes alone, the key not at all
    // (the key calls would stop at the NUL and reach "T\Stays").
    EXPECT_FALSE(DeleteRegKey(helper_, kHkeyCurrentUser, u"T\\Stays\0x"s));
    EXPECT_TRUE(machine_.HasKey(kHkeyCurrentUser, u"T\\Stays"));
    EXPECT_TRUE(DeleteRegValue(helper_, kHkeyCurrentUser, u"T", u"Keep\0x"s));
    EXPECT_TRUE(DeleteRegValue(helper_, kHkeyCurrentUser, u"T", u"Remove"));
    EXPECT_EQ(machine_.ValueNames(kHkeyCurrentUser, u"T"), Names{u"Keep"});

    // Size and type stay apart; a missing key is created only with flag 1.
    const std::uint8_t data[] = {1, 2, 3, 4, 5};
    EXPECT_FALSE(SetRegValue(helper_, kHkeyCurrentUser, u"New", u"V", data, 3, 5, 0));
    EXPECT_FALSE(machine_.HasKey(kHkeyCurrentUser, u"New"));
    EXPECT_TRUE(SetRegValue(helper_, kHkeyCurrentUser, u"New", nullptr, data, 3, 5, 1));
    std::vector<std::uint8_t> stored;
    std::uint32_t type = 0;
    EXPECT_EQ(helper_->Reg_QueryValue(kHkeyCurrentUser, u"New", u"", &type, stored), 0);
    EXPECT_EQ(stored, std::vector<std::uint8_t>(data, data + 5));
    EXPECT_EQ(type, platform::kRegBinary);
    // A negative size reaches the helper sign-extended, and the helper refuses it.
    EXPECT_FALSE(SetRegValue(helper_, kHkeyCurrentUser, u"New", u"V", data, 3, -1, 0));
}

TEST_F(RegistryTools, WriterFailuresAreLoggedWithRootAndStatus) {
    machine_.SetString(kHkeyLocalMachine, u"K", u"V", u"1");
    machine_.FailWrites(kHkeyLocalMachine, u"K", platform::kErrorAccessDenied);
    machine_.ClearTrace();
    EXPECT_FALSE(DeleteRegKey(helper_, kHkeyLocalMachine, u"K"));
    EXPECT_FALSE(DeleteRegValue(helper_, kHkeyLocalMachine, u"K", u"V"));
    EXPECT_FALSE(SetRegValue(helper_, kHkeyLocalMachine, u"K", nullptr, u"", 1, 2, 0));
    EXPECT_EQ(machine_.GetString(kHkeyLocalMachine, u"K", u"V"), u"1");
    EXPECT_EQ(machine_.TraceMessages(),
              (std::vector<std::string>{
                  "Vistrel:DeleteRegKey: Can't delete registry key K from root FFFFFFFF80000002. "
                  "hr=0X80070005",
                  "Vistrel:DeleteRegValue: Can't delete registry value V from key K from root "
                  "FFFFFFFF80000002. hr=0X80070005",
                  "Vistrel:DeleteRegValue: Can't SET registry value  from key K from root "
                  "FFFFFFFF80000002. hr=0X80070005"}));
}

}  // namespace
