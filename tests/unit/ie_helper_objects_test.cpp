// Browser helper objects and menu extensions on the memory machine: which sub-keys become
// entries with which texts, and that Remove deletes exactly the entry's sub-key.
#include "collectors/shell/ie_helper_objects.h"

#include "collectors/shell/ie_menu_extensions.h"
#include "tests/unit/shell_collector_support.h"

namespace shelltest {
namespace {

const std::u16string kBho =
    u"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Browser Helper Objects\\";
const std::u16string kMenuExt = u"Software\\Microsoft\\Internet Explorer\\MenuExt\\";

using IEHelperObjectsTest = ShellCollectorTest;

TEST_F(IEHelperObjectsTest, OnlyClassesWithDescriptionAndServerAreListed) {
    // Sub-keys enumerate sorted; each read follows a longer one, so a text that kept bytes of
    // the read before would show.
    const struct {
        ClassRecord record;
        const char16_t* name;  // null: not listed
        const char16_t* file;
    } rows[] = {
        {{u"{A1}", Sz(u"A long description"), Sz(u"C:\\a long server.dll")},
         u"A long description",
         u"C:\\a long server.dll"},
        {{u"{A2}", "", ""}, u"", u""},  // zero-byte values
        {{u"{A3}", Bytes(u"unterminated"), Bytes(u"x.dll") + "\x01", true, platform::kRegBinary},
         u"unterminated",
         u"x.dll"},
        {{u"{B1}", Sz(u"no server key"), std::nullopt, false}, nullptr, nullptr},
        {{u"{B2}", Sz(u"server key without value"), std::nullopt}, nullptr, nullptr},
        {{u"{B3}", std::nullopt, Sz(u"b3.dll")}, nullptr, nullptr},
        {{u"{B4}", Sz(std::u16string(2048, u'x')), Sz(u"big.dll")}, nullptr, nullptr},
    };
    std::vector<std::u16string> expected;
    for (const auto& row : rows) {
        machine.AddKey(kHkeyLocalMachine, kBho + row.record.id);
        Register(row.record);
        if (row.name) expected.push_back(row.name);
    }
    machine.AddKey(kHkeyLocalMachine, kBho + u"{C0} unregistered");
    CVistrelIEBHO bho;
    EXPECT_EQ(Texts(bho), expected);
    ASSERT_EQ(bho.items.size(), 3u);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(bho.items[i].file, rows[i].file);
        EXPECT_EQ(bho.items[i].entry, kBho + rows[i].record.id);
    }
    EXPECT_EQ(Details(bho, 0)[0], LineText(22212, u"C:\\a long server.dll", 0));

    // Go to opens the class's server key; Remove takes only the entry under the browser's key.
    EXPECT_EQ(GoTo(bho, 1), u"Computer\\HKEY_CLASSES_ROOT\\CLSID\\{A2}\\InprocServer32");
    EXPECT_TRUE(Remove(bho, 1));
    EXPECT_FALSE(machine.HasKey(kHkeyLocalMachine, kBho + u"{A2}"));
    EXPECT_TRUE(machine.HasKey(kHkeyLocalMachine, kBho + u"{A3}"));
    EXPECT_TRUE(machine.HasKey(kHkeyClassesRoot, u"CLSID\\{A2}\\InprocServer32"));
    machine.FailWrites(kHkeyLocalMachine, kBho + u"{A3}");
    EXPECT_FALSE(Remove(bho, 2));
    EXPECT_TRUE(machine.HasKey(kHkeyLocalMachine, kBho + u"{A3}"));
}

TEST_F(IEHelperObjectsTest, MenuEntriesNeedADefaultValueAndRemoveTakesOnlyTheirKey) {
    const struct {
        const char16_t* name;
        std::optional<std::string> value;
        std::uint32_t type;
        const char16_t* listed;  // its command, or null: not listed
    } rows[] = {
        {u"&A long entry", Sz(u"res://C:\\long\\page.htm"), platform::kRegSz,
         u"res://C:\\long\\page.htm"},
        {u"B zero bytes", "", platform::kRegSz, u""},
        {u"C binary", Bytes(u"raw.htm"), platform::kRegBinary, u"raw.htm"},
        {u"D no default", std::nullopt, platform::kRegSz, nullptr},
        {u"E oversize", Sz(std::u16string(2048, u'y')), platform::kRegSz, nullptr},
    };
    std::vector<std::u16string> expected;
    for (const auto& row : rows) {
        machine.SetDword(kHkeyCurrentUser, kMenuExt + row.name, u"Contexts", 1);
        if (row.value)
            machine.SetRaw(kHkeyCurrentUser, kMenuExt + row.name, u"", row.type, *row.value);
        if (row.listed) expected.push_back(row.name);
    }
    CVistrelIEMenuExt menu;
    EXPECT_EQ(Texts(menu), expected);
    ASSERT_EQ(menu.items.size(), 3u);
    for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(menu.items[i].second, rows[i].listed);

    EXPECT_EQ(GoTo(menu, 1), u"Computer\\HKEY_CURRENT_USER\\" + kMenuExt + u"B zero bytes");
    EXPECT_TRUE(Remove(menu, 1));
    EXPECT_FALSE(machine.HasKey(kHkeyCurrentUser, kMenuExt + u"B zero bytes"));
    for (const char16_t* kept : {u"&A long entry", u"D no default"})
        EXPECT_TRUE(machine.HasKey(kHkeyCurrentUser, kMenuExt + kept));
}

}  // namespace
}  // namespace shelltest
