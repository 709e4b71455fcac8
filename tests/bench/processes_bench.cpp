// A whole population of the process category (toolhelp snapshots, image paths, module lists,
// handover and fill) on the memory machine, for 150, 300 and 600 processes of 60 modules each.
// Its counter vs_bare is the ratio to a bare baseline measured in the same run: a population of
// plain fake sources of the same shape (one source per process, one entry per module).
#include <benchmark/benchmark.h>

#include <chrono>

#include "processes/proc_processes.h"
#include "tests/unit/console_test_support.h"

namespace {

using console_test::FakeSource;
constexpr int kModules = 60;

struct ProcessPage : console_test::PageRig {
    ProcessPage(int processes, bool bare) {
        if (bare) {
            auto category = std::make_unique<FakeSource>();
            category->runtimeName = u"category";
            for (int p = 0; p < processes; ++p) {
                auto process = std::make_unique<FakeSource>();
                process->runtimeName = u"process.exe";
                for (int m = 0; m < kModules; ++m) process->AddEntry(u"module.dll");
                category->AddChild(std::move(process));
            }
            AddTop(std::move(category));
        } else {
            for (int p = 0; p < processes; ++p) {
                platform::memory::MemoryProcess process;
                process.exeName = u"process" + std::u16string(1, u'a' + p % 26) + u".exe";
                process.modules.push_back(u"C:\\Apps\\" + process.exeName);
                for (int m = 1; m < kModules; ++m)
                    process.modules.push_back(u"C:\\WINDOWS\\system32\\module" +
                                              std::u16string(1, u'a' + m % 26) + u".dll");
                machine.AddProcess(static_cast<std::uint32_t>(100 + 4 * p), std::move(process));
            }
            root->children.push_back(new CVistrelProcProcesses);
        }
        CreatePage();
    }
    // One population's wall time; negative when it didn't end.
    double Populate() {
        const auto start = std::chrono::steady_clock::now();
        const bool filled = ShowAndFill();
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
        dialog->ShowWindow(platform::kSwHide);
        return filled ? elapsed.count() : -1.0;
    }
};

void BM_ProcessPopulation(benchmark::State& state) {
    const int processes = static_cast<int>(state.range(0));
    constexpr int kBaselineRounds = 5;
    double bare = 0;
    {
        ProcessPage baseline(processes, true);
        for (int i = 0; i < kBaselineRounds; ++i) bare += baseline.Populate();
    }
    bare /= kBaselineRounds;

    ProcessPage page(processes, false);
    double total = 0;
    for (auto _ : state) {
        const double seconds = page.Populate();
        if (seconds < 0) state.SkipWithError("the population did not end");
        state.SetIterationTime(seconds);
        total += seconds;
    }
    const auto expected = static_cast<std::size_t>(1 + processes * (1 + kModules));
    if (page.view->NodeCount() != expected) state.SkipWithError("the tree misses nodes");
    state.counters["vs_bare"] = total / static_cast<double>(state.iterations()) / bare;
    state.SetComplexityN(processes);
}
BENCHMARK(BM_ProcessPopulation)
    ->Arg(150)
    ->Arg(300)
    ->Arg(600)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);

}  // namespace
