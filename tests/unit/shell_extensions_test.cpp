// Shell extensions and execute hooks on the memory machine: which values are entries, what the
// tree shows, and that Remove deletes the one value, even one of an unknown class.
#include "collectors/shell/shell_extensions.h"

#include "tests/unit/shell_collector_support.h"

namespace shelltest {
namespace {

using namespace std::literals;

constexpr char16_t kApproved[] =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\Approved";
constexpr char16_t kHooks[] =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\ShellExecuteHooks";

using ShellExtensionsTest = ShellCollectorTest;

TEST_F(ShellExtensionsTest, BothListsResolveEveryNamedStringValueThroughItsClass) {
    Register({u"{S1}", Sz(u"not read"), Sz(u"C:\\a very long path\\one.dll")});
    Register({u"{S2}", std::nullopt, ""});            // zero-byte server
    Register({u"{S3}", std::nullopt, std::nullopt});  // server key without a value
    Register({u"{S4}", std::nullopt, Bytes(u"raw.dll"), true, platform::kRegBinary});
    const struct {
        const char16_t* name;
        std::string data;
        std::uint32_t type;
        const char16_t* text;  // what the tree shows; null: not listed
        const char16_t* file;
    } rows[] = {
        {u"{S1}", Sz(u""), platform::kRegSz, u"C:\\a very long path\\one.dll",
         u"C:\\a very long path\\one.dll"},
        {u"{S2}", Sz(u"Two"), platform::kRegSz, u"Two", u""},
        {u"{S9}", Sz(u""), platform::kRegSz, u"", u""},  // unregistered, no description
        {u"{S3}", Sz(u"Three"), platform::kRegSz, u"Three", u""},
        {u"{S4}", Bytes(u"Four\0hidden tail"sv), platform::kRegSz, u"Four", u"raw.dll"},
        {u"", Sz(u"default"), platform::kRegSz, nullptr, nullptr},
        {u"{S5}", Sz(u"expand"), platform::kRegExpandSz, nullptr, nullptr},
        {u"{S6}", "\x01\0\0\0"s, platform::kRegDword, nullptr, nullptr},
    };
    std::vector<std::u16string> expected;
    for (const auto& row : rows) {
        for (const char16_t* list : {kApproved, kHooks})
            machine.SetRaw(kHkeyLocalMachine, list, row.name, row.type, row.data);
        if (row.text) expected.push_back(row.text);
    }
    CVistrelWEShellExtensions approved;
    CVistrelWEShellExecHooks hooks;
    EXPECT_EQ(Texts(approved), expected);
    EXPECT_EQ(Texts(hooks), expected);
    ASSERT_EQ(approved.items.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(approved.items[i].file, rows[i].file) << i;
        EXPECT_EQ(approved.items[i].entry, rows[i].name);
        EXPECT_EQ(approved.items[i].serverKey,
                  u"CLSID\\" + std::u16string(rows[i].name) + u"\\InprocServer32");
        EXPECT_EQ(hooks.items[i].name, approved.items[i].name);
    }
    // Details run on the server, an empty one too.
    EXPECT_EQ(Details(approved, 2)[0], LineText(22212, u"", 0));

    // Go to the unknown class's server key; Remove takes its value and nothing else.
    EXPECT_EQ(GoTo(approved, 2), u"Computer\\HKEY_CLASSES_ROOT\\CLSID\\{S9}\\InprocServer32");
    EXPECT_EQ(GoTo(approved, -1), u"Computer\\HKEY_LOCAL_MACHINE\\" + std::u16string(kApproved));
    const std::vector<std::u16string> before = machine.ValueNames(kHkeyLocalMachine, kApproved);
    EXPECT_TRUE(Remove(approved, 2));
    std::vector<std::u16string> after = before;
    after.erase(after.begin() + 2);
    EXPECT_EQ(machine.ValueNames(kHkeyLocalMachine, kApproved), after);
    EXPECT_EQ(machine.ValueNames(kHkeyLocalMachine, kHooks), before);
    machine.FailWrites(kHkeyLocalMachine, kApproved);
    EXPECT_FALSE(Remove(approved, 0));
    EXPECT_EQ(machine.ValueNames(kHkeyLocalMachine, kApproved), after);
}

TEST_F(ShellExtensionsTest, AFailedReadStillOffersGoTo) {
    CVistrelWEShellExecHooks hooks;
    EXPECT_EQ(hooks.EnumerateItems(nullptr, true, nullptr), kEnumNotFound);
    EXPECT_EQ(hooks.GetActionMask(-1), 3u);
    machine.SetString(kHkeyLocalMachine, kHooks, u"{H}", u"hook");
    ASSERT_EQ(hooks.EnumerateItems(nullptr, true, nullptr), 1);
    EXPECT_EQ(hooks.GetActionMask(0), 7u);
    EXPECT_EQ(hooks.GetActionMask(1), 3u);
}

}  // namespace
}  // namespace shelltest
