// The page under test: a recording view with a tree model of its own, fake sources with scripted
// answers, and a fixture that sets up the memory machine, the catalogue texts, the root source and
// the host's service. The test's thread plays the dialog's thread; the population runs on the
// provider's real worker and hands its records over through the view as a sent message would.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "console/item_record.h"
#include "console/view_factory.h"
#include "console/vistrel_dlg.h"
#include "console/vistrel_view.h"
#include "frame/module_objects.h"
#include "libs/talutils/tdfile.h"
#include "platform/memory/memory_machine.h"
#include "sources/category_tree.h"
#include "sources/plugin.h"

namespace console_test {

using console::TreeNode;

inline std::string Narrow(const std::u16string& text) {
    std::string out;
    for (char16_t c : text) out += c < 0x80 ? static_cast<char>(c) : '?';
    return out;
}

// One line that GetItemDetails feeds.
struct DetailLine {
    std::int32_t labelId;
    const char16_t* value;
    std::int32_t flags;
};

// A source whose every answer is set by the test. Entries are plain names or child sources
// (owned). EnumerateItems may run slowly, entry by entry, until released, to keep a population
// in flight.
class FakeSource : public CVistrelPlugin {
  public:
    struct Entry {
        std::u16string name;
        FakeSource* child = nullptr;
    };

    FakeSource* AddChild(std::unique_ptr<FakeSource> child) {
        FakeSource* raw = child.get();
        owned_.push_back(std::move(child));
        entries.push_back({u"", raw});
        return raw;
    }
    void AddEntry(const std::u16string& name) { entries.push_back({name, nullptr}); }

    std::int32_t GetNameId() override { return nameId; }
    const char16_t* GetName() override {
        return runtimeName.empty() ? nullptr : runtimeName.c_str();
    }
    std::int32_t EnumerateItems(EntryCallback callback, bool, void* context) override {
        ++enumerations;
        ++inside;
        const auto count = static_cast<std::int32_t>(entries.size());
        const Entry pending{u"pending"};
        bool refused = false;
        std::int32_t i = 0;
        // A slow source goes on with extra entries until it is released or refused.
        for (; !refused && (i < count || (slow && !released)); ++i) {
            if (i >= count) {
                entered = true;
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
            const Entry& e = i < count ? entries[static_cast<std::size_t>(i)] : pending;
            refused = !callback(i, e.child ? nullptr : e.name.c_str(), e.child, this, context);
        }
        --inside;
        return refused || result == INT_MIN ? i : result;
    }
    std::int32_t GetItemDetails(std::int32_t index, LineCallback lineCallback,
                                void* context) override {
        detailsAskedFor.push_back(index);
        for (const DetailLine& line : details)
            lineCallback(index, line.labelId, line.value, line.flags, context);
        return static_cast<std::int32_t>(details.size());
    }
    std::int32_t GetDescriptionId() override { return descriptionId; }
    std::int32_t GetActionCount() override { return actionCount; }
    std::int32_t GetActionTextId(std::int32_t action) override { return 23000 + action; }
    std::uint32_t GetActionMask(std::int32_t index) override {
        return index == -1 ? sourceMask : entryMask;
    }
    bool DoAction(std::int32_t action, std::int32_t index, resultFlags* flags) override {
        actions.emplace_back(action, index);
        flagsSeen = *flags;
        *flags = outcome;
        return doResult;
    }
    bool EmptyNameIsDefault() override { return emptyNameIsDefault; }

    std::vector<Entry> entries;
    std::u16string runtimeName;
    std::int32_t nameId = -1, descriptionId = -1, actionCount = 0;
    std::int32_t result = INT_MIN;  // INT_MIN: the number of entries delivered
    std::uint32_t sourceMask = 0, entryMask = 0;
    bool emptyNameIsDefault = false, doResult = true;
    std::vector<DetailLine> details;
    resultFlags outcome{}, flagsSeen{};
    std::vector<std::pair<std::int32_t, std::int32_t>> actions;  // (action, index) of DoAction
    std::vector<std::int32_t> detailsAskedFor;

    bool slow = false;
    std::atomic<bool> entered{false}, released{false};
    std::atomic<int> inside{0}, enumerations{0};

  private:
    std::vector<std::unique_ptr<FakeSource>> owned_;
};

// A category as the tree makes them: named by catalogue id, with a description, Refresh and Go
// to, and entries that can be refreshed and removed.
inline std::unique_ptr<FakeSource> MakeCategory(std::int32_t nameId,
                                                std::vector<std::u16string> names = {}) {
    auto source = std::make_unique<FakeSource>();
    source->nameId = nameId;
    source->descriptionId = nameId + 1;
    source->actionCount = 3;
    source->sourceMask = 3;
    source->entryMask = 7;
    for (auto& name : names) source->AddEntry(name);
    return source;
}

// The page's view over a tree model. Node handles are small integers; the invisible root is
// console::RootNode().
class RecordingView : public console::IVistrelView {
  public:
    struct Node {
        std::u16string text;
        TreeNode parent = nullptr;
        std::vector<TreeNode> children;
        ItemRecord* record = nullptr;
        bool bold = false;
    };
    struct Button {
        std::u16string text;
        int id = 0;
        bool visible = true, enabled = true;
    };

    explicit RecordingView(CVistrelDlg& dialog) : dialog_(dialog) {}

    // --- the window ---
    bool CreatePage(std::uint32_t, platform::WindowHandle) override {
        alive_.store(true);
        dialog_.OnInitDialog();
        return true;
    }
    platform::WindowHandle Handle() const override {
        return alive_.load() ? reinterpret_cast<platform::WindowHandle>(0x5150) : nullptr;
    }
    void ShowPage(int command) override {
        const bool show = command != platform::kSwHide;
        if (show == visible) return;
        visible = show;
        dialog_.OnShowWindow(show);
    }
    void SendClose() override {}
    void DestroyPage() override {
        dialog_.OnDestroy();
        alive_.store(false);
        // A window that goes lets a waiting handover return.
        std::lock_guard<std::mutex> guard(mutex_);
        handoverCv_.notify_all();
    }

    // --- title, pane, buttons ---
    void SetTitle(const std::u16string& text) override { title = text; }
    void SetPaneText(const std::u16string& text) override { pane = text; }
    void SetButtonText(int position, const std::u16string& text) override {
        buttons.at(position).text = text;
    }
    void ShowButton(int position, int action) override {
        Button& b = buttons.at(position);
        b.id = static_cast<int>(console::kFirstButtonId) + action;
        b.visible = true;
        b.enabled = true;
    }
    void HideButton(int position) override {
        buttons.at(position).visible = buttons.at(position).enabled = false;
    }
    void HideAllButtons() override {
        for (Button& b : buttons) b.visible = false;
    }

    // --- the tree ---
    TreeNode GetSelectedNode() override { return selected; }
    bool NodeHasChild(TreeNode node) override { return !At(node).children.empty(); }
    ItemRecord* GetNodeRecord(TreeNode node) override {
        return node == console::RootNode() ? nullptr : At(node).record;
    }
    void DeleteAllNodes() override {
        nodes_.clear();
        rootChildren_.clear();
        selected = nullptr;
    }
    TreeNode InsertNode(TreeNode parent, const std::u16string& text) override {
        if (failInsert && text == failInsert) return nullptr;
        TreeNode node = reinterpret_cast<TreeNode>(static_cast<std::uintptr_t>(++lastId_));
        nodes_[node] = Node{text, parent, {}, nullptr, false};
        Children(parent).push_back(node);
        return node;
    }
    void MakeBold(TreeNode node) override { At(node).bold = true; }
    void SetNodeRecord(TreeNode node, ItemRecord* record) override { At(node).record = record; }
    void SetNodeLabel(TreeNode node, const std::u16string& text) override { At(node).text = text; }
    std::u16string ReadNodeText(TreeNode node, std::size_t capacity) override {
        ++textReads;
        return At(node).text.substr(0, capacity - 1);
    }
    TreeNode GetParentNode(TreeNode node) override {
        return At(node).parent == console::RootNode() ? nullptr : At(node).parent;
    }
    // The control's own move of the selection is not modelled: a deleted selection is none.
    void DeleteNode(TreeNode node) override {
        std::erase(Children(At(node).parent), node);
        Erase(node);
    }
    void FocusTree() override { ++focusCalls; }

    // --- modal dialogs ---
    // Both run duringModal first, as a modal loop lets queued input through to the page.
    // Recorded as "caption|text|flags|skin".
    void MessageBox(const std::u16string& caption, const std::u16string& text, std::uint32_t flags,
                    const char16_t* skin) override {
        if (duringModal) duringModal();
        boxes.push_back(Narrow(caption + u"|" + text + u"|") + std::to_string(flags) + "|" +
                        Narrow(skin ? skin : u""));
    }
    console::ConfirmOutcome RunConfirmation(TextForControl& texts) override {
        ++confirmations;
        if (duringModal) duringModal();
        texts.GetText(22482, confirmText);
        return confirmAnswer;
    }

    // --- threads ---
    void SendFillTree() override {
        std::unique_lock<std::mutex> lock(mutex_);
        if (!alive_.load()) return;
        const std::uint64_t ticket = ++posted_;
        handoverCv_.notify_all();
        handoverCv_.wait(lock, [&] { return served_ >= ticket || !alive_.load(); });
    }
    void WaitLettingHandoversThrough(const std::function<bool()>& finished) override {
        ++stopWaits;
        while (!finished()) Pump(std::chrono::milliseconds(1));
    }

    // --- test side ---
    // Serves a waiting handover on this (the dialog's) thread; waits up to timeout for one.
    bool Pump(std::chrono::milliseconds timeout) {
        {
            std::unique_lock<std::mutex> lock(mutex_);
            if (!handoverCv_.wait_for(lock, timeout, [&] { return posted_ > served_; }))
                return false;
        }
        dialog_.OnWmUserFillTree();
        ++handovers;
        std::lock_guard<std::mutex> guard(mutex_);
        served_ = posted_;
        handoverCv_.notify_all();
        return true;
    }
    void Select(TreeNode node) {
        selected = node;
        dialog_.OnSelChanged(node);
    }
    Node& At(TreeNode node) { return nodes_.at(node); }
    const std::vector<TreeNode>& TopLevel() const { return rootChildren_; }
    std::vector<TreeNode>& Children(TreeNode node) {
        return node == console::RootNode() ? rootChildren_ : At(node).children;
    }
    std::size_t NodeCount() const { return nodes_.size(); }
    // The first node, depth first, whose label is text.
    TreeNode Find(const std::u16string& text, TreeNode parent = console::RootNode()) {
        for (TreeNode child : Children(parent))
            if (TreeNode found = At(child).text == text ? child : Find(text, child)) return found;
        return nullptr;
    }
    // The tree as indented lines, bold labels in asterisks.
    std::string Dump(TreeNode parent = console::RootNode(), int depth = 0) {
        std::string out;
        for (TreeNode child : Children(parent)) {
            const Node& n = At(child);
            out += std::string(2 * depth, ' ') + (n.bold ? "*" : "") + Narrow(n.text) +
                   (n.bold ? "*" : "") + "\n";
            out += Dump(child, depth + 1);
        }
        return out;
    }
    // Visible buttons as "position:id:text".
    std::vector<std::string> VisibleButtons() const {
        std::vector<std::string> out;
        for (int p = 0; p < console::kButtonCount; ++p)
            if (buttons[p].visible)
                out.push_back(std::to_string(p) + ":" + std::to_string(buttons[p].id) + ":" +
                              Narrow(buttons[p].text));
        return out;
    }

    bool visible = false;
    std::u16string title, pane, confirmText;
    std::array<Button, console::kButtonCount> buttons;
    TreeNode selected = nullptr;
    std::vector<std::string> boxes;
    console::ConfirmOutcome confirmAnswer{1, true};
    int confirmations = 0, focusCalls = 0, handovers = 0, stopWaits = 0, textReads = 0;
    const char16_t* failInsert = nullptr;  // a label whose insertion fails
    std::function<void()> duringModal;

  private:
    void Erase(TreeNode node) {
        for (TreeNode child : At(node).children) Erase(child);
        if (selected == node) selected = nullptr;
        nodes_.erase(node);
    }

    CVistrelDlg& dialog_;
    std::atomic<bool> alive_{false};
    std::unordered_map<TreeNode, Node> nodes_;
    std::vector<TreeNode> rootChildren_;
    std::uintptr_t lastId_ = 0;
    std::mutex mutex_;
    std::condition_variable handoverCv_;
    std::uint64_t posted_ = 0, served_ = 0;
};

inline RecordingView* g_lastView = nullptr;
inline std::unique_ptr<console::IVistrelView> MakeRecordingView(CVistrelDlg& dialog) {
    auto view = std::make_unique<RecordingView>(dialog);
    g_lastView = view.get();
    return view;
}

inline std::atomic<int> g_hostAnswer{1};
inline std::atomic<int> g_hostAsked{0};
inline std::atomic<std::uint32_t> g_hostCode{0};
inline void HostService(std::uint32_t code, std::int32_t* answer) {
    ++g_hostAsked;
    g_hostCode = code;
    // The field must come in as 0: the console relies on the host writing to refuse.
    if (*answer == 0) *answer = g_hostAnswer.load();
}

// The machine with the language file and the catalogue's resource texts, a root whose children
// the test gives, the host's service, and the page created as a child of a host window.
class PageRig {
  public:
    PageRig() {
        g_trace.SetMode(1);
        machine.AddFile(u"C:\\Host\\Lang\\l_vistrel.ini",
                        "[LangSupport]\r\nIDS_VISTREL_TITLE=Current system settings\r\n"
                        "IDS_VISTREL_TITLE_WAITING=Collecting, please wait...\r\n"
                        "IDS_VISTREL_ITEM_NOT_FOUND=not found\r\n"
                        "IDS_VISTREL_ACTION_REFRESH=Refresh\r\n"
                        "IDS_CONFIRMATION=Remove the item?\r\n");
        g_textFile = load_tdfile(u"C:\\Host\\Lang\\l_vistrel.ini");
        // clang-format off
        const std::pair<std::uint32_t, const char16_t*> texts[] = {
            {22483, u"Vistrel"}, {22484, u"The action failed."}, {22485, u"enumeration failed"},
            {22488, u"access denied"}, {22490, u"access denied, elevation required"},
            {23000, u"Refresh"}, {23001, u"Go to"}, {23002, u"Remove"},
            {30000, u"Run"}, {30001, u"Run keys of the user"}, {30010, u"Services"},
            {30020, u"Processes"}, {31000, u"File"}, {31001, u"Company"}, {31002, u"Signed"},
            {31003, u"yes"}};
        // clang-format on
        for (auto& [id, text] : texts) machine.SetStringResource(id, text);

        root = new CVistrelMainPlugin();
        for (CVistrelPlugin* child : root->children) delete child;
        root->children.clear();
        previousRoot_ = std::exchange(g_rootSource, root);
        previousService_ = std::exchange(g_hostService, &HostService);
        g_hostAnswer = 1;
        g_hostAsked = 0;
        previousFactory_ = console::SetViewFactory(&MakeRecordingView);
        dialog = std::make_unique<CVistrelDlg>(nullptr);
    }
    ~PageRig() {
        for (FakeSource* source : slowSources_) source->released.store(true);
        if (dialog && dialog->GetSafeHwnd()) dialog->DestroyWindow();
        dialog.reset();
        console::SetViewFactory(previousFactory_);
        g_hostService = previousService_;
        g_rootSource = previousRoot_;
        delete root;
        close_tdfile(g_textFile);
        g_textFile = nullptr;
        g_trace.SetMode(0);
    }

    // Adds a top-level category; the root owns it.
    FakeSource* AddTop(std::unique_ptr<FakeSource> source) {
        FakeSource* raw = source.release();
        root->children.push_back(raw);
        if (raw->slow) slowSources_.push_back(raw);
        return raw;
    }

    bool CreatePage() {
        if (!dialog->Create(22000, reinterpret_cast<platform::WindowHandle>(0xDEAD))) return false;
        view = g_lastView;
        return true;
    }
    // Shows the page and serves the handover of the population it starts.
    bool ShowAndFill() {
        dialog->ShowWindow(platform::kSwShow);
        return WaitFilled();
    }
    bool WaitFilled() {
        return WaitFor([&] { return dialog->PopulateClient() < 0; },
                       [&] { view->Pump(std::chrono::milliseconds(5)); });
    }
    static bool WaitFor(
        const std::function<bool()>& condition, const std::function<void()>& meanwhile = [] {
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        }) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            meanwhile();
        }
        return true;
    }
    int CountTrace(const std::string& message) {
        const auto lines = machine.TraceMessages();
        return static_cast<int>(std::count(lines.begin(), lines.end(), message));
    }

    platform::memory::MemoryMachine machine;
    platform::memory::ScopedMachine scope{machine};
    CVistrelMainPlugin* root = nullptr;
    std::unique_ptr<CVistrelDlg> dialog;
    RecordingView* view = nullptr;

  private:
    CVistrelMainPlugin* previousRoot_ = nullptr;
    vistrel::HostCallback previousService_ = nullptr;
    console::ViewFactory previousFactory_ = nullptr;
    std::vector<FakeSource*> slowSources_;
};

class ConsoleTest : public ::testing::Test, public PageRig {
  protected:
    void SetUp() override { ASSERT_NE(g_textFile, nullptr); }
    // The page created, shown and filled.
    void Open() {
        ASSERT_TRUE(CreatePage());
        ASSERT_TRUE(ShowAndFill());
    }
    // The page shown over a category "Run" that keeps its population in flight until released.
    FakeSource* ShowSlow() {
        auto source = MakeCategory(30000, {u"first"});
        source->slow = true;
        FakeSource* slow = AddTop(std::move(source));
        EXPECT_TRUE(CreatePage());
        dialog->ShowWindow(platform::kSwShow);
        EXPECT_TRUE(WaitFor([&] { return slow->entered.load(); }));
        return slow;
    }
    TreeNode Node(const std::u16string& label) {
        TreeNode node = view->Find(label);
        EXPECT_NE(node, nullptr) << Narrow(label);
        return node;
    }
};

}  // namespace console_test
