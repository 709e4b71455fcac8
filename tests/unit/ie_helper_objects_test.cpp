// Browser helper objects and menu extensions on the memory machine: which sub-keys become
// entries, what texts they carry, and that Remove deletes exactly the entry's sub-key.
#include "collectors/shell/ie_helper_objects.h"

#include "collectors/shell/ie_menu_extensions.h"
#include "tests/unit/shell_collector_support.h"

namespace shelltest {
namespace {

constexpr char16_t kBho[] =
    u"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Browser Helper Objects";
constexpr char16_t kMenuExt[] = u"Software\\Microsoft\\Internet Explorer\\MenuExt";

using IEHelperObjectsTest = ShellCollectorTest;

TEST_F(IEHelperObjectsTest, OnlyClassesWithDescriptionAndServerAreListed) {
    // Sub-keys enumerate sorted, so the rows run in this order; each row's read follows a longer
    // one, so a text that kept bytes of the read before would show.
    const struct {
        ClassRecord record;
        bool registered;
        const char16_t* name;  // null: not listed
        const char16_t* file;
    } rows[] = {
        {{u"{A1}", Sz(u"A long description"), true, Sz(u"C:\\a long server.dll")},
         true,
         u"A long description",
         u"C:\\a long server.dll"},
        {{u"{A2}", std::string(), true, std::string()}, true, u"", u""},  // zero bytes
        {{u"{A3}", Bytes(u"unterminated"), true, Bytes(u"x.dll") + "\x01", platform::kRegBinary},
         true,
         u"unterminated",
         u"x.dll"},
        {{u"{B1}", Sz(u"no server key"), false, std::nullopt}, true, nullptr, nullptr},
        {{u"{B2}", Sz(u"server without value"), true, std::nullopt}, true, nullptr, nullptr},
        {{u"{B3}", std::nullopt, true, Sz(u"b3.dll")}, true, nullptr, nullptr},
        {{u"{B4}", Sz(std::u16string(2048, u'x')), true, Sz(u"big.dll")}, true, nullptr, nullptr},
        {{u"{B5}", std::nullopt, false, std::nullopt}, false, nullptr, nullptr},  // unregistered
    };
    std::vector<std::u16string> expected;
    for (const auto& row : rows) {
        machine.AddKey(kHkeyLocalMachine, std::u16string(kBho) + u"\\" + row.record.id);
        if (row.registered) Register(row.record);
        if (row.name) expected.push_back(row.name);
    }
    CVistrelIEBHO bho;
    std::int32_t result = 0;
    EXPECT_EQ(Texts(bho, &result), expected);
    EXPECT_EQ(result, 3);
    EXPECT_FALSE(bho.EmptyNameIsDefault());
    ASSERT_EQ(bho.items.size(), 3u);
    for (std::size_t i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(bho.items[i].file, rows[i].file);
        EXPECT_EQ(bho.items[i].serverKey, u"CLSID\\" + rows[i].record.id + u"\\InprocServer32");
        EXPECT_EQ(bho.items[i].entry, std::u16string(kBho) + u"\\" + rows[i].record.id);
    }
    // Details describe the server as stored.
    std::vector<Line> lines = Details(bho, 0, &result);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0].value, u"C:\\a long server.dll");
}

TEST_F(IEHelperObjectsTest, RemoveDeletesOnlyTheEntryAndGoToOpensTheServerKey) {
    Register({u"{C1}", Sz(u"one"), true, Sz(u"one.dll")});
    Register({u"{C2}", Sz(u"two"), true, Sz(u"two.dll")});
    for (const char16_t* id : {u"\\{C1}", u"\\{C2}"})
        machine.SetString(kHkeyLocalMachine, std::u16string(kBho) + id, u"NoExplorer", u"1");
    CVistrelIEBHO bho;
    ASSERT_EQ(bho.EnumerateItems(nullptr, true, nullptr), 2);

    resultFlags flags;
    EXPECT_FALSE(bho.DoAction(1, 1, &flags));
    EXPECT_EQ(LastEditorKey(), u"Computer\\HKEY_CLASSES_ROOT\\CLSID\\{C2}\\InprocServer32");
    EXPECT_FALSE(bho.DoAction(1, -1, &flags));
    EXPECT_EQ(LastEditorKey(), u"Computer\\HKEY_LOCAL_MACHINE\\" + std::u16string(kBho));

    ASSERT_TRUE(bho.DoAction(2, 0, &flags));
    EXPECT_EQ(flags.deleteItem, 1);
    EXPECT_FALSE(machine.HasKey(kHkeyLocalMachine, std::u16string(kBho) + u"\\{C1}"));
    EXPECT_TRUE(machine.HasKey(kHkeyLocalMachine, std::u16string(kBho) + u"\\{C2}"));
    EXPECT_TRUE(machine.HasKey(kHkeyClassesRoot, u"CLSID\\{C1}\\InprocServer32"));
    EXPECT_EQ(bho.items.size(), 2u);

    // A refused deletion says so and leaves the key.
    machine.FailWrites(kHkeyLocalMachine, kBho);
    resultFlags refused;
    EXPECT_FALSE(bho.DoAction(2, 1, &refused));
    EXPECT_EQ(refused.succeeded, 0);
    EXPECT_EQ(refused.deleteItem, 0);
    EXPECT_TRUE(machine.HasKey(kHkeyLocalMachine, std::u16string(kBho) + u"\\{C2}"));
}

TEST_F(IEHelperObjectsTest, EmptyOrMissingKeyOffersWhatTheMaskRuleSays) {
    CVistrelIEBHO bho;
    EXPECT_EQ(bho.EnumerateItems(nullptr, true, nullptr), kEnumNotFound);
    EXPECT_EQ(bho.GetActionMask(-1), 1u);
    machine.AddKey(kHkeyLocalMachine, kBho);
    EXPECT_EQ(bho.EnumerateItems(nullptr, true, nullptr), 0);
    EXPECT_EQ(bho.GetActionMask(-1), 3u);
}

using IEMenuExtTest = ShellCollectorTest;

TEST_F(IEMenuExtTest, EntriesNeedADefaultValueAndRemoveTakesOnlyTheirKey) {
    const std::u16string base = kMenuExt;
    const struct {
        const char16_t* name;
        std::optional<std::string> value;
        std::uint32_t type;
        const char16_t* listed;  // second, or null: not listed
    } rows[] = {
        {u"&A long entry", Sz(u"res://C:\\long\\page.htm"), platform::kRegSz,
         u"res://C:\\long\\page.htm"},
        {u"B zero bytes", std::string(), platform::kRegSz, u""},
        {u"C binary", Bytes(u"raw.htm"), platform::kRegBinary, u"raw.htm"},
        {u"D no default", std::nullopt, platform::kRegSz, nullptr},
        {u"E oversize", Sz(std::u16string(2048, u'y')), platform::kRegSz, nullptr},
    };
    std::vector<std::u16string> expected;
    for (const auto& row : rows) {
        machine.SetDword(kHkeyCurrentUser, base + u"\\" + row.name, u"Contexts", 1);
        if (row.value)
            machine.SetRaw(kHkeyCurrentUser, base + u"\\" + row.name, u"", row.type, *row.value);
        if (row.listed) expected.push_back(row.name);
    }
    CVistrelIEMenuExt menu;
    std::int32_t result = 0;
    EXPECT_EQ(Texts(menu, &result), expected);
    ASSERT_EQ(result, 3);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(menu.items[i].second, rows[i].listed);
        EXPECT_EQ(menu.items[i].third, base + u"\\" + rows[i].name);
    }
    EXPECT_EQ(Details(menu, 0, &result)[0].value, u"res://C:\\long\\page.htm");

    resultFlags flags;
    EXPECT_FALSE(menu.DoAction(-1, 1, &flags));
    EXPECT_EQ(LastEditorKey(), u"Computer\\HKEY_CURRENT_USER\\" + base + u"\\B zero bytes");
    ASSERT_TRUE(menu.DoAction(2, 1, &flags));
    EXPECT_FALSE(machine.HasKey(kHkeyCurrentUser, base + u"\\B zero bytes"));
    for (const char16_t* kept : {u"\\&A long entry", u"\\D no default", u""})
        EXPECT_TRUE(machine.HasKey(kHkeyCurrentUser, base + kept)) << Bytes(kept);
}

}  // namespace
}  // namespace shelltest
