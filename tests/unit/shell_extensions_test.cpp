// Shell extensions and execute hooks on the memory machine: which values are entries, what the
// tree shows for them, and that Remove deletes the one value, even one of an unknown class.
#include "collectors/shell/shell_extensions.h"

#include "tests/unit/shell_collector_support.h"

namespace shelltest {
namespace {

using namespace std::string_view_literals;

constexpr char16_t kApproved[] =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\Approved";
constexpr char16_t kHooks[] =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\ShellExecuteHooks";

using ShellExtensionsTest = ShellCollectorTest;

TEST_F(ShellExtensionsTest, BothListsResolveEveryStringValueThroughItsClass) {
    Register({u"{S1}", Sz(u"unused description"), true, Sz(u"C:\\a very long path\\one.dll")});
    Register({u"{S2}", std::nullopt, true, std::string()});  // zero-byte server
    Register({u"{S3}", std::nullopt, true, std::nullopt});   // server key without a value
    Register({u"{S4}", std::nullopt, true, Bytes(u"raw.dll"), platform::kRegBinary});
    const struct {
        const char16_t* name;
        std::string data;
        std::uint32_t type;
        const char16_t* text;  // what the tree shows; null: not listed
        const char16_t* file;
    } rows[] = {
        {u"{S1}", Sz(u"One"), platform::kRegSz, u"One", u"C:\\a very long path\\one.dll"},
        {u"{S2}", Sz(u"Two"), platform::kRegSz, u"Two", u""},
        {u"{S1}x", Sz(u""), platform::kRegSz, u"", u""},  // unregistered, no description
        {u"{S3}", Sz(u"Three"), platform::kRegSz, u"Three", u""},
        {u"{S4}", Bytes(u"Four\0hidden tail"sv), platform::kRegSz, u"Four", u"raw.dll"},
        {u"{S1}", Sz(u""), platform::kRegSz, u"C:\\a very long path\\one.dll", nullptr},
        {u"", Sz(u"default"), platform::kRegSz, nullptr, nullptr},
        {u"{S5}", Sz(u"expand"), platform::kRegExpandSz, nullptr, nullptr},
        {u"{S6}", "\x01\0\0\0", platform::kRegDword, nullptr, nullptr},
    };
    std::vector<std::u16string> expected;
    std::vector<const char16_t*> files, names;
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        // The same class id twice: the later row under another spelling of the same value would
        // replace it, so it goes into the hooks list only.
        const bool hooksOnly = i == 5;
        if (!hooksOnly)
            machine.SetRaw(kHkeyLocalMachine, kApproved, rows[i].name, rows[i].type, rows[i].data);
        machine.SetRaw(kHkeyLocalMachine, kHooks, hooksOnly ? u"{S1}" : rows[i].name, rows[i].type,
                       rows[i].data);
        if (rows[i].text && !hooksOnly) {
            expected.push_back(rows[i].text);
            files.push_back(rows[i].file);
            names.push_back(rows[i].name);
        }
    }

    CVistrelWEShellExtensions approved;
    std::int32_t result = 0;
    EXPECT_EQ(Texts(approved, &result), expected);
    ASSERT_EQ(approved.items.size(), files.size());
    for (std::size_t i = 0; i < files.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(approved.items[i].file, files[i]);
        EXPECT_EQ(approved.items[i].entry, names[i]);
        EXPECT_EQ(approved.items[i].serverKey,
                  u"CLSID\\" + std::u16string(names[i]) + u"\\InprocServer32");
    }
    EXPECT_TRUE(approved.EmptyNameIsDefault());

    // The hooks give the same records for the same values; their {S1} has no description and
    // shows its server.
    CVistrelWEShellExecHooks hooks;
    const std::vector<std::u16string> hookTexts = Texts(hooks, &result);
    ASSERT_EQ(hooks.items.size(), approved.items.size());
    EXPECT_EQ(hookTexts[0], u"C:\\a very long path\\one.dll");
    for (std::size_t i = 1; i < hooks.items.size(); ++i) {
        EXPECT_EQ(hooks.items[i].name, approved.items[i].name);
        EXPECT_EQ(hooks.items[i].file, approved.items[i].file);
    }
    // Details run on the server, an empty one too.
    EXPECT_EQ(Details(approved, 0, &result)[0].value, u"C:\\a very long path\\one.dll");
    EXPECT_EQ(Details(approved, 2, &result)[0].value, u"");
}

TEST_F(ShellExtensionsTest, RemoveDeletesTheValueOfAnUnknownClassAndGoToItsServerKey) {
    Register({u"{K1}", Sz(u"k1"), true, Sz(u"C:\\k1.dll")});
    machine.SetString(kHkeyLocalMachine, kApproved, u"{K1}", u"Known");
    machine.SetString(kHkeyLocalMachine, kApproved, u"{K2}", u"");
    machine.SetString(kHkeyLocalMachine, kApproved, u"", u"the key's default value");
    CVistrelWEShellExtensions approved;
    ASSERT_EQ(approved.EnumerateItems(nullptr, true, nullptr), 2);

    resultFlags flags;
    EXPECT_FALSE(approved.DoAction(-1, 1, &flags));
    EXPECT_EQ(LastEditorKey(), u"Computer\\HKEY_CLASSES_ROOT\\CLSID\\{K2}\\InprocServer32");
    ASSERT_TRUE(approved.DoAction(2, 1, &flags));
    EXPECT_EQ(flags.deleteItem, 1);
    EXPECT_EQ(machine.ValueNames(kHkeyLocalMachine, kApproved),
              (std::vector<std::u16string>{u"{K1}", u""}));
    EXPECT_TRUE(machine.HasKey(kHkeyClassesRoot, u"CLSID\\{K1}\\InprocServer32"));

    machine.FailWrites(kHkeyLocalMachine, kApproved);
    resultFlags refused;
    EXPECT_FALSE(approved.DoAction(2, 0, &refused));
    EXPECT_EQ(refused.succeeded, 0);
    EXPECT_TRUE(machine.HasValue(kHkeyLocalMachine, kApproved, u"{K1}"));
}

TEST_F(ShellExtensionsTest, AFailedReadStillOffersGoTo) {
    CVistrelWEShellExecHooks hooks;
    EXPECT_EQ(hooks.EnumerateItems(nullptr, true, nullptr), kEnumNotFound);
    for (std::int32_t index : {-1, 0}) EXPECT_EQ(hooks.GetActionMask(index), 3u);
    machine.SetString(kHkeyLocalMachine, kHooks, u"{H}", u"hook");
    ASSERT_EQ(hooks.EnumerateItems(nullptr, true, nullptr), 1);
    EXPECT_EQ(hooks.GetActionMask(0), 7u);
    EXPECT_EQ(hooks.GetActionMask(1), 3u);
}

}  // namespace
}  // namespace shelltest
