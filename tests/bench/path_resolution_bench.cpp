// The details pane of a stored value of 4096 bytes with 500 blanks: every blank makes a
// candidate that goes through the search folders. Reported against a bare baseline of the same
// run, the details of a value without blanks, as "x_baseline".
#include <benchmark/benchmark.h>

#include <chrono>
#include <string>

#include "platform/memory/memory_machine.h"
#include "tools/file_details.h"
#include "tools/path_resolution.h"

namespace {

// 2047 characters and the terminator: 500 words of three letters, each followed by a blank.
std::u16string LongValue() {
    std::u16string text;
    for (int word = 0; word < 500; ++word) text += u"xyz ";
    text.append(2047 - text.size(), u'q');
    return text;
}

struct Machine {
    Machine() {
        machine.SetSpecialFolder(platform::kCsidlWindows, u"C:\\windows");
        machine.SetSpecialFolder(platform::kCsidlSystem, u"C:\\windows\\system32");
        machine.SetEnv(u"WINDIR", u"C:\\windows");
        // The default PATH names two folders that the shell gives already.
        machine.SetEnv(u"PATH",
                       u"C:\\windows\\system32;C:\\windows;C:\\windows\\system32\\wbem;"
                       u"C:\\windows\\system32\\WindowsPowershell\\v1.0");
        for (const char16_t* file : {u"C:\\windows\\notepad.exe", u"C:\\windows\\system32\\a.dll"})
            machine.AddFile(file);
        ResetPathResolutionTables();
    }
    ~Machine() { ResetPathResolutionTables(); }
    platform::memory::MemoryMachine machine;
    platform::memory::ScopedMachine scope{machine};
};

bool CountLine(std::int32_t, std::int32_t, const char16_t*, std::int32_t, void* lines) {
    ++*static_cast<int*>(lines);
    return true;
}

double SecondsPerDetails(const std::u16string& text, int rounds) {
    int lines = 0;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < rounds; ++i) GetFileDetails(text.c_str(), 0, &CountLine, &lines, false);
    benchmark::DoNotOptimize(lines);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / rounds;
}

void BM_DetailsOfALongValueWithManyBlanks(benchmark::State& state) {
    Machine machine;
    const std::u16string text = LongValue();
    const double baseline = SecondsPerDetails(u"C:\\windows\\notepad.exe", 2000);
    int lines = 0;
    for (auto _ : state) GetFileDetails(text.c_str(), 0, &CountLine, &lines, false);
    const double lookupsBefore = machine.machine.FindFirstCount();
    GetFileDetails(text.c_str(), 0, &CountLine, &lines, false);
    state.counters["lookups"] = machine.machine.FindFirstCount() - lookupsBefore;
    state.counters["x_baseline"] = SecondsPerDetails(text, 3) / baseline;
}
BENCHMARK(BM_DetailsOfALongValueWithManyBlanks)->Unit(benchmark::kMillisecond);

}  // namespace
