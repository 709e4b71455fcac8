// A whole population (worker collection, handover, fill) and the fill alone, for synthetic trees
// of 12.5k to 50k entries, on the memory machine with fake sources. Both must grow linearly.
#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "console/view_factory.h"
#include "console/vistrel_dlg.h"
#include "frame/module_objects.h"
#include "platform/memory/memory_machine.h"
#include "sources/category_tree.h"

namespace {

constexpr int kCategories = 50;

// A category whose entries are plain names made once.
class ListSource : public CVistrelPlugin {
  public:
    explicit ListSource(int entries) {
        for (int i = 0; i < entries; ++i)
            names_.push_back(u"entry value " + std::u16string(1, u'a' + i % 26));
    }
    const char16_t* GetName() override { return u"category"; }
    std::int32_t EnumerateItems(EntryCallback callback, bool, void* context) override {
        for (std::size_t i = 0; i < names_.size(); ++i)
            if (callback &&
                !callback(static_cast<std::int32_t>(i), names_[i].c_str(), nullptr, this, context))
                return static_cast<std::int32_t>(i) + 1;
        return static_cast<std::int32_t>(names_.size());
    }
    std::int32_t GetActionCount() override { return 3; }
    std::uint32_t GetActionMask(std::int32_t) override { return 7; }

  private:
    std::vector<std::u16string> names_;
};

// A view that keeps what a tree control would: texts, parents, records and bold states.
class BenchView : public console::IVistrelView {
  public:
    explicit BenchView(CVistrelDlg& dialog) : dialog_(dialog) {}
    bool CreatePage(std::uint32_t, platform::WindowHandle) override {
        dialog_.OnInitDialog();
        return true;
    }
    platform::WindowHandle Handle() const override {
        return reinterpret_cast<platform::WindowHandle>(0x5150);
    }
    void ShowPage(int command) override { dialog_.OnShowWindow(command != platform::kSwHide); }
    void SendClose() override {}
    void DestroyPage() override { dialog_.OnDestroy(); }
    void SetTitle(const std::u16string&) override {}
    void SetPaneText(const std::u16string&) override {}
    void SetButtonText(int, const std::u16string&) override {}
    void ShowButton(int, int) override {}
    void HideButton(int) override {}
    void HideAllButtons() override {}
    console::TreeNode GetSelectedNode() override { return nullptr; }
    bool NodeHasChild(console::TreeNode) override { return false; }
    ItemRecord* GetNodeRecord(console::TreeNode node) override {
        return nodes_[Index(node)].record;
    }
    void DeleteAllNodes() override { nodes_.clear(); }
    console::TreeNode InsertNode(console::TreeNode parent, const std::u16string& text) override {
        nodes_.push_back({text, parent, nullptr, false});
        return reinterpret_cast<console::TreeNode>(nodes_.size());
    }
    void MakeBold(console::TreeNode node) override { nodes_[Index(node)].bold = true; }
    void SetNodeRecord(console::TreeNode node, ItemRecord* record) override {
        nodes_[Index(node)].record = record;
    }
    void SetNodeLabel(console::TreeNode node, const std::u16string& text) override {
        nodes_[Index(node)].text = text;
    }
    std::u16string ReadNodeText(console::TreeNode node, std::size_t) override {
        return nodes_[Index(node)].text;
    }
    console::TreeNode GetParentNode(console::TreeNode node) override {
        return nodes_[Index(node)].parent;
    }
    void DeleteNode(console::TreeNode) override {}
    void FocusTree() override {}
    void MessageBox(const std::u16string&, const std::u16string&, std::uint32_t,
                    const char16_t*) override {}
    console::ConfirmOutcome RunConfirmation(TextForControl&) override { return {1, true}; }
    void SendFillTree() override {
        std::unique_lock<std::mutex> lock(mutex_);
        posted_ = true;
        cv_.notify_all();
        cv_.wait(lock, [&] { return !posted_; });
    }
    void WaitLettingHandoversThrough(const std::function<bool()>& finished) override {
        while (!finished()) Serve(false);
    }
    // Serves one handover on this thread; with wait, blocks until one comes.
    void Serve(bool wait) {
        {
            std::unique_lock<std::mutex> lock(mutex_);
            if (wait) cv_.wait(lock, [&] { return posted_; });
            if (!posted_) return;
        }
        dialog_.OnWmUserFillTree();
        std::lock_guard<std::mutex> lock(mutex_);
        posted_ = false;
        cv_.notify_all();
    }
    std::size_t Count() const { return nodes_.size(); }

  private:
    struct Node {
        std::u16string text;
        console::TreeNode parent;
        ItemRecord* record;
        bool bold;
    };
    static std::size_t Index(console::TreeNode node) {
        return reinterpret_cast<std::uintptr_t>(node) - 1;
    }
    CVistrelDlg& dialog_;
    std::vector<Node> nodes_;
    std::mutex mutex_;
    std::condition_variable cv_;
    bool posted_ = false;
};

BenchView* g_view = nullptr;
std::unique_ptr<console::IVistrelView> MakeView(CVistrelDlg& dialog) {
    auto view = std::make_unique<BenchView>(dialog);
    g_view = view.get();
    return view;
}

// The machine, a root of kCategories list sources holding `entries` entries in all, and a page.
struct Page {
    explicit Page(int entries) {
        root = new CVistrelMainPlugin();
        for (CVistrelPlugin* child : root->children) delete child;
        root->children.clear();
        for (int c = 0; c < kCategories; ++c)
            root->children.push_back(new ListSource(entries / kCategories));
        g_rootSource = root;
        console::SetViewFactory(&MakeView);
        dialog = std::make_unique<CVistrelDlg>(nullptr);
        dialog->Create(22000, reinterpret_cast<platform::WindowHandle>(0xDEAD));
        view = g_view;
    }
    ~Page() {
        dialog->DestroyWindow();
        dialog.reset();
        g_rootSource = nullptr;
        delete root;
    }
    void Populate() {
        dialog->ShowWindow(platform::kSwShow);
        while (dialog->PopulateClient() >= 0) view->Serve(true);
        dialog->ShowWindow(platform::kSwHide);
    }

    platform::memory::MemoryMachine machine;
    platform::memory::ScopedMachine scope{machine};
    CVistrelMainPlugin* root = nullptr;
    std::unique_ptr<CVistrelDlg> dialog;
    BenchView* view = nullptr;
};

void BM_PopulateAndFill(benchmark::State& state) {
    Page page(static_cast<int>(state.range(0)));
    for (auto _ : state) page.Populate();
    if (page.view->Count() != static_cast<std::size_t>(state.range(0) + kCategories))
        state.SkipWithError("the tree does not hold every entry");
    state.SetComplexityN(state.range(0));
    state.counters["nodes"] = static_cast<double>(page.view->Count());
}
BENCHMARK(BM_PopulateAndFill)
    ->Arg(12500)
    ->Arg(25000)
    ->Arg(50000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);

// The insertion alone: the collected records of one population, filled again and again.
void BM_FillTree(benchmark::State& state) {
    Page page(static_cast<int>(state.range(0)));
    page.Populate();
    ItemRecord records;
    records.children.resize(kCategories);
    for (int c = 0; c < kCategories; ++c) {
        ItemRecord& category = records.children[static_cast<std::size_t>(c)];
        category.child = page.root->children[static_cast<std::size_t>(c)];
        category.name = u"category";
        category.count = static_cast<std::int32_t>(state.range(0) / kCategories);
        category.children.resize(static_cast<std::size_t>(state.range(0) / kCategories));
        for (std::size_t e = 0; e < category.children.size(); ++e) {
            category.children[e].index = static_cast<std::uint32_t>(e);
            category.children[e].name = u"entry value";
            category.children[e].owner = category.child;
        }
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
