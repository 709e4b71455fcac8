// Downloaded controls on the memory machine: how a unit gets its name, which of its sub-keys
// fill which field, the details in their order and count, and Remove of the unit's key alone.
#include "collectors/shell/ie_downloaded_activex.h"

#include "tests/support/version_block_builder.h"
#include "tests/unit/shell_collector_support.h"

namespace shelltest {
namespace {

constexpr char16_t kUnits[] = u"SOFTWARE\\Microsoft\\Code Store Database\\Distribution Units";

class DownloadedActiveXTest : public ShellCollectorTest {
  protected:
    std::u16string Unit(const char16_t* id, const char16_t* sub = u"") {
        return std::u16string(kUnits) + u"\\" + id + sub;
    }
};

TEST_F(DownloadedActiveXTest, NamesFallBackAndEachFieldComesFromItsOwnRead) {
    // {1}: a class with description and server, every sub-key filled, long texts.
    Register({u"{1}", Sz(u"Described control"), true, Sz(u"C:\\Windows\\ctl\\long name.ocx")});
    machine.SetString(kHkeyLocalMachine, Unit(u"{1}"), u"", u"unit default, not used");
    machine.SetString(kHkeyLocalMachine, Unit(u"{1}", u"\\DownloadInformation"), u"CODEBASE",
                      u"http://example.test/a/long/codebase.cab");
    machine.SetString(kHkeyLocalMachine, Unit(u"{1}", u"\\DownloadInformation"), u"INF",
                      u"C:\\Windows\\ctl\\setup.inf");
    machine.SetString(kHkeyLocalMachine, Unit(u"{1}", u"\\DownloadInformation"), u"OSD",
                      u"C:\\Windows\\ctl\\setup.osd");
    machine.SetString(kHkeyLocalMachine, Unit(u"{1}", u"\\InstalledVersion"), u"LastModified",
                      u"Mon, 01 Jan 2024 00:00:00 GMT");
    const std::u16string files = Unit(u"{1}", u"\\Contains\\Files");
    machine.SetString(kHkeyLocalMachine, files, u"C:\\Windows\\ctl\\a.ocx", u"");
    machine.SetDword(kHkeyLocalMachine, files, u"C:\\Windows\\ctl\\not a file.dll", 1);
    machine.SetString(kHkeyLocalMachine, files, u"C:\\Windows\\ctl\\b.dll", u"",
                      platform::kRegExpandSz);
    machine.SetString(kHkeyLocalMachine, files, u"C:\\Windows\\ctl\\c.dll", u"");
    // {2}: a class without description but with a server: the unit's own default names it and
    // the server isn't looked up. Zero-byte values after the long ones of {1}.
    Register({u"{2}", std::nullopt, true, Sz(u"C:\\unused.dll")});
    machine.SetString(kHkeyLocalMachine, Unit(u"{2}"), u"", u"Unit's own name");
    machine.SetRaw(kHkeyLocalMachine, Unit(u"{2}", u"\\DownloadInformation"), u"CODEBASE",
                   platform::kRegSz, "");
    machine.SetRaw(kHkeyLocalMachine, Unit(u"{2}", u"\\InstalledVersion"), u"LastModified",
                   platform::kRegBinary, Bytes(u"2024"));
    machine.AddKey(kHkeyLocalMachine, Unit(u"{2}", u"\\Contains\\Files"));
    // {3}: neither class nor default value: its key name. A zero-byte description of a class.
    machine.AddKey(kHkeyLocalMachine, Unit(u"{3}"));
    Register({u"{4}", std::string(), true, std::string()});
    machine.SetString(kHkeyLocalMachine, Unit(u"{4}", u"\\DownloadInformation"), u"OSD",
                      std::u16string(2048, u'o'));  // over what a read takes

    const struct {
        const char16_t* name;
        const char16_t* file;
        const char16_t* codebase;
        const char16_t* inf;
        const char16_t* osd;
        const char16_t* lastModified;
        std::vector<std::u16string> files;
    } expected[] = {
        {u"Described control",
         u"C:\\Windows\\ctl\\long name.ocx",
         u"http://example.test/a/long/codebase.cab",
         u"C:\\Windows\\ctl\\setup.inf",
         u"C:\\Windows\\ctl\\setup.osd",
         u"Mon, 01 Jan 2024 00:00:00 GMT",
         {u"C:\\Windows\\ctl\\a.ocx", u"C:\\Windows\\ctl\\c.dll"}},
        {u"Unit's own name", u"", u"", u"", u"", u"2024", {}},
        {u"{3}", u"", u"", u"", u"", u"", {}},
        {u"", u"", u"", u"", u"", u"", {}},
    };
    CVistrelIEDownloadedActiveX activex;
    std::int32_t result = 0;
    EXPECT_EQ(Texts(activex, &result),
              (std::vector<std::u16string>{u"Described control", u"Unit's own name", u"{3}", u""}));
    ASSERT_EQ(activex.items.size(), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        SCOPED_TRACE(i);
        const si_activex_info& unit = activex.items[i];
        EXPECT_EQ(unit.name, expected[i].name);
        EXPECT_EQ(unit.file, expected[i].file);
        EXPECT_EQ(unit.codebase, expected[i].codebase);
        EXPECT_EQ(unit.inf, expected[i].inf);
        EXPECT_EQ(unit.osd, expected[i].osd);
        EXPECT_EQ(unit.lastModified, expected[i].lastModified);
        EXPECT_EQ(unit.files, expected[i].files);
        EXPECT_EQ(unit.key, std::u16string(kUnits) + u"\\{" + char16_t(u'1' + i) + u"}");
    }

    // Without a server and files the details are the code base line alone, empty or not.
    EXPECT_EQ(Details(activex, 2, &result), (std::vector<Line>{{22215, u"", 0}}));
    EXPECT_EQ(result, 1);
    EXPECT_EQ(Details(activex, 1, &result),
              (std::vector<Line>{{22215, u"", 0}, {22217, u"2024", 0}}));
    EXPECT_EQ(result, 2);
}

TEST_F(DownloadedActiveXTest, DetailsCountTheirLinesAndWhatEachFileGave) {
    // Server and first file carry a version block (6 lines counted each), the second file is
    // missing (0).
    testsupport::VersionBlockContents contents;
    contents.tables.push_back({0x0409, 0x04B0, {{u"FileVersion", u"1.0"}}});
    contents.translations.push_back({0x0409, 0x04B0});
    for (const char16_t* path : {u"C:\\ctl\\server.ocx", u"C:\\ctl\\one.dll"}) {
        machine.AddFile(path);
        machine.SetVersionBlock(path, testsupport::BuildVersionBlock(contents));
    }
    Register({u"{5}", Sz(u"Five"), true, Sz(u"C:\\ctl\\server.ocx")});
    machine.SetString(kHkeyLocalMachine, Unit(u"{5}", u"\\Contains\\Files"), u"C:\\ctl\\one.dll",
                      u"");
    machine.SetString(kHkeyLocalMachine, Unit(u"{5}", u"\\Contains\\Files"),
                      u"C:\\ctl\\missing.dll", u"");
    CVistrelIEDownloadedActiveX activex;
    ASSERT_EQ(activex.EnumerateItems(nullptr, true, nullptr), 1);

    std::int32_t result = 0;
    const std::vector<Line> lines = Details(activex, 0, &result);
    // D + separator + code base + separator and heading + (line + D1) + (line + D2).
    EXPECT_EQ(result, 6 + 1 + 1 + 2 + (1 + 6) + (1 + 0));
    std::vector<Line> own;  // the lines the collector writes itself, in order
    for (const Line& line : lines)
        if (line.label == -1 || line.label == 22215 || line.label == 22218) own.push_back(line);
    EXPECT_EQ(own, (std::vector<Line>{{-1, u"<null>", 2},
                                      {22215, u"", 0},
                                      {-1, u"<null>", 2},
                                      {22218, u"<null>", 0},
                                      {-1, u"<null>", 0},
                                      {-1, u"<null>", 0}}));
    EXPECT_EQ(lines.front().value, u"C:\\ctl\\server.ocx");
    EXPECT_EQ(lines.back().value, u"C:\\ctl\\missing.dll");
    EXPECT_EQ(Details(activex, 1, &result).size(), 0u);
    EXPECT_EQ(result, 0);
}

TEST_F(DownloadedActiveXTest, RemoveTakesTheUnitKeyAndLeavesClassAndFiles) {
    Register({u"{6}", Sz(u"Six"), true, Sz(u"C:\\six.ocx")});
    Register({u"{7}", Sz(u"Seven"), true, Sz(u"C:\\seven.ocx")});
    machine.SetString(kHkeyLocalMachine, Unit(u"{6}", u"\\Contains\\Files"), u"C:\\six.ocx", u"");
    machine.AddKey(kHkeyLocalMachine, Unit(u"{7}"));
    machine.AddFile(u"C:\\six.ocx");
    CVistrelIEDownloadedActiveX activex;
    ASSERT_EQ(activex.EnumerateItems(nullptr, true, nullptr), 2);

    resultFlags flags;
    EXPECT_FALSE(activex.DoAction(1, 1, &flags));
    EXPECT_EQ(LastEditorKey(), u"Computer\\HKEY_LOCAL_MACHINE\\" + Unit(u"{7}"));
    ASSERT_TRUE(activex.DoAction(2, 0, &flags));
    EXPECT_FALSE(machine.HasKey(kHkeyLocalMachine, Unit(u"{6}")));
    EXPECT_TRUE(machine.HasKey(kHkeyLocalMachine, Unit(u"{7}")));
    EXPECT_TRUE(machine.HasKey(kHkeyClassesRoot, u"CLSID\\{6}\\InprocServer32"));
    EXPECT_TRUE(machine.HasFile(u"C:\\six.ocx"));

    machine.FailWrites(kHkeyLocalMachine, Unit(u"{7}"));
    resultFlags refused;
    EXPECT_FALSE(activex.DoAction(2, 1, &refused));
    EXPECT_EQ(refused.succeeded, 0);
    EXPECT_TRUE(machine.HasKey(kHkeyLocalMachine, Unit(u"{7}")));
}

}  // namespace
}  // namespace shelltest
