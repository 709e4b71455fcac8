// The host's commands run natively against the memory machine and a recording page view: what
// each command creates, frees and answers, and the descriptor's bytes.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "console/view_factory.h"
#include "console/vistrel_dlg.h"
#include "frame/module_objects.h"
#include "frame/plugin_entry.h"
#include "libs/talutils/text_utils.h"
#include "platform/memory/memory_machine.h"
#include "sources/category_tree.h"

namespace {

using platform::memory::MemoryMachine;
using platform::memory::ScopedMachine;

// What the page's windows were asked to do, in order.
std::vector<std::string> g_viewCalls;

class RecordingView : public console::IVistrelView {
  public:
    bool CreatePage(std::uint32_t templateId, platform::WindowHandle parent) override {
        g_viewCalls.push_back("create " + std::to_string(templateId) + " " +
                              std::to_string(reinterpret_cast<std::uintptr_t>(parent)));
        handle_ = reinterpret_cast<platform::WindowHandle>(0x5150);
        return true;
    }
    platform::WindowHandle Handle() const override { return handle_; }
    void ShowPage(int command) override {
        g_viewCalls.push_back("show " + std::to_string(command));
    }
    void SendClose() override { g_viewCalls.push_back("close"); }
    void DestroyPage() override {
        g_viewCalls.push_back("destroy");
        handle_ = nullptr;
    }
    void SetTitle(const std::u16string&) override {}
    void SetPaneText(const std::u16string&) override {}
    void SetButtonText(int, const std::u16string&) override {}
    void ShowButton(int, int) override {}
    void HideButton(int) override {}
    void HideAllButtons() override {}
    console::TreeNode GetSelectedNode() override { return nullptr; }
    bool NodeHasChild(console::TreeNode) override { return false; }
    ItemRecord* GetNodeRecord(console::TreeNode) override { return nullptr; }
    void DeleteAllNodes() override {}
    console::TreeNode InsertNode(console::TreeNode, const std::u16string&) override {
        return nullptr;
    }
    void MakeBold(console::TreeNode) override {}
    void SetNodeRecord(console::TreeNode, ItemRecord*) override {}
    void SetNodeLabel(console::TreeNode, const std::u16string&) override {}
    std::u16string ReadNodeText(console::TreeNode, std::size_t) override { return {}; }
    console::TreeNode GetParentNode(console::TreeNode) override { return nullptr; }
    void DeleteNode(console::TreeNode) override {}
    void FocusTree() override {}
    void MessageBox(const std::u16string&, const std::u16string&, std::uint32_t,
                    const char16_t*) override {}
    console::ConfirmOutcome RunConfirmation(TextForControl&) override { return {}; }
    void SendFillTree() override {}
    void WaitLettingHandoversThrough(const std::function<bool()>& finished) override {
        while (!finished()) {
        }
    }

  private:
    platform::WindowHandle handle_ = nullptr;
};

std::unique_ptr<console::IVistrelView> MakeRecordingView(CVistrelDlg&) {
    return std::make_unique<RecordingView>();
}

void HostService(std::uint32_t, std::int32_t* answer) {
    *answer = 1;
}

class FrameTest : public ::testing::Test {
  protected:
    void SetUp() override {
        saved_ = g_descriptor;
        previousFactory_ = console::SetViewFactory(&MakeRecordingView);
        g_viewCalls.clear();
        machine.AddFolder(u"C:\\Host\\Lang");
        context_.install_path = u"C:\\Host";
        context_.trace_mode = 1;
        context_.host_callback = &HostService;
        context_.gdi_manager = &gdiManager_;
    }
    void TearDown() override {
        ProcessData(vistrel::kCommandTearDown, 0);
        console::SetViewFactory(previousFactory_);
        g_descriptor = saved_;
        g_trace.SetMode(0);
    }

    std::uint64_t Initialise() {
        return ProcessData(vistrel::kCommandInitialise,
                           reinterpret_cast<std::uintptr_t>(&context_));
    }
    std::uint64_t CreatePage(void* window) {
        parent_.window = window;
        return ProcessData(vistrel::kCommandCreatePage, reinterpret_cast<std::uintptr_t>(&parent_));
    }
    const vistrel::PluginDescriptor& Descriptor() {
        return *reinterpret_cast<const vistrel::PluginDescriptor*>(
            static_cast<std::uintptr_t>(ProcessData(vistrel::kCommandGetDescriptor, 0)));
    }

    MemoryMachine machine;
    ScopedMachine scope{machine};
    vistrel::HostContext context_{};
    vistrel::ParentWindowObject parent_{reinterpret_cast<void*>(0xDEAD), nullptr};

  private:
    int gdiManager_ = 0;
    vistrel::PluginDescriptor saved_{};
    console::ViewFactory previousFactory_ = nullptr;
};

TEST_F(FrameTest, DescriptorAndRecordAsTheHostReadsThem) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(&Descriptor());
    EXPECT_EQ(reinterpret_cast<const void*>(bytes), &g_descriptor);
    const auto text = [bytes](std::size_t offset) {
        return std::u16string(reinterpret_cast<const char16_t*>(bytes + offset));
    };
    EXPECT_EQ(text(0), u"&Vistrel");
    EXPECT_EQ(text(64), u"System Information");
    EXPECT_EQ(text(192), u"9. 0. 0. 0");
    std::uint32_t valueA = 0;
    std::memcpy(&valueA, bytes + 256, 4);
    EXPECT_EQ(valueA, 180u);
    // Everything but the three texts and value_a is zero.
    const std::size_t used[][2] = {{0, 2 * 9}, {64, 2 * 19}, {192, 2 * 11}, {256, 4}};
    for (std::size_t i = 0; i < sizeof(vistrel::PluginDescriptor); ++i) {
        bool inside = false;
        for (const auto& range : used) inside |= i >= range[0] && i < range[0] + range[1];
        if (!inside) {
            EXPECT_EQ(bytes[i], 0) << "offset " << i;
        }
    }

    const auto* record = reinterpret_cast<const vistrel::Command8Record*>(
        static_cast<std::uintptr_t>(ProcessData(vistrel::kCommandGetRecord, 0)));
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->first, 60300u);
    EXPECT_STREQ(reinterpret_cast<const char*>(static_cast<std::uintptr_t>(record->second)),
                 "bad allocation");
}

TEST_F(FrameTest, UnknownCommandsAnswerZeroAndChangeNothing) {
    ASSERT_EQ(Initialise(), 1u);
    CVistrelMainPlugin* root = g_rootSource;
    CVistrelDlg* dialog = g_dialog;
    for (std::uint32_t command : {7u, 9u, 10u, 160u, 0x7FFFFFFFu, 0xFFFFFFFFu})
        EXPECT_EQ(ProcessData(command, reinterpret_cast<std::uintptr_t>(&context_)), 0u) << command;
    EXPECT_EQ(g_rootSource, root);
    EXPECT_EQ(g_dialog, dialog);
    EXPECT_EQ(std::u16string(Descriptor().name), u"&Vistrel");
    EXPECT_TRUE(g_viewCalls.empty());
}

TEST_F(FrameTest, InitialiseBuildsTheTreeOpensTheFileAndMakesThePage) {
    machine.AddFile(u"C:\\Host\\Lang\\l_vistrel.ini", "[LangSupport]\nIDS_YES=Yes\n");
    EXPECT_EQ(Initialise(), 1u);
    ASSERT_NE(g_rootSource, nullptr);
    EXPECT_NE(g_textFile, nullptr);
    EXPECT_NE(g_dialog, nullptr);
    EXPECT_EQ(g_hostService, &HostService);
    EXPECT_EQ(g_trace.Mode(), 1);
    EXPECT_EQ(g_rootSource->EnumerateItems(nullptr, false, nullptr),
              static_cast<std::int32_t>(g_rootSource->children.size()));
    EXPECT_TRUE(g_viewCalls.empty());  // no window before command 3

    EXPECT_EQ(ProcessData(vistrel::kCommandTearDown, 0), 1u);
    EXPECT_EQ(g_rootSource, nullptr);
    EXPECT_EQ(g_textFile, nullptr);
    EXPECT_EQ(g_dialog, nullptr);
    // A second tear-down finds nothing left to free.
    EXPECT_EQ(ProcessData(vistrel::kCommandTearDown, 0), 1u);
}

TEST_F(FrameTest, WithoutHostServiceOrLanguageFileThereIsNoPageButATree) {
    context_.host_callback = nullptr;
    context_.trace_mode = 0;
    EXPECT_EQ(Initialise(), 0u);
    EXPECT_NE(g_rootSource, nullptr);
    EXPECT_EQ(g_textFile, nullptr);
    EXPECT_EQ(g_dialog, nullptr);
    EXPECT_EQ(g_trace.Mode(), 0);
    // Page commands on a module without a page object.
    EXPECT_EQ(CreatePage(reinterpret_cast<void*>(0x1234)), 0u);
    EXPECT_EQ(ProcessData(vistrel::kCommandShowPage, 0), 1u);
    EXPECT_EQ(ProcessData(vistrel::kCommandHidePage, 0), 1u);
    EXPECT_EQ(ProcessData(vistrel::kCommandDestroyPage, 0), 1u);
    EXPECT_TRUE(g_viewCalls.empty());
    EXPECT_EQ(std::u16string(Descriptor().name), u"&Vistrel");
}

TEST_F(FrameTest, TearDownWithoutInitialiseFreesNothing) {
    EXPECT_EQ(ProcessData(vistrel::kCommandTearDown, 0), 1u);
    EXPECT_EQ(g_rootSource, nullptr);
    EXPECT_EQ(g_dialog, nullptr);
    EXPECT_EQ(Initialise(), 1u);
    EXPECT_EQ(ProcessData(vistrel::kCommandInitialise, 0), 0u);  // no context at all
}

TEST_F(FrameTest, PageLifecycleDrivesTheWindowInOrder) {
    machine.AddFile(u"C:\\Host\\Lang\\l_vistrel.ini",
                    "[LangSupport]\nIDS_PLUGIN_NAME=System checker\n");
    ASSERT_EQ(Initialise(), 1u);
    EXPECT_EQ(std::u16string(Descriptor().name), u"&Vistrel");  // before command 3
    EXPECT_EQ(ProcessData(vistrel::kCommandShowPage, 0), 1u);   // no window yet: nothing
    EXPECT_TRUE(g_viewCalls.empty());

    EXPECT_EQ(CreatePage(reinterpret_cast<void*>(0x4242)),
              reinterpret_cast<std::uintptr_t>(g_dialog));
    EXPECT_EQ(std::u16string(Descriptor().name), u"System checker");
    EXPECT_EQ(ProcessData(vistrel::kCommandShowPage, 0), 1u);
    EXPECT_EQ(ProcessData(vistrel::kCommandHidePage, 0), 1u);
    EXPECT_EQ(ProcessData(vistrel::kCommandDestroyPage, 0), 1u);
    EXPECT_EQ(ProcessData(vistrel::kCommandShowPage, 0), 1u);  // window gone: nothing
    EXPECT_EQ(g_viewCalls, (std::vector<std::string>{"create 22000 16962", "show 0", "show 5",
                                                     "show 0", "close", "destroy"}));
}

TEST_F(FrameTest, PageNameIsCutToThirtyOneCharacters) {
    const std::string name32 = "ABCDEFGHIJKLMNOPQRSTUVWXYZ012345";
    machine.AddFile(u"C:\\Host\\Lang\\l_vistrel.ini", "[LangSupport]\nIDS_PLUGIN_NAME=" + name32);
    ASSERT_EQ(Initialise(), 1u);
    ASSERT_NE(CreatePage(nullptr), 0u);
    const vistrel::PluginDescriptor& d = Descriptor();
    EXPECT_EQ(std::u16string(d.name), talutils::FromUtf8(name32.substr(0, 31)));
    EXPECT_EQ(d.name[31], u'\0');
    EXPECT_EQ(std::u16string(d.description), u"System Information");

    // A shorter name later leaves no tail of the longer one in the field.
    g_descriptor = {};
    CopyBounded(g_descriptor.name, 32, u"&Vistrel");
    CopyBounded(g_descriptor.name, 32, u"Vi");
    EXPECT_EQ(g_descriptor.name[2], u'\0');
    EXPECT_EQ(g_descriptor.name[3], u'\0');
    CopyBounded(g_descriptor.name, 32, nullptr);
    EXPECT_EQ(g_descriptor.name[0], u'\0');
}

}  // namespace
