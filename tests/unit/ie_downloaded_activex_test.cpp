// Downloaded controls on the memory machine: how a unit gets its name, which read fills which
// field, the details with their count, and Remove of the unit's key alone.
#include "collectors/shell/ie_downloaded_activex.h"

#include "tests/support/version_block_builder.h"
#include "tests/unit/shell_collector_support.h"

namespace shelltest {
namespace {

const std::u16string kUnits = u"SOFTWARE\\Microsoft\\Code Store Database\\Distribution Units\\";
const std::u16string kDownload = u"\\DownloadInformation";

using DownloadedActiveXTest = ShellCollectorTest;

TEST_F(DownloadedActiveXTest, NamesFallBackAndEachFieldComesFromItsOwnRead) {
    // {1}: class with description and server, long texts everywhere.
    Register({u"{1}", Sz(u"Described control"), Sz(u"C:\\ctl\\long name.ocx")});
    machine.SetString(kHkeyLocalMachine, kUnits + u"{1}", u"", u"unit default, not used");
    machine.SetString(kHkeyLocalMachine, kUnits + u"{1}" + kDownload, u"CODEBASE",
                      u"http://t/a.cab");
    machine.SetString(kHkeyLocalMachine, kUnits + u"{1}" + kDownload, u"INF", u"C:\\ctl\\a.inf");
    machine.SetString(kHkeyLocalMachine, kUnits + u"{1}" + kDownload, u"OSD", u"C:\\ctl\\a.osd");
    machine.SetString(kHkeyLocalMachine, kUnits + u"{1}\\InstalledVersion", u"LastModified",
                      u"Mon, 01 Jan 2024");
    const std::u16string files = kUnits + u"{1}\\Contains\\Files";
    machine.SetString(kHkeyLocalMachine, files, u"C:\\ctl\\a.ocx", u"");
    machine.SetDword(kHkeyLocalMachine, files, u"C:\\ctl\\number.dll", 1);
    machine.SetString(kHkeyLocalMachine, files, u"C:\\ctl\\b.dll", u"", platform::kRegExpandSz);
    // {2}: class without description: the unit's default names it, the server isn't asked.
    Register({u"{2}", std::nullopt, Sz(u"C:\\unused.dll")});
    machine.SetString(kHkeyLocalMachine, kUnits + u"{2}", u"", u"Unit's own name");
    machine.SetRaw(kHkeyLocalMachine, kUnits + u"{2}" + kDownload, u"CODEBASE", platform::kRegSz,
                   "");
    machine.SetRaw(kHkeyLocalMachine, kUnits + u"{2}\\InstalledVersion", u"LastModified",
                   platform::kRegBinary, Bytes(u"2024"));
    // {3}: no class, no default: its key name. {4}: zero-byte description, oversize OSD.
    machine.AddKey(kHkeyLocalMachine, kUnits + u"{3}");
    Register({u"{4}", "", ""});
    machine.SetString(kHkeyLocalMachine, kUnits + u"{4}" + kDownload, u"OSD",
                      std::u16string(2048, u'o'));

    CVistrelIEDownloadedActiveX activex;
    EXPECT_EQ(Texts(activex),
              (std::vector<std::u16string>{u"Described control", u"Unit's own name", u"{3}", u""}));
    ASSERT_EQ(activex.items.size(), 4u);
    const si_activex_info& full = activex.items[0];
    EXPECT_EQ(full.file, u"C:\\ctl\\long name.ocx");
    EXPECT_EQ(full.key, kUnits + u"{1}");
    EXPECT_EQ(full.files, std::vector<std::u16string>{u"C:\\ctl\\a.ocx"});
    // Every read of the later units follows the longer one of {1}; a field must stay its own.
    for (std::size_t i = 1; i < 4; ++i) {
        const si_activex_info& unit = activex.items[i];
        EXPECT_EQ(unit.file + unit.codebase + unit.inf + unit.osd, u"") << i;
        EXPECT_TRUE(unit.files.empty());
    }
    EXPECT_EQ(activex.items[1].lastModified, u"2024");
    EXPECT_EQ(Details(activex, 2), std::vector<std::u16string>{LineText(22215, u"", 0)});
    // The server's four lines of a file without version block and the separator come first.
    const std::vector<std::u16string> lines = Details(activex, 0);
    EXPECT_EQ(std::vector<std::u16string>(lines.begin() + 5, lines.begin() + 9),
              (std::vector<std::u16string>{
                  LineText(22215, u"http://t/a.cab", 0), LineText(22216, u"C:\\ctl\\a.inf", 0),
                  LineText(22221, u"C:\\ctl\\a.osd", 0), LineText(22217, u"Mon, 01 Jan 2024", 0)}));
}

TEST_F(DownloadedActiveXTest, DetailsCountTheirLinesAndWhatEachFileGaveAndRemoveTakesTheUnit) {
    // Server and first file carry a version block (6 counted each); the second is missing (0).
    testsupport::VersionBlockContents contents;
    contents.tables.push_back({0x0409, 0x04B0, {{u"FileVersion", u"1.0"}}});
    contents.translations.push_back({0x0409, 0x04B0});
    for (const char16_t* path : {u"C:\\ctl\\server.ocx", u"C:\\ctl\\one.dll"}) {
        machine.AddFile(path);
        machine.SetVersionBlock(path, testsupport::BuildVersionBlock(contents));
    }
    Register({u"{5}", Sz(u"Five"), Sz(u"C:\\ctl\\server.ocx")});
    for (const char16_t* file : {u"C:\\ctl\\one.dll", u"C:\\ctl\\missing.dll"})
        machine.SetString(kHkeyLocalMachine, kUnits + u"{5}\\Contains\\Files", file, u"");
    machine.AddKey(kHkeyLocalMachine, kUnits + u"{6}");
    CVistrelIEDownloadedActiveX activex;
    ASSERT_EQ(activex.EnumerateItems(nullptr, true, nullptr), 2);

    std::int32_t result = 0;
    std::vector<std::u16string> own;  // the lines the collector writes itself
    for (const std::u16string& line : Details(activex, 0, &result))
        if (line.rfind(u"-1|", 0) == 0 || line.rfind(u"22215|", 0) == 0 ||
            line.rfind(u"22218|", 0) == 0)
            own.push_back(line);
    // D + separator + code base + separator and heading + (line + D1) + (line + D2).
    EXPECT_EQ(result, 6 + 1 + 1 + 2 + (1 + 6) + (1 + 0));
    EXPECT_EQ(own, (std::vector<std::u16string>{LineText(-1, u"-", 2), LineText(22215, u"", 0),
                                                LineText(-1, u"-", 2), LineText(22218, u"-", 0),
                                                LineText(-1, u"-", 0), LineText(-1, u"-", 0)}));

    EXPECT_EQ(GoTo(activex, 1), u"Computer\\HKEY_LOCAL_MACHINE\\" + kUnits + u"{6}");
    EXPECT_TRUE(Remove(activex, 0));
    EXPECT_FALSE(machine.HasKey(kHkeyLocalMachine, kUnits + u"{5}"));
    EXPECT_TRUE(machine.HasKey(kHkeyLocalMachine, kUnits + u"{6}"));
    EXPECT_TRUE(machine.HasKey(kHkeyClassesRoot, u"CLSID\\{5}\\InprocServer32"));
    EXPECT_TRUE(machine.HasFile(u"C:\\ctl\\one.dll"));
}

}  // namespace
}  // namespace shelltest
