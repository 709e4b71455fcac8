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
constexpr char16_t kLangPath[] = u"C:\\Scan\\Lang\\l_vistrel.ini";
constexpr char kLanguage[] =
    "[LangSupport]\r\nIDS_VISTREL_RUNITEMS=Run keys\r\nIDS_VISTREL_RUNITEMS_CU_RUN=Run user\r\n"
    "IDS_VISTREL_RUNITEMS_LM_RUN=Run all\r\nIDS_VISTREL_SERVICES=Services\r\n"
    "IDS_VISTREL_PATH=Path\r\n"
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
    // The offline program asks for an image to scan, but not to list the categories.
    scanner::FrontDoor offline;
    offline.openOffline = [](const std::string&, const std::string&, std::string* error) {
        *error = "no image here";
        return std::unique_ptr<platform::Machine>();
    };
    const char* scan[] = {"vistrel-scan"};
    EXPECT_EQ(scanner::RunScanCommand(1, scan, offline, out, err), scanner::kExitUsage);
    const char* list[] = {"vistrel-scan", "--list-categories"};
    out.str({});
    EXPECT_EQ(scanner::RunScanCommand(2, list, offline, out, err), scanner::kExitComplete);
    EXPECT_EQ(out.str().rfind("IDS_VISTREL_RUNITEMS\n", 0), 0u) << out.str();
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

namespace {

TEST(ScannerOffline, AnImageHasNoProcessesAndThatIsNoFailure) {
    MemoryMachine machine;
    ScopedMachine scope{machine};
    machine.AddProcess(1234, u"C:\\app\\a.exe");
    CVistrelMainPlugin root;
    scanner::ScanOptions options;
    options.categories = {"IDS_VISTREL_PROCESSES"};
    options.offline = true;
    const scanner::ScanResult result = scanner::ScanTree(root, options);
    ASSERT_EQ(result.records.size(), 1u);
    EXPECT_EQ(result.records[0].status, "offline");
    EXPECT_FALSE(result.incomplete);
    // Live, the same machine's process is read: its module is an entry.
    options.offline = false;
    const scanner::ScanResult live = scanner::ScanTree(root, options);
    ASSERT_FALSE(live.records.empty());
    EXPECT_EQ(live.records[0].status, "");
    EXPECT_EQ(live.records[0].entry, "a.exe");
}

}  // namespace
