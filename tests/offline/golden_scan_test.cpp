// Whole scans against recorded answers. Each folder of tests/golden is one machine: image.reg
// (keys under HKEY_LOCAL_MACHINE\SYSTEM, HKEY_LOCAL_MACHINE\SOFTWARE, HKEY_CURRENT_USER and
// HKEY_CLASSES_ROOT, with CurrentControlSet spelt as such), a drive/ folder of files for
// C:\ (beside app.exe, beep.sys and system.ini of every image, and the cross tool chain's
// version_probe.dll), optionally categories (one catalogue key a line: scan only those), and
// expected.jsonl, the records vistrel-scan writes. The machine is loaded into the memory machine
// and written as hive files and a folder that vistrel-scan --offline reads; both must give exactly
// the recorded lines. VISTREL_GOLDEN_UPDATE=1 rewrites expected.jsonl from the scan (review the
// change before committing it).
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "frame/module_objects.h"
#include "libs/talutils/tdfile.h"
#include "libs/talutils/text_utils.h"
#include "platform/memory/memory_machine.h"
#include "platform/pe_version_resource.h"
#include "scanner/record_format.h"
#include "scanner/scan.h"
#include "scanner/scan_command.h"
#include "sources/category_tree.h"
#include "tests/offline/hive_builder.h"
#include "tests/offline/offline_image.h"
#include "tools/elevation_support.h"

namespace offline_test {
namespace {

namespace fs = std::filesystem;

const fs::path kGolden = fs::path(VISTREL_SOURCE_DIR) / "tests" / "golden";

std::string Replace(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

// The fixture's .reg text split by hive; HKEY_CLASSES_ROOT is the machine's classes.
ImageContents SplitByHive(const std::string& regText) {
    ImageContents contents;
    const std::string header = "Windows Registry Editor Version 5.00\n";
    contents.system = contents.software = contents.user = header;
    std::string* current = nullptr;
    std::istringstream in(
        Replace(regText, "[HKEY_CLASSES_ROOT", "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes"));
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.rfind("[HKEY_LOCAL_MACHINE\\SYSTEM", 0) == 0)
            current = &contents.system;
        else if (line.rfind("[HKEY_LOCAL_MACHINE\\SOFTWARE", 0) == 0)
            current = &contents.software;
        else if (line.rfind("[HKEY_CURRENT_USER", 0) == 0)
            current = &contents.user;
        else if (!line.empty() && line[0] == '[')
            ADD_FAILURE() << "no hive for " << line;
        if (current != nullptr) *current += line + "\n";
    }
    return contents;
}

struct Fixture {
    std::string name;
    ImageContents contents;
    std::vector<std::pair<std::string, std::string>> files;  // path under C:\ with '/', bytes
    std::vector<std::string> categories;
    fs::path expected;
};

Fixture ReadFixture(const fs::path& folder) {
    Fixture fixture;
    fixture.name = folder.filename().string();
    fixture.contents = SplitByHive(ReadText((kGolden / "base.reg").string()) + "\n" +
                                   ReadText((folder / "image.reg").string()));
    if (fs::exists(folder / "drive"))
        for (const auto& entry : fs::recursive_directory_iterator(folder / "drive"))
            if (entry.is_regular_file())
                fixture.files.emplace_back(fs::relative(entry.path(), folder / "drive").string(),
                                           ReadText(entry.path().string()));
    // The linker's own DLL, whose version block only the PE reader can find.
    fixture.files.emplace_back("Windows/System32/version_probe.dll", ReadText(VISTREL_PROBE_DLL));
    std::istringstream categories(ReadText((folder / "categories").string()));
    for (std::string key; categories >> key;) fixture.categories.push_back(key);
    fixture.expected = folder / "expected.jsonl";
    return fixture;
}

std::string Scan(platform::Machine& machine, const std::vector<std::string>& categories) {
    platform::memory::ScopedMachine scoped(machine);
    CVistrelMainPlugin root;
    scanner::ScanOptions options;
    options.categories = categories;
    options.offline = true;
    std::ostringstream out;
    scanner::WriteRecords(scanner::ScanTree(root, options).records, scanner::Format::kJsonLines,
                          out);
    return out.str();
}

std::string FromMemoryMachine(const Fixture& fixture) {
    platform::memory::MemoryMachine machine;
    ImageContents contents = fixture.contents;
    contents.system = Replace(contents.system, "\\ControlSet001\\", "\\CurrentControlSet\\");
    LoadImage(machine, contents);
    // The startup folders the offline machine derives from the shell folders of base.reg.
    machine.SetSpecialFolder(platform::kCsidlStartup, u"C:\\Users\\alice\\Start");
    machine.SetSpecialFolder(platform::kCsidlCommonStartup,
                             u"C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs\\StartUp");
    // The memory machine has no loader: a file's version block is what the PE reader finds,
    // and the recorded lines say whether that is right.
    for (const auto& [path, bytes] : fixture.files) {
        const std::u16string file = u"C:\\" + talutils::FromUtf8(Replace(path, "/", "\\"));
        machine.AddFile(file, bytes);
        if (const std::string_view block = platform::FindVersionResource(bytes); !block.empty())
            machine.SetVersionBlock(file, std::string(block));
    }
    return Scan(machine, fixture.categories);
}

// The offline side runs the program itself on the written image: its command line, the language
// file beside it and the offline machine, as a user runs it.
std::string FromOfflineProgram(const Fixture& fixture) {
    TempFolder image;
    ImageContents contents = fixture.contents;
    contents.system = Replace(contents.system, "\\CurrentControlSet\\", "\\ControlSet001\\");
    if (!WriteImage(image.path(), contents)) return "<no image>";
    for (const auto& [path, bytes] : fixture.files) {
        fs::create_directories(fs::path(image.path() + "/" + path).parent_path());
        WriteText(image.path() + "/" + path, bytes);
    }
    std::string command = std::string(VISTREL_SCAN_PROGRAM) + " --offline '" + image.path() +
                          "' --user alice --output '" + image.path() + "/scan.jsonl'";
    for (const std::string& key : fixture.categories) command += " --category " + key;
    const int status = std::system((command + " 2>&1").c_str());
    if (!WIFEXITED(status) || WEXITSTATUS(status) > scanner::kExitIncomplete)
        return "<" + command + " failed>";
    return ReadText(image.path() + "/scan.jsonl");
}

// The lines of a and b from the first that differs, for a readable failure.
std::string FirstDifference(const std::string& a, const std::string& b) {
    std::istringstream left(a), right(b);
    std::string l, r;
    for (int line = 1;; ++line) {
        const bool moreLeft = static_cast<bool>(std::getline(left, l));
        const bool moreRight = static_cast<bool>(std::getline(right, r));
        if (!moreLeft && !moreRight) return "";
        if (!moreLeft || !moreRight || l != r)
            return "line " + std::to_string(line) + ":\n  want " + (moreLeft ? l : "<end>") +
                   "\n  got  " + (moreRight ? r : "<end>");
    }
}

class GoldenScan : public ::testing::TestWithParam<std::string> {
  protected:
    static void SetUpTestSuite() {
        // The catalogue comes from the shipped language file, read through a machine of its own.
        platform::memory::MemoryMachine host;
        host.AddFile(u"C:\\Vistrel\\Lang\\l_vistrel.ini",
                     ReadText(std::string(VISTREL_SOURCE_DIR) + "/lang/l_vistrel.ini"));
        platform::memory::ScopedMachine scoped(host);
        g_textFile = load_tdfile(u"C:\\Vistrel\\Lang\\l_vistrel.ini");
        CreateElevatedHelperSupport();
    }
    static void TearDownTestSuite() {
        DestroyElevatedHelperSupport();
        close_tdfile(g_textFile);
        g_textFile = nullptr;
    }
};

TEST_P(GoldenScan, BothMachinesGiveTheRecordedRecords) {
    ASSERT_NE(g_textFile, nullptr);
    const Fixture fixture = ReadFixture(kGolden / GetParam());
    const std::string memory = FromMemoryMachine(fixture);
    const std::string offline = FromOfflineProgram(fixture);
    ASSERT_EQ(FirstDifference(memory, offline), "") << "memory machine (want) against offline";
    if (const char* update = std::getenv("VISTREL_GOLDEN_UPDATE"); update && *update == '1') {
        std::ofstream(fixture.expected, std::ios::binary | std::ios::trunc) << offline;
        return;
    }
    const std::string expected = ReadText(fixture.expected.string());
    ASSERT_FALSE(expected.empty()) << fixture.expected << " is missing";
    EXPECT_EQ(FirstDifference(expected, memory), "") << "memory machine";
    EXPECT_EQ(FirstDifference(expected, offline), "") << "offline machine";
}

std::vector<std::string> FixtureNames() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(kGolden))
        if (entry.is_directory()) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

INSTANTIATE_TEST_SUITE_P(Fixtures, GoldenScan, ::testing::ValuesIn(FixtureNames()),
                         [](const auto& info) { return info.param; });

}  // namespace
}  // namespace offline_test
