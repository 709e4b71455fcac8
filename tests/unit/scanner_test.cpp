// The headless scan on the memory machine: the records a population gives, their CSV form, the
// exit status rule, and the diff of two scans.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "frame/module_objects.h"
#include "libs/talutils/tdfile.h"
#include "platform/memory/memory_machine.h"
#include "scanner/record_format.h"
#include "scanner/scan.h"
#include "scanner/scan_command.h"
#include "scanner/scan_diff.h"
#include "sources/category_tree.h"

namespace {

using platform::kHkeyCurrentUser;
using platform::kHkeyLocalMachine;
using platform::memory::MemoryMachine;
using platform::memory::ScopedMachine;

constexpr char16_t kRun[] = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";
constexpr char16_t kServices[] = u"SYSTEM\\CurrentControlSet\\Services";
constexpr char16_t kLangPath[] = u"C:\\Scan\\Lang\\l_vistrel.ini";
constexpr char kLanguage[] =
    "[LangSupport]\r\nIDS_VISTREL_RUNITEMS=Run keys\r\nIDS_VISTREL_RUNITEMS_CU_RUN=Run user\r\n"
    "IDS_VISTREL_RUNITEMS_LM_RUN=Run all\r\nIDS_VISTREL_SERVICES=Services\r\n"
    "IDS_VISTREL_SERVICES_PROCESSES=Processes\r\nIDS_VISTREL_SERVICES_STARTUP=Start\r\n"
    "IDS_VISTREL_SERVICES_AUTOMATIC=Automatic\r\nIDS_VISTREL_PATH=Path\r\n"
    "IDS_VISTREL_ITEM_NOT_FOUND=Not found\r\n";

class ScannerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        machine.AddFile(kLangPath, kLanguage);
        g_textFile = load_tdfile(kLangPath);
        ASSERT_NE(g_textFile, nullptr);
        machine.AddKey(kHkeyCurrentUser, kRun);
    }
    void TearDown() override {
        close_tdfile(g_textFile);
        g_textFile = nullptr;
    }

    static void AddService(MemoryMachine& machine, const std::u16string& name,
                           std::u16string_view image) {
        const std::u16string key = std::u16string(kServices) + u"\\" + name;
        machine.SetDword(kHkeyLocalMachine, key, u"Type", 0x10);
        machine.SetDword(kHkeyLocalMachine, key, u"Start", 2);
        machine.SetString(kHkeyLocalMachine, key, u"ImagePath", image);
    }

    std::vector<std::string> ScanLines(const std::vector<std::string>& categories) {
        CVistrelMainPlugin root;
        const scanner::ScanResult result = scanner::ScanTree(root, {categories, nullptr});
        std::vector<std::string> lines;
        for (const scanner::ScanRecord& record : result.records)
            lines.push_back(scanner::RecordToJson(record));
        return lines;
    }

    // Runs the command line on the memory machine; out and err hold what it wrote.
    int Command(std::vector<const char*> args) {
        args.insert(args.begin(), "vistrel-scan");
        out.str({});
        err.str({});
        return scanner::RunScanCommand(static_cast<int>(args.size()), args.data(), {}, out, err);
    }

    MemoryMachine machine;
    ScopedMachine scoped{machine};
    std::ostringstream out;
    std::ostringstream err;
};

#define RUN_USER                                                                 \
    R"("category_keys":["IDS_VISTREL_RUNITEMS","IDS_VISTREL_RUNITEMS_CU_RUN"],)" \
    R"("category":["Run keys","Run user"],)"
#define FILE_LINES(object, file, path)                                          \
    R"({"label_key":"IDS_VISTREL_OBJECT","label":"","value":")" object R"("},)" \
    R"({"label_key":"IDS_VISTREL_FILE","label":"","value":")" file R"("},)"     \
    R"({"label_key":"IDS_VISTREL_PATH","label":"Path","value":")" path R"("},)" \
    R"({"label_key":"IDS_VISTREL_ERR_NO_FILE_INFO","label":"","value":")" path R"("})"

TEST_F(ScannerTest, FixtureScansIntoTheExpectedRecords) {
    struct Case {
        const char* name;
        void (*arrange)(MemoryMachine&);
        std::vector<std::string> categories;
        std::vector<std::string> expected;
    };
    const Case cases[] = {
        {"run values keep their value names, the default one shown as the page shows it",
         [](MemoryMachine& m) {
             m.AddFile(u"C:\\u.exe");
             m.SetString(kHkeyCurrentUser, kRun, u"Updater", u"\"C:\\u.exe\" /bg");
             m.SetString(kHkeyCurrentUser, kRun, u"", u"C:\\d.exe");
         },
         {"IDS_VISTREL_RUNITEMS_CU_RUN"},
         {"{" RUN_USER R"("entry":"Updater","location":{"root":"HKEY_CURRENT_USER",)"
          R"("key":"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run","value":"Updater"},)"
          R"("details":[)" FILE_LINES(R"(\"C:\\u.exe\" /bg)", "u.exe", R"(C:\\u.exe)") "]}",
          "{" RUN_USER R"j("entry":"(Default)","location":{"root":"HKEY_CURRENT_USER",)j"
          R"("key":"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run","value":""},)"
          R"("details":[)" FILE_LINES(R"(C:\\d.exe)", "d.exe", R"(C:\\d.exe)") "]}"}},
        {"a missing key is a category record, not an entry",
         [](MemoryMachine&) {},
         {"IDS_VISTREL_RUNITEMS_LM_RUN"},
         {R"({"category_keys":["IDS_VISTREL_RUNITEMS","IDS_VISTREL_RUNITEMS_LM_RUN"],)"
          R"("category":["Run keys","Run all"],"status":"not_found","status_text":"Not found"})"}},
        {"a service lives at its own key; its start mode is a catalogue text",
         [](MemoryMachine& m) { AddService(m, u"Spooler", u"C:\\s.exe"); },
         {"IDS_VISTREL_SERVICES_PROCESSES"},
         {R"({"category_keys":["IDS_VISTREL_SERVICES","IDS_VISTREL_SERVICES_PROCESSES"],)"
          R"("category":["Services","Processes"],"entry":"C:\\s.exe","location":)"
          R"({"root":"HKEY_LOCAL_MACHINE","key":"SYSTEM\\CurrentControlSet\\Services\\Spooler"},)"
          R"("details":[{"label_key":"IDS_VISTREL_SERVICES_STARTUP","label":"Start",)"
          R"("value":"Automatic","value_key":"IDS_VISTREL_SERVICES_AUTOMATIC"},)" FILE_LINES(
              R"(C:\\s.exe)", "s.exe", R"(C:\\s.exe)") "]}"}},
        {"a hosts entry lives in the hosts file",
         [](MemoryMachine& m) {
             m.SetSpecialFolder(platform::kCsidlSystem, u"C:\\W\\system32");
             m.AddFile(u"C:\\W\\system32\\drivers\\etc\\hosts", "10.0.0.1 bank.example\n");
         },
         {"IDS_VISTREL_HOSTS"},
         {R"({"category_keys":["IDS_VISTREL_HOSTS"],"category":[""],"entry":"bank.example",)"
          R"("location":{"file":"C:\\W\\system32\\drivers\\etc\\hosts"},"details":[)"
          R"({"label_key":"IDS_VISTREL_IP","label":"","value":"10.0.0.1"},)"
          R"({"label_key":"IDS_VISTREL_HOST","label":"","value":"bank.example"}]})"}},
        {"a parent category selects every leaf below it, in the tree's order",
         [](MemoryMachine& m) { m.SetString(kHkeyCurrentUser, kRun, u"A", u"C:\\a.exe"); },
         {"IDS_VISTREL_RUNITEMS"},
         {"{" RUN_USER R"("entry":"A","location":{"root":"HKEY_CURRENT_USER",)"
          R"("key":"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run","value":"A"},)"
          R"("details":[)" FILE_LINES(R"(C:\\a.exe)", "a.exe", R"(C:\\a.exe)") "]}"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        MemoryMachine fresh;
        ScopedMachine scope{fresh};
        fresh.AddKey(kHkeyCurrentUser, kRun);
        c.arrange(fresh);
        std::vector<std::string> lines = ScanLines(c.categories);
        // A whole branch also holds the leaves whose keys the fixture lacks: keep its entries.
        if (c.categories.front() == "IDS_VISTREL_RUNITEMS")
            std::erase_if(lines,
                          [](const std::string& l) { return l.find("not_found") != l.npos; });
        EXPECT_EQ(lines, c.expected);
    }
}

TEST_F(ScannerTest, CsvQuotesSeparatorsAndDefusesFormulas) {
    machine.SetString(kHkeyCurrentUser, kRun, u"=cmd,\"x\"", u"C:\\a.exe");
    ASSERT_EQ(Command({"--format", "csv", "--category", "IDS_VISTREL_RUNITEMS_CU_RUN"}), 0);
    EXPECT_EQ(out.str(),
              "category_keys,category,entry,root,key,value,file,details,status,status_text\r\n"
              "IDS_VISTREL_RUNITEMS/IDS_VISTREL_RUNITEMS_CU_RUN,Run keys / Run user,"
              "\"'=cmd,\"\"x\"\"\",HKEY_CURRENT_USER,"
              "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run,\"'=cmd,\"\"x\"\"\",,"
              "IDS_VISTREL_OBJECT=C:\\a.exe; IDS_VISTREL_FILE=a.exe; IDS_VISTREL_PATH=C:\\a.exe; "
              "IDS_VISTREL_ERR_NO_FILE_INFO=C:\\a.exe,,\r\n");
}

// A leaf that answers its read with a fixed code and delivers one entry when the code is 1.
class FixedSource : public CVistrelPlugin {
  public:
    explicit FixedSource(std::int32_t code) : code_(code) {}
    const char16_t* GetName() override { return u"leaf"; }
    std::int32_t EnumerateItems(EntryCallback callback, bool, void* context) override {
        if (code_ > 0 && callback) callback(0, u"entry", nullptr, this, context);
        return code_;
    }

  private:
    std::int32_t code_;
};

TEST(ScannerStatusTest, OnlyFailedOrDeniedCategoriesMakeTheScanIncomplete) {
    struct Case {
        std::vector<std::int32_t> codes;
        bool incomplete;
        std::vector<std::string> statuses;
    };
    const Case cases[] = {
        {{1, 0}, false, {""}},
        {{1, kEnumNotFound}, false, {"", "not_found"}},
        {{kEnumFailed, 1}, true, {"failed", ""}},
        {{kEnumAccessDenied}, true, {"access_denied"}},
        {{0, kEnumAccessDeniedNeedsElevation}, true, {"needs_elevation"}},
    };
    MemoryMachine machine;  // status texts come from its resources
    ScopedMachine scoped{machine};
    for (const Case& c : cases) {
        CVistrelPluginContainer root;
        for (std::int32_t code : c.codes) root.children.push_back(new FixedSource(code));
        const scanner::ScanResult result = scanner::ScanTree(root, {});
        std::vector<std::string> statuses;
        for (const scanner::ScanRecord& record : result.records) statuses.push_back(record.status);
        EXPECT_EQ(result.incomplete, c.incomplete) << ::testing::PrintToString(c.codes);
        EXPECT_EQ(statuses, c.statuses) << ::testing::PrintToString(c.codes);
    }
}

TEST_F(ScannerTest, UsageErrorsExitWithTwoAndWriteNothing) {
    const std::vector<std::vector<const char*>> cases = {
        {"--format", "xml"},
        {"--category", "IDS_NO_SUCH_CATEGORY"},
        {"diff", "/nonexistent/old.jsonl", "/nonexistent/new.jsonl"},
        {"diff", "only-one"},
        {"--no-such-option"},
    };
    for (const auto& args : cases) {
        EXPECT_EQ(Command(args), scanner::kExitUsage) << args.front();
        EXPECT_EQ(out.str(), "") << args.front();
        EXPECT_NE(err.str(), "") << args.front();
    }
}

scanner::ScanRecord Entry(std::vector<std::string> keys, std::string entry, std::string detail) {
    scanner::ScanRecord record;
    record.categoryKeys = std::move(keys);
    record.category = record.categoryKeys;
    record.entry = std::move(entry);
    record.place.value = record.entry;
    record.details.push_back({"K", "", std::move(detail), ""});
    return record;
}

TEST(ScannerDiffTest, ReportsWhatAppearedAndDisappearedByCategory) {
    using Changes = std::vector<std::pair<std::string, std::string>>;  // change, entry
    const std::vector<std::string> a{"A"}, b{"B"};
    scanner::ScanRecord failed = Entry(b, "", "");
    failed.status = "failed";
    struct Case {
        const char* name;
        std::vector<scanner::ScanRecord> before, after;
        Changes expected;
    };
    const Case cases[] = {
        {"same scans", {Entry(a, "x", "1")}, {Entry(a, "x", "1")}, {}},
        {"details alone do not make an entry new", {Entry(a, "x", "1")}, {Entry(a, "x", "2")}, {}},
        {"added and removed, grouped by category in the new scan's order",
         {Entry(a, "gone", ""), Entry(b, "old", "")},
         {Entry(b, "new", ""), Entry(a, "kept", ""), Entry(b, "old", "")},
         {{"added", "new"}, {"removed", "gone"}, {"added", "kept"}}},
        {"the same entry in another category is another entry",
         {Entry(a, "x", "")},
         {Entry(b, "x", "")},
         {{"added", "x"}, {"removed", "x"}}},
        {"a second copy counts",
         {Entry(a, "x", "")},
         {Entry(a, "x", ""), Entry(a, "x", "")},
         {{"added", "x"}}},
        {"category status records take no part", {}, {failed}, {}},
    };
    for (const Case& c : cases) {
        Changes changes;
        for (const scanner::ScanRecord& r : scanner::DiffScans(c.before, c.after))
            changes.emplace_back(r.change, r.entry);
        EXPECT_EQ(changes, c.expected) << c.name;
    }
}

TEST_F(ScannerTest, DiffOfTwoScanFilesShowsTheAddedValue) {
    const std::string dir = ::testing::TempDir();
    const std::string before = dir + "vistrel_scan_before.jsonl";
    const std::string after = dir + "vistrel_scan_after.jsonl";
    machine.SetString(kHkeyCurrentUser, kRun, u"Kept", u"C:\\k.exe");
    ASSERT_EQ(Command({"--category", "IDS_VISTREL_RUNITEMS", "--output", before.c_str()}), 0);
    machine.SetString(kHkeyCurrentUser, kRun, u"Added", u"C:\\n.exe");
    ASSERT_EQ(Command({"--category", "IDS_VISTREL_RUNITEMS", "-o", after.c_str()}), 0);

    EXPECT_EQ(Command({"diff", before.c_str(), after.c_str()}), scanner::kExitIncomplete);
    std::vector<scanner::ScanRecord> changes;
    std::istringstream lines(out.str());
    std::string error;
    ASSERT_TRUE(scanner::ReadRecords(lines, &changes, &error)) << error;
    ASSERT_EQ(changes.size(), 1u) << out.str();
    EXPECT_EQ(changes[0].change, "added");
    EXPECT_EQ(changes[0].entry, "Added");
    EXPECT_EQ(changes[0].place.value, "Added");
    EXPECT_EQ(Command({"diff", after.c_str(), after.c_str(), "--format", "csv"}), 0);
    EXPECT_EQ(out.str(),
              "category_keys,category,entry,root,key,value,file,details,status,"
              "status_text\r\n");
}

}  // namespace
