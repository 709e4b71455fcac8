// A whole population (worker collection, handover, fill) and the fill alone, for synthetic trees
// of 12.5k to 50k entries, on the memory machine with the unit tests' fake sources and view. Both
// must grow linearly.
#include <benchmark/benchmark.h>

#include "tests/unit/console_test_support.h"

namespace {

using console_test::FakeSource;
constexpr int kCategories = 50;

// The page over kCategories categories holding `entries` entries in all.
struct Page : console_test::PageRig {
    explicit Page(int entries) {
        for (int c = 0; c < kCategories; ++c) {
            auto category = std::make_unique<FakeSource>();
            category->runtimeName = u"category";
            category->actionCount = 3;
            category->entryMask = 7;
            for (int e = 0; e < entries / kCategories; ++e)
                category->AddEntry(u"entry value " + std::u16string(1, u'a' + e % 26));
            AddTop(std::move(category));
        }
        CreatePage();
    }
    bool Populate() {
        const bool filled = ShowAndFill();
        dialog->ShowWindow(platform::kSwHide);
        return filled;
    }
};

void BM_PopulateAndFill(benchmark::State& state) {
    Page page(static_cast<int>(state.range(0)));
    for (auto _ : state)
        if (!page.Populate()) state.SkipWithError("the population did not end");
    if (page.view->NodeCount() != static_cast<std::size_t>(state.range(0) + kCategories))
        state.SkipWithError("the tree does not hold every entry");
    state.SetComplexityN(state.range(0));
    state.counters["nodes"] = static_cast<double>(page.view->NodeCount());
}
BENCHMARK(BM_PopulateAndFill)
    ->Arg(12500)
    ->Arg(25000)
    ->Arg(50000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);

// The insertion alone: records like a population's, filled again and again.
void BM_FillTree(benchmark::State& state) {
    Page page(static_cast<int>(state.range(0)));
    ItemRecord records;
    for (CVistrelPlugin* source : page.root->children) {
        ItemRecord& category = records.children.emplace_back();
        category.child = source;
        category.name = u"category";
        category.count = static_cast<std::int32_t>(state.range(0) / kCategories);
        category.children.resize(static_cast<std::size_t>(category.count));
        for (std::size_t e = 0; e < category.children.size(); ++e)
            category.children[e] = {
                static_cast<std::uint32_t>(e), u"entry value", nullptr, source, {}, 0};
    }
    for (auto _ : state) {
        page.view->DeleteAllNodes();
        page.dialog->FillTree(records, console::RootNode());
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_FillTree)
    ->Arg(12500)
    ->Arg(25000)
    ->Arg(50000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);

}  // namespace

BENCHMARK_MAIN();
