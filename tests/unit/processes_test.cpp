// The running processes on the memory machine: which processes the list holds and by which way,
// the image path each one gets, the statuses of a process without modules, and the ANSI
// toolhelp functions of old systems.

#include <functional>

#include "processes/proc_processes.h"
#include "tests/unit/tools_test_support.h"
#include "tools/file_details.h"

namespace {

using platform::memory::MemoryProcess;
using Machine = platform::memory::MemoryMachine;

constexpr char16_t kSystem32[] = u"C:\\WINDOWS\\system32\\";

bool CollectName(std::int32_t, const char16_t* name, CVistrelPlugin* child, CVistrelPlugin*,
                 void* context) {
    static_cast<std::vector<std::u16string>*>(context)->push_back(child ? child->GetName() : name);
    return true;
}

std::int32_t FailingHelper(const ElevatedHelperRequest&, IElevatedHelper** helper) {
    *helper = nullptr;
    return platform::kEAccessDenied;
}

MemoryProcess Process(std::u16string exeName, std::vector<std::u16string> modules,
                      std::u16string imagePath = {}) {
    MemoryProcess p;
    p.exeName = std::move(exeName);
    p.modules = std::move(modules);
    p.imagePath = std::move(imagePath);
    return p;
}

class ProcessesTest : public ToolsTest {
  protected:
    ProcessesTest() {
        InstallWindowsFolders();
        CreateElevatedHelperSupport();
    }
    // A fresh list read once; every snapshot it took is closed again.
    std::unique_ptr<CVistrelProcProcesses> Read() {
        auto list = std::make_unique<CVistrelProcProcesses>();
        list->EnumerateItems(nullptr, false, nullptr);
        EXPECT_EQ(machine_.OpenSnapshots(), 0);
        return list;
    }
    std::vector<std::u16string> Names(CVistrelPlugin& source) {
        std::vector<std::u16string> names;
        source.EnumerateItems(CollectName, false, &names);
        return names;
    }
};

TEST_F(ProcessesTest, ProcessWithoutModulesGivesTheStatusOfItsHelper) {
    enum { kSnapshotDenied = 1, kQueryDenied = 2, kSnapshotEmpty = 4 };
    const struct {
        int faults;
        bool tokenElevated;
        int elevationType;
        bool helperAvailable;
        std::int32_t count;
        const char* logged;
    } cases[] = {
        {0, false, 3, true, 2, nullptr},
        {kSnapshotDenied, false, 3, true, 2, nullptr},  // the helper reads them
        {kSnapshotDenied | kQueryDenied, false, 3, true, kEnumAccessDeniedNeedsElevation,
         "CVistrelProcess:EnumerateItems: Requires elevation"},
        {kSnapshotDenied | kQueryDenied, true, 2, true, kEnumAccessDenied,
         "CVistrelProcess:EnumerateItems: Access denied: canElevate=1, isElevated=1"},
        {kSnapshotDenied | kQueryDenied, false, 2, true, kEnumAccessDenied,
         "CVistrelProcess:EnumerateItems: Access denied: canElevate=0, isElevated=0"},
        {kSnapshotEmpty, false, 1, true, kEnumAccessDenied,
         "CVistrelProcess:EnumerateItems: Access denied: canElevate=0, isElevated=0"},
        {kSnapshotDenied, false, 3, false, kEnumAccessDenied,
         "CVistrelProcess:EnumerateItems: Access denied: pHelper is null"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        machine_.ClearTrace();
        CreateElevatedHelperSupport();  // no helper got yet
        machine_.SetTokenElevation(c.tokenElevated, c.elevationType);
        CElevatedHelperFactory::SetCreateFunction(c.helperAvailable ? nullptr : &FailingHelper);
        MemoryProcess p = Process(u"app.exe", {u"C:\\App\\app.exe", u"C:\\App\\x.dll"});
        p.moduleSnapshotDenied = c.faults & kSnapshotDenied;
        p.moduleQueryDenied = c.faults & kQueryDenied;
        p.moduleSnapshotEmpty = c.faults & kSnapshotEmpty;
        machine_.AddProcess(100, p);
        auto list = Read();
        ASSERT_EQ(list->processes.size(), 1u);
        EXPECT_EQ(list->processes[0].EnumerateItems(nullptr, true, nullptr), c.count);
        EXPECT_TRUE(c.logged == nullptr || Logged(c.logged));
        ReleaseElevatedHelper();
    }
}

TEST_F(ProcessesTest, AHelperReleasedWithItsBatchOfWorkCountsAsNone) {
    machine_.SetTokenElevation(false, 3);
    MemoryProcess p = Process(u"app.exe", {});
    p.moduleSnapshotDenied = p.moduleQueryDenied = true;
    machine_.AddProcess(100, p);
    CVistrelProcProcesses list;
    list.SetUseElevation(true);
    list.EnumerateItems(nullptr, true, nullptr);
    ASSERT_EQ(list.processes.size(), 1u);
    EXPECT_EQ(list.processes[0].EnumerateItems(nullptr, false, nullptr),
              kEnumAccessDeniedNeedsElevation);
    ReleaseElevatedHelper();  // as after a population
    EXPECT_EQ(list.processes[0].EnumerateItems(nullptr, false, nullptr), kEnumAccessDenied);
    EXPECT_TRUE(Logged("CVistrelProcess:EnumerateItems: Access denied: pHelper is null"));
}

TEST_F(ProcessesTest, ImagePathIsTheNamedModuleTheLastOneTheHelpersOrAGuessedName) {
    struct Case {
        const char* what;
        MemoryProcess process;
        std::u16string path;
        bool guessed;
    };
    MemoryProcess denied = Process(u"svchost.exe", {}, u"C:\\Secure\\svchost.exe");
    denied.moduleSnapshotDenied = true;
    MemoryProcess empty = denied;
    empty.moduleSnapshotDenied = false;
    empty.moduleSnapshotEmpty = true;
    MemoryProcess unknown = denied;
    unknown.imagePathDenied = true;
    const Case cases[] = {
        {"same case",
         Process(u"Tool.exe", {u"C:\\A\\first.dll", u"C:\\App\\Tool.exe", u"C:\\A\\last.dll"}),
         u"C:\\App\\Tool.exe", false},
        {"other case", Process(u"tool.exe", {u"C:\\App\\Tool.exe", u"C:\\A\\last.dll"}),
         u"C:\\A\\last.dll", false},
        {"only a longer name ends alike",
         Process(u"tool.exe", {u"C:\\x\\mytool.exe", u"C:\\y\\tool.exe", u"C:\\z\\z.dll"}),
         u"C:\\y\\tool.exe", false},
        {"no module snapshot", denied, u"C:\\Secure\\svchost.exe", false},
        {"no first module", empty, u"C:\\Secure\\svchost.exe", false},
        {"nothing answers", unknown, u"svchost.exe", true},
    };
    machine_.AddFile(std::u16string(kSystem32) + u"svchost.exe");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        machine_.AddProcess(2024, c.process);
        auto list = Read();
        ASSERT_EQ(list->processes.size(), 1u);
        EXPECT_EQ(list->processes[0].path, c.path);
        std::vector<DetailsLine> lines;
        list->GetItemDetails(0, CollectDetailsLine, &lines);
        ASSERT_GE(lines.size(), 4u);
        EXPECT_EQ(lines[1].value, c.path);  // the object line
        // Only a guessed name found on disk has the "may be wrong" line, before the path.
        EXPECT_EQ(lines[3].labelId == kDetailsTextMaybeWrong, c.guessed);
    }
}

TEST_F(ProcessesTest, WayAndVariantFollowTheSystemAndItsLibraries) {
    const std::u16string longName = std::u16string(300, u'n');
    const std::vector<std::u16string> both = {u"snap.exe", u"caf\u00e9.exe"}, none;
    // The top bit of the version word marks a system without the wide functions.
    const auto ansi = [](Machine& m) { m.SetVersionWord(0xC0000A04u); };
    const struct {
        const char* what;
        std::function<void(Machine&)> setUp;
        std::vector<std::u16string> names;
    } cases[] = {
        {"wide", [](Machine&) {}, both},
        {"NT 4: the helper's ids and paths",
         [](Machine& m) { m.SetOsVersion(4, 10); },
         {u"image.exe", u"caf\u00e9.exe"}},
        {"9x numbered 4 isn't NT", [](Machine& m) { m.SetOsVersion(4, 10), m.SetPlatformId(1); },
         both},
        {"no wide functions",
         [](Machine& m) { m.RemoveExport(u"kernel32.dll", "Process32FirstW"); }, none},
        {"ANSI without wide functions",
         [&](Machine& m) { ansi(m), m.RemoveExport(u"kernel32.dll", "Process32FirstW"); }, both},
        {"ANSI functions missing",
         [&](Machine& m) { ansi(m), m.RemoveExport(u"kernel32.dll", "Process32First"); }, none},
        {"ANSI, no locale code page: GetACP",
         [&](Machine& m) { ansi(m), m.SetAnsiCodePages(0, 65001); }, both},
        {"ANSI, the locale's code page first",
         [&](Machine& m) { ansi(m), m.SetAnsiCodePages(1252, 65001); },
         {u"snap.exe", u"caf\u00c3\u00a9.exe"}},
        {"ANSI cuts a name that fills its field",
         [&](Machine& m) { ansi(m), m.AddProcess(30, Process(longName, {u"C:\\L\\" + longName})); },
         {u"snap.exe", u"caf\u00e9.exe", longName.substr(0, 259)}},
        {"no kernel32", [](Machine& m) { m.FailLibraryLoad(u"kernel32.dll"); }, none},
        {"no snapshot function",
         [](Machine& m) { m.RemoveExport(u"kernel32.dll", "CreateToolhelp32Snapshot"); }, none},
        {"failing snapshot", [](Machine& m) { m.FailProcessSnapshot(); }, none},
        {"no psapi", [](Machine& m) { m.FailLibraryLoad(u"psapi.dll"); }, both},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Machine m;  // each case on a machine of its own
        platform::memory::ScopedMachine scoped(m);
        m.AddProcess(4, Process(u"System", {}, u"System"));
        m.AddProcess(9, Process(u"low.exe", {u"C:\\low.exe"}, u"C:\\low.exe"));
        m.AddProcess(10, Process(u"snap.exe", {u"C:\\S\\snap.exe"}, u"C:\\H\\image.exe"));
        m.AddProcess(20, Process(u"caf\u00e9.exe", {u"C:\\caf\u00e9.exe"}, u"C:\\caf\u00e9.exe"));
        m.AddProcess(21, Process(u"bare.exe", {u"C:\\bare.exe"}, u"bare.exe"));
        m.SetOsVersion(10, 10);
        m.SetPlatformId(2);
        m.SetAnsiCodePages(1252, 1252);
        c.setUp(m);
        {
            CVistrelProcProcesses list;
            std::vector<std::u16string> names = Names(list);
            std::erase(names, u"bare.exe");  // the helper way leaves it out: no folder
            EXPECT_EQ(names, c.names);
        }
        EXPECT_EQ(m.LoadedLibraries(), 0);
        EXPECT_EQ(m.OpenSnapshots(), 0);
    }
}

TEST_F(ProcessesTest, ReadOnceThenDeliveredWithoutAnySystemCall) {
    machine_.AddProcess(100, Process(u"app.exe", {u"C:\\App\\app.exe", u"noslash.dll",
                                                  u"C:\\WINDOWS\\system32\\kernel32.dll"}));
    CVistrelProcProcesses list;
    std::vector<std::u16string> names = Names(list);  // refresh false: the first read all the same
    ASSERT_EQ(names, std::vector<std::u16string>{u"app.exe"});
    CVistrelProcProcess* node = &list.processes[0];
    const int calls = machine_.ProcessEnumerationCalls();
    EXPECT_EQ(Names(list), names);
    EXPECT_EQ(&list.processes[0], node);
    EXPECT_EQ(Names(*node),
              (std::vector<std::u16string>{u"app.exe", u"noslash.dll", u"kernel32.dll"}));
    EXPECT_EQ(machine_.ProcessEnumerationCalls(), calls);
}

}  // namespace
