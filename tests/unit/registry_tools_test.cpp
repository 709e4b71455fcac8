// The registry walkers (buffers, terminators, stops) and the writers that go through a helper.
#include "tools/registry_tools.h"

#include <gtest/gtest.h>

#include <cstring>

#include "platform/unique_handle.h"
#include "tests/unit/tools_test_support.h"

namespace {

using platform::kHkeyCurrentUser;
using platform::kHkeyLocalMachine;

struct SeenValue {
    std::u16string name;
    std::u16string text;  // the data read as wide text up to its first NUL
    std::uint32_t bytes;
    std::uint32_t type;
};

struct ValueLog {
    std::vector<SeenValue> seen;
    std::size_t stopAfter = 1000;
};

bool CollectValue(const char16_t* name, const void* data, std::uint32_t bytes, std::uint32_t type,
                  void* context) {
    auto* log = static_cast<ValueLog*>(context);
    log->seen.push_back({name, static_cast<const char16_t*>(data), bytes, type});
    return log->seen.size() < log->stopAfter;
}

struct KeyLog {
    std::vector<std::u16string> paths;
    std::vector<platform::RegKey> roots;
    std::size_t stopAfter = 1000;
};

bool CollectKey(platform::RegKey root, const char16_t* path, void* context) {
    auto* log = static_cast<KeyLog*>(context);
    log->paths.push_back(path);
    log->roots.push_back(root);
    return log->paths.size() < log->stopAfter;
}

struct TokenLog {
    std::vector<std::u16string> tokens;
    std::size_t stopAfter = 1000;
};

bool CollectToken(const char16_t* token, void* context) {
    auto* log = static_cast<TokenLog*>(context);
    log->tokens.push_back(token);
    return log->tokens.size() < log->stopAfter;
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

    ValueLog WalkValues(bool expected) {
        platform::UniqueRegKey key = Open();
        ValueLog log;
        EXPECT_EQ(EnumRegValues(key.get(), &CollectValue, &log), expected);
        return log;
    }
};

TEST_F(RegistryTools, EmptyKeyGivesTrueAndNoCallback) {
    machine_.AddKey(kHkeyCurrentUser, kKey);
    EXPECT_TRUE(WalkValues(true).seen.empty());
}

TEST_F(RegistryTools, ValuesComeInOrderWithSizeAndType) {
    machine_.SetString(kHkeyCurrentUser, kKey, u"", u"default");
    machine_.SetString(kHkeyCurrentUser, kKey, u"Exp", u"%WINDIR%\\x.exe", platform::kRegExpandSz);
    machine_.SetDword(kHkeyCurrentUser, kKey, u"Count", 7);
    ValueLog log = WalkValues(true);
    ASSERT_EQ(log.seen.size(), 3u);
    EXPECT_EQ(log.seen[0].name, u"");
    EXPECT_EQ(log.seen[0].text, u"default");
    EXPECT_EQ(log.seen[0].bytes, 16u);
    EXPECT_EQ(log.seen[1].type, platform::kRegExpandSz);
    EXPECT_EQ(log.seen[1].text, u"%WINDIR%\\x.exe");
    EXPECT_EQ(log.seen[2].type, platform::kRegDword);
    EXPECT_EQ(log.seen[2].bytes, 4u);
}

TEST_F(RegistryTools, OversizeValueEndsTheWalkWithTrue) {
    machine_.SetString(kHkeyCurrentUser, kKey, u"A", u"first");
    machine_.SetRaw(kHkeyCurrentUser, kKey, u"Big", platform::kRegBinary, std::string(4097, 'x'));
    machine_.SetString(kHkeyCurrentUser, kKey, u"C", u"behind");
    ValueLog log = WalkValues(true);
    ASSERT_EQ(log.seen.size(), 1u);
    EXPECT_EQ(log.seen[0].name, u"A");
}

TEST_F(RegistryTools, StringFilling4096BytesWithoutTerminatorIsDeliveredWhole) {
    const std::u16string text(2048, u'q');
    machine_.SetRaw(kHkeyCurrentUser, kKey, u"Full", platform::kRegSz, Bytes(text));
    ValueLog log = WalkValues(true);
    ASSERT_EQ(log.seen.size(), 1u);
    EXPECT_EQ(log.seen[0].text, text);
    EXPECT_EQ(log.seen[0].bytes, 4096u);
}

TEST_F(RegistryTools, UnterminatedStringDoesNotPickUpTheLongerValueBeforeIt) {
    machine_.SetString(kHkeyCurrentUser, kKey, u"Long", u"C:\\long\\path.exe");
    machine_.SetRaw(kHkeyCurrentUser, kKey, u"Short", platform::kRegSz, Bytes(u"ab"));
    machine_.SetRaw(kHkeyCurrentUser, kKey, u"Odd", platform::kRegExpandSz, Bytes(u"xyz") + "w");
    ValueLog log = WalkValues(true);
    ASSERT_EQ(log.seen.size(), 3u);
    EXPECT_EQ(log.seen[1].text, u"ab");
    EXPECT_EQ(log.seen[1].bytes, 4u);
    EXPECT_EQ(log.seen[2].text, u"xyz");
    EXPECT_EQ(log.seen[2].bytes, 7u);
}

TEST_F(RegistryTools, MultiStringEndsInTwoNuls) {
    machine_.SetString(kHkeyCurrentUser, kKey, u"Long", u"0123456789abcdef");
    machine_.SetRaw(kHkeyCurrentUser, kKey, u"Multi", platform::kRegMultiSz,
                    Bytes(std::u16string(u"a\0b", 3)));
    platform::UniqueRegKey key = Open();
    struct Context {
        std::u16string second;
    } context;
    auto callback = [](const char16_t* name, const void* data, std::uint32_t, std::uint32_t,
                       void* ctx) {
        if (std::u16string_view(name) == u"Multi") {
            const auto* text = static_cast<const char16_t*>(data);
            static_cast<Context*>(ctx)->second.assign(text, 5);
        }
        return true;
    };
    EXPECT_TRUE(EnumRegValues(key.get(), callback, &context));
    EXPECT_EQ(context.second, std::u16string(u"a\0b\0\0", 5));
}

TEST_F(RegistryTools, CallbackStoppingAtTheFirstValueGivesFalse) {
    machine_.SetString(kHkeyCurrentUser, kKey, u"A", u"1");
    machine_.SetString(kHkeyCurrentUser, kKey, u"B", u"2");
    platform::UniqueRegKey key = Open();
    ValueLog log;
    log.stopAfter = 1;
    EXPECT_FALSE(EnumRegValues(key.get(), &CollectValue, &log));
    EXPECT_EQ(log.seen.size(), 1u);
}

TEST_F(RegistryTools, FailingEnumerationLooksLikeAnEmptyKey) {
    machine_.SetString(kHkeyCurrentUser, kKey, u"A", u"1");
    machine_.AddKey(kHkeyCurrentUser, u"Software\\Test\\Sub");
    machine_.FailEnumeration(kHkeyCurrentUser, kKey);
    EXPECT_TRUE(WalkValues(true).seen.empty());
    platform::UniqueRegKey key = Open();
    KeyLog keys;
    EXPECT_TRUE(EnumRegKeys(kHkeyCurrentUser, kKey, key.get(), &CollectKey, &keys));
    EXPECT_TRUE(keys.paths.empty());
}

TEST_F(RegistryTools, SubKeysArriveAsFullPathsUnderTheGivenRoot) {
    machine_.AddKey(kHkeyCurrentUser, u"A\\B\\C");
    machine_.AddKey(kHkeyCurrentUser, u"A\\B\\D\\E");
    platform::UniqueRegKey key = Open(u"A\\B");
    KeyLog log;
    EXPECT_TRUE(EnumRegKeys(kHkeyLocalMachine, u"A\\B", key.get(), &CollectKey, &log));
    EXPECT_EQ(log.paths, (std::vector<std::u16string>{u"A\\B\\C", u"A\\B\\D"}));
    EXPECT_EQ(log.roots, (std::vector<platform::RegKey>{kHkeyLocalMachine, kHkeyLocalMachine}));

    KeyLog fromEmpty;
    fromEmpty.stopAfter = 1;
    EXPECT_FALSE(EnumRegKeys(kHkeyCurrentUser, u"", key.get(), &CollectKey, &fromEmpty));
    EXPECT_EQ(fromEmpty.paths, std::vector<std::u16string>{u"\\C"});
}

TEST_F(RegistryTools, TokensAreSplitOnBlanksAndCommas) {
    machine_.SetString(kHkeyCurrentUser, kKey, u"List", u" a.exe, b.exe ,,c.exe ");
    machine_.SetString(kHkeyCurrentUser, kKey, u"Empty", u"");
    machine_.SetString(kHkeyCurrentUser, kKey, u"Blank", u" , ");

    TokenLog all;
    EXPECT_EQ(ForEachValueToken(kHkeyCurrentUser, kKey, u"List", u" ,", &CollectToken, &all), 3);
    EXPECT_EQ(all.tokens, (std::vector<std::u16string>{u"a.exe", u"b.exe", u"c.exe"}));

    TokenLog stopped;
    stopped.stopAfter = 2;
    EXPECT_EQ(ForEachValueToken(kHkeyCurrentUser, kKey, u"List", u" ,", &CollectToken, &stopped),
              2);

    TokenLog none;
    EXPECT_EQ(ForEachValueToken(kHkeyCurrentUser, kKey, u"Empty", u" ,", &CollectToken, &none), 0);
    EXPECT_EQ(ForEachValueToken(kHkeyCurrentUser, kKey, u"Blank", u" ,", &CollectToken, &none), 0);
    EXPECT_EQ(ForEachValueToken(kHkeyCurrentUser, kKey, u"Missing", u" ,", &CollectToken, &none),
              -1);
    EXPECT_EQ(ForEachValueToken(kHkeyCurrentUser, u"No\\Key", u"List", u" ,", &CollectToken, &none),
              -1);
    EXPECT_TRUE(none.tokens.empty());
}

TEST_F(RegistryTools, ShortTokenValueAfterALongOneYieldsOnlyItsOwnTokens) {
    machine_.SetString(kHkeyCurrentUser, kKey, u"Long", u"one two three four");
    machine_.SetRaw(kHkeyCurrentUser, kKey, u"Short", platform::kRegSz, Bytes(u"xy"));
    TokenLog log;
    EXPECT_EQ(ForEachValueToken(kHkeyCurrentUser, kKey, u"Long", u" ,", &CollectToken, &log), 4);
    TokenLog shortLog;
    EXPECT_EQ(ForEachValueToken(kHkeyCurrentUser, kKey, u"Short", u" ,", &CollectToken, &shortLog),
              1);
    EXPECT_EQ(shortLog.tokens, std::vector<std::u16string>{u"xy"});
}

// A recording helper owned for one test.
struct HelperHolder {
    HelperHolder() : helper(new RecordingHelper()) {}
    ~HelperHolder() { helper->Release(); }
    RecordingHelper* helper;
};

TEST_F(RegistryTools, SetRegValueSwapsSizeAndTypeAndWidensTheSize) {
    HelperHolder holder;
    const char16_t data[] = u"x";
    EXPECT_TRUE(SetRegValue(holder.helper, kHkeyLocalMachine, u"Software\\K", nullptr, data,
                            platform::kRegMultiSz, -1, 1));
    ASSERT_EQ(holder.helper->calls.size(), 1u);
    const RecordingHelper::Call& call = holder.helper->calls[0];
    EXPECT_EQ(call.operation, "Reg_SetValue");
    EXPECT_EQ(call.root, kHkeyLocalMachine);
    EXPECT_EQ(call.keyPath, u"Software\\K");
    EXPECT_EQ(call.valueName, u"");
    EXPECT_EQ(call.data, data);
    EXPECT_EQ(call.size, -1);
    EXPECT_EQ(call.type, platform::kRegMultiSz);
    EXPECT_EQ(call.flag, 1);
}

TEST_F(RegistryTools, NegativeHelperResultsAreLoggedAndGiveFalse) {
    HelperHolder holder;
    holder.helper->status = platform::kEAccessDenied;
    machine_.ClearTrace();
    EXPECT_FALSE(DeleteRegKey(holder.helper, kHkeyLocalMachine, u"Software\\K"));
    EXPECT_FALSE(DeleteRegValue(holder.helper, kHkeyLocalMachine, u"Software\\K", u"V"));
    EXPECT_FALSE(
        SetRegValue(holder.helper, kHkeyLocalMachine, u"Software\\K", nullptr, u"", 1, 2, 0));
    EXPECT_EQ(
        machine_.TraceMessages(),
        (std::vector<std::string>{
            "Vistrel:DeleteRegKey: Can't delete registry key Software\\K from root "
            "FFFFFFFF80000002. hr=0X80070005",
            "Vistrel:DeleteRegValue: Can't delete registry value V from key Software\\K from "
            "root FFFFFFFF80000002. hr=0X80070005",
            "Vistrel:DeleteRegValue: Can't SET registry value  from key Software\\K from root "
            "FFFFFFFF80000002. hr=0X80070005"}));

    holder.helper->status = platform::kSFalse;
    EXPECT_TRUE(DeleteRegKey(holder.helper, kHkeyLocalMachine, u"Software\\K"));
}

TEST_F(RegistryTools, NullHelperOrTextMakesNoCallAndNoLogLine) {
    HelperHolder holder;
    machine_.ClearTrace();
    EXPECT_FALSE(DeleteRegKey(nullptr, kHkeyCurrentUser, u"K"));
    EXPECT_FALSE(DeleteRegValue(nullptr, kHkeyCurrentUser, u"K", u"V"));
    EXPECT_FALSE(SetRegValue(nullptr, kHkeyCurrentUser, u"K", u"V", u"", 1, 2, 0));
    EXPECT_FALSE(DeleteRegKey(holder.helper, kHkeyCurrentUser, nullptr));
    EXPECT_FALSE(DeleteRegValue(holder.helper, kHkeyCurrentUser, u"K", nullptr));
    EXPECT_FALSE(DeleteRegValue(holder.helper, kHkeyCurrentUser, nullptr, u"V"));
    EXPECT_FALSE(SetRegValue(holder.helper, kHkeyCurrentUser, nullptr, u"V", u"", 1, 2, 0));
    EXPECT_TRUE(holder.helper->calls.empty());
    EXPECT_TRUE(machine_.TraceMessages().empty());
}

TEST_F(RegistryTools, DirectHelperRemovesExactlyWhatIsNamed) {
    machine_.SetString(kHkeyCurrentUser, u"Software\\Test\\Gone\\Deep", u"v", u"1");
    machine_.SetString(kHkeyCurrentUser, u"Software\\Test\\Stays", u"v", u"1");
    machine_.SetString(kHkeyCurrentUser, kKey, u"Remove", u"1");
    machine_.SetString(kHkeyCurrentUser, kKey, u"Keep", u"1");
    IElevatedHelper* helper = nullptr;
    ASSERT_EQ(CElevatedHelperFactory::GetDirectHelper(&helper), platform::kSOk);

    EXPECT_TRUE(DeleteRegKey(helper, kHkeyCurrentUser, u"Software\\Test\\Gone"));
    EXPECT_FALSE(machine_.HasKey(kHkeyCurrentUser, u"Software\\Test\\Gone"));
    EXPECT_TRUE(machine_.HasKey(kHkeyCurrentUser, u"Software\\Test\\Stays"));

    EXPECT_TRUE(DeleteRegValue(helper, kHkeyCurrentUser, kKey, u"Remove"));
    EXPECT_EQ(machine_.ValueNames(kHkeyCurrentUser, kKey), std::vector<std::u16string>{u"Keep"});

    machine_.ClearTrace();
    EXPECT_FALSE(DeleteRegValue(helper, kHkeyCurrentUser, kKey, u"Remove"));
    EXPECT_TRUE(Logged(
        "Vistrel:DeleteRegValue: Can't delete registry value Remove from key Software\\Test from "
        "root FFFFFFFF80000001. hr=0X80070002"));
    helper->Release();
}

TEST_F(RegistryTools, DirectHelperCreatesMissingKeysOnlyWithFlagOne) {
    IElevatedHelper* helper = nullptr;
    ASSERT_EQ(CElevatedHelperFactory::GetDirectHelper(&helper), platform::kSOk);
    const char16_t text[] = u"abc";
    EXPECT_FALSE(SetRegValue(helper, kHkeyCurrentUser, u"New\\Key", u"V", text, 1, 8, 0));
    EXPECT_FALSE(machine_.HasKey(kHkeyCurrentUser, u"New\\Key"));
    EXPECT_TRUE(SetRegValue(helper, kHkeyCurrentUser, u"New\\Key", u"V", text, 1, 8, 1));
    EXPECT_EQ(machine_.GetString(kHkeyCurrentUser, u"New\\Key", u"V"), u"abc");
    EXPECT_TRUE(SetRegValue(helper, kHkeyCurrentUser, u"New\\Key", nullptr, text, 1, 8, 0));
    EXPECT_EQ(machine_.GetString(kHkeyCurrentUser, u"New\\Key", u""), u"abc");
    helper->Release();
}

}  // namespace
