// Process enumeration: toolhelp snapshots walked to their end, the process queries agreeing with
// them, what is missing, and the ANSI conversion's sizes.
#include <algorithm>
#include <string>
#include <vector>

#include "tests/contract/contract_fixture.h"

namespace contract {
namespace {

using namespace platform;

constexpr char16_t kTestExe[] = u"vistrel_tests.exe";

std::u16string Lower(std::u16string text) {
    for (char16_t& c : text)
        if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c + 32);
    return text;
}

bool EndsWith(const std::u16string& text, std::u16string_view end) {
    return text.size() >= end.size() && Lower(text.substr(text.size() - end.size())) == end;
}

class ProcessEnumerationContract : public PlatformContract {
  protected:
    void SetUp() override {
        PlatformContract::SetUp();
        // The memory machine runs the suite's own process as the system would.
        if (memoryMachine()) {
            memory::MemoryProcess self;
            self.exeName = kTestExe;
            self.imagePath = u"C:\\tests\\vistrel_tests.exe";
            self.modules = {self.imagePath, u"C:\\windows\\system32\\ntdll.dll",
                            u"C:\\windows\\system32\\KERNEL32.DLL"};
            memoryMachine()->AddProcess(4242, self);
        }
        kernel32_ = system().LoadSystemLibrary(u"kernel32.dll");
        ASSERT_NE(kernel32_, nullptr);
    }
    void TearDown() override {
        system().FreeSystemLibrary(kernel32_);
        PlatformContract::TearDown();
    }
    ProcessEnumeration& system() { return machine().processEnumeration(); }
    SnapshotHandle Snapshot(std::uint32_t flags, std::uint32_t processId) {
        return system().CallCreateSnapshot(
            system().FindFunction(kernel32_, "CreateToolhelp32Snapshot"), flags, processId);
    }

    ModuleHandle kernel32_ = nullptr;
};

TEST_P(ProcessEnumerationContract, SnapshotsAndQueriesSeeTheSameProcess) {
    SnapshotHandle processes = Snapshot(kTh32csSnapProcess, 0);
    ASSERT_NE(processes, nullptr);
    FunctionHandle first = system().FindFunction(kernel32_, "Process32FirstW");
    FunctionHandle next = system().FindFunction(kernel32_, "Process32NextW");
    ProcessEntry32W entry;
    entry.dwSize = sizeof(entry) - 8;
    // Windows says ERROR_BAD_LENGTH, Wine ERROR_INSUFFICIENT_BUFFER: only the refusal is shared.
    EXPECT_FALSE(system().CallSnapshotWalk(first, processes, &entry));
    entry.dwSize = sizeof(entry);
    std::uint32_t self = 0;
    for (bool more = system().CallSnapshotWalk(first, processes, &entry); more;
         more = system().CallSnapshotWalk(next, processes, &entry))
        if (Lower(entry.szExeFile) == kTestExe) self = entry.th32ProcessID;
    EXPECT_EQ(machine().LastError(), static_cast<std::uint32_t>(kErrorNoMoreFiles));
    system().CloseSnapshot(processes);
    ASSERT_NE(self, 0u);

    SnapshotHandle modules = Snapshot(kTh32csSnapModule, self);
    ASSERT_NE(modules, nullptr);
    ModuleEntry32W module;
    module.dwSize = sizeof(module);
    std::vector<std::u16string> names;
    for (bool more = system().CallSnapshotWalk(system().FindFunction(kernel32_, "Module32FirstW"),
                                               modules, &module);
         more; more = system().CallSnapshotWalk(system().FindFunction(kernel32_, "Module32NextW"),
                                                modules, &module))
        names.push_back(Lower(module.szModule));
    system().CloseSnapshot(modules);
    ASSERT_FALSE(names.empty());
    EXPECT_EQ(names.front(), kTestExe);
    EXPECT_NE(std::find(names.begin(), names.end(), u"kernel32.dll"), names.end());

    std::vector<std::uint32_t> ids;
    ASSERT_EQ(system().ProcessIds(&ids), kErrorSuccess);
    EXPECT_NE(std::find(ids.begin(), ids.end(), self), ids.end());
    std::u16string image;
    ASSERT_EQ(system().ProcessImagePath(self, &image), kErrorSuccess);
    EXPECT_TRUE(EndsWith(image, u"\\vistrel_tests.exe"));
    std::vector<std::u16string> paths;
    ASSERT_EQ(system().ProcessModulePaths(self, &paths), kErrorSuccess);
    EXPECT_TRUE(std::any_of(paths.begin(), paths.end(), [](const std::u16string& p) {
        return EndsWith(p, u"\\kernel32.dll");
    }));
    EXPECT_NE(system().ProcessImagePath(0xFFFFFFF1u, &image), kErrorSuccess);
    EXPECT_TRUE(image.empty());
}

TEST_P(ProcessEnumerationContract, MissingThingsAndTheAnsiConversion) {
    EXPECT_EQ(system().LoadSystemLibrary(u"vistrel_no_such_library.dll"), nullptr);
    EXPECT_EQ(machine().LastError(), static_cast<std::uint32_t>(kErrorModNotFound));
    EXPECT_EQ(system().FindFunction(kernel32_, "Process32FirstX"), nullptr);
    EXPECT_EQ(machine().LastError(), static_cast<std::uint32_t>(kErrorProcNotFound));
    char16_t out[8] = {};
    EXPECT_EQ(system().ToWide(1252, 0, "caf\xE9\x80", -1, nullptr, 0), 6);  // with the NUL
    EXPECT_EQ(system().ToWide(1252, 0, "caf\xE9\x80", 5, out, 8), 5);
    EXPECT_EQ(std::u16string(out, 5), u"caf\u00e9\u20ac");
    EXPECT_EQ(system().ToWide(1252, 0, "caf\xE9", 4, out, 3), 0);
    EXPECT_EQ(machine().LastError(), static_cast<std::uint32_t>(kErrorInsufficientBuffer));
}

INSTANTIATE_TEST_SUITE_P(Backends, ProcessEnumerationContract, testing::ValuesIn(AllBackends()),
                         BackendName);

}  // namespace
}  // namespace contract
