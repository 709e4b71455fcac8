// A process table of any names and module paths through the whole process category, on the
// wide and on the ANSI toolhelp functions: the list, every node's modules and every details.
#include <string>

#include "processes/proc_processes.h"
#include "tests/fuzz/fuzz_support.h"
#include "tools/elevation_support.h"

namespace {

bool Walk(std::int32_t, const char16_t*, CVistrelPlugin* child, CVistrelPlugin*, void*) {
    if (child == nullptr) return true;
    fuzz::AllDetails(*child, child->EnumerateItems(&Walk, true, nullptr));
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    fuzz::Machine m;
    const std::uint8_t system = input.Byte();
    if (system & 1) m.machine.SetVersionWord(0xC0000A04u);  // the ANSI functions
    if (system & 2) m.machine.SetAnsiCodePages(65001, 65001);
    if (system & 4) m.machine.SetOsVersion(4, 0);  // the helper's way
    std::uint32_t id = 8;
    while (!input.Empty()) {
        platform::memory::MemoryProcess process;
        const std::uint8_t faults = input.Byte();
        process.moduleSnapshotDenied = faults & 1;
        process.moduleSnapshotEmpty = faults & 2;
        process.imagePathDenied = faults & 4;
        process.moduleQueryDenied = faults & 8;
        process.exeName = input.Text(2);
        process.imagePath = input.Text(2);
        for (std::uint8_t n = input.Byte() % 4; n > 0; --n)
            process.modules.push_back(input.Text(2));
        m.machine.AddProcess(id++, std::move(process));
    }
    CreateElevatedHelperSupport();
    {
        CVistrelProcProcesses list;
        fuzz::AllDetails(list, list.EnumerateItems(&Walk, true, nullptr));
    }
    DestroyElevatedHelperSupport();
    return 0;
}
