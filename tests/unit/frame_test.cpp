// The host's commands run natively against the memory machine and a view that only logs what
// the page's window is asked to do: what each command creates, frees and answers.
#include <gtest/gtest.h>

#include <new>
#include <string>
#include <vector>

#include "frame/plugin_entry.h"
#include "tests/unit/console_test_support.h"

namespace {

using platform::memory::MemoryMachine;
using platform::memory::ScopedMachine;

std::vector<std::string> g_windowCalls;

// The window calls are logged; the dialog's handlers are never run.
class WindowLog : public console_test::RecordingView {
  public:
    using RecordingView::RecordingView;
    bool CreatePage(std::uint32_t templateId, platform::WindowHandle parent) override {
        Log("create " + std::to_string(templateId) + " " +
            std::to_string(reinterpret_cast<std::uintptr_t>(parent)));
        alive_ = true;
        return true;
    }
    platform::WindowHandle Handle() const override {
        return alive_ ? reinterpret_cast<platform::WindowHandle>(0x5150) : nullptr;
    }
    void ShowPage(int command) override { Log("show " + std::to_string(command)); }
    void SendClose() override { Log("close"); }
    void DestroyPage() override {
        Log("destroy");
        alive_ = false;
    }

  private:
    static void Log(const std::string& call) { g_windowCalls.push_back(call); }
    bool alive_ = false;
};

class FrameTest : public ::testing::Test {
  protected:
    void SetUp() override {
        saved_ = g_descriptor;
        previousFactory_ = console::SetViewFactory(
            [](CVistrelDlg& dialog) -> std::unique_ptr<console::IVistrelView> {
                return std::make_unique<WindowLog>(dialog);
            });
        g_windowCalls.clear();
        context_.install_path = u"C:\\Host";
        context_.trace_mode = 1;
        context_.host_callback = &console_test::HostService;
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
    MemoryMachine machine;
    ScopedMachine scope{machine};
    vistrel::HostContext context_{};
    vistrel::ParentWindowObject parent_{reinterpret_cast<void*>(0xDEAD), nullptr};

  private:
    vistrel::PluginDescriptor saved_{};
    console::ViewFactory previousFactory_ = nullptr;
};

// A field keeps one character for the NUL and no tail of an earlier, longer text.
TEST(CopyBoundedTest, CutsAndLeavesNoTail) {
    const struct {
        const char16_t* source;
        std::u16string field;
    } copies[] = {{u"Vistrel", {u"Vistr\0", 6}},
                  {u"Vi", {u"Vi\0\0\0\0", 6}},
                  {nullptr, std::u16string(6, u'\0')}};
    char16_t field[6];
    std::fill(std::begin(field), std::end(field), u'#');
    for (const auto& c : copies) {
        CopyBounded(field, 6, c.source);
        EXPECT_EQ(std::u16string(field, 6), c.field);
    }
}

TEST_F(FrameTest, InitialiseAndTearDownOwnTheModuleObjects) {
    EXPECT_EQ(ProcessData(vistrel::kCommandTearDown, 0), 1u);  // before any command 0
    EXPECT_EQ(ProcessData(vistrel::kCommandInitialise, 0), 0u);
    machine.AddFile(u"C:\\Host\\Lang\\l_vistrel.ini", "[LangSupport]\nIDS_YES=Yes\n");
    EXPECT_EQ(Initialise(), 1u);
    ASSERT_NE(g_rootSource, nullptr);
    EXPECT_NE(g_textFile, nullptr);
    EXPECT_NE(g_dialog, nullptr);
    EXPECT_EQ(g_hostService, &console_test::HostService);
    EXPECT_EQ(g_trace.Mode(), 1);
    EXPECT_EQ(g_rootSource->EnumerateItems(nullptr, false, nullptr),
              static_cast<std::int32_t>(g_rootSource->children.size()));

    // Unknown commands answer 0 and change nothing.
    CVistrelMainPlugin* root = g_rootSource;
    CVistrelDlg* dialog = g_dialog;
    for (std::uint32_t command : {7u, 9u, 10u, 160u, 0x7FFFFFFFu, 0xFFFFFFFFu})
        EXPECT_EQ(ProcessData(command, reinterpret_cast<std::uintptr_t>(&context_)), 0u) << command;
    EXPECT_EQ(g_rootSource, root);
    EXPECT_EQ(g_dialog, dialog);
    EXPECT_EQ(std::u16string(g_descriptor.name), u"&Vistrel");
    EXPECT_TRUE(g_windowCalls.empty());  // no window before command 3

    EXPECT_EQ(ProcessData(vistrel::kCommandTearDown, 0), 1u);
    EXPECT_EQ(g_rootSource, nullptr);
    EXPECT_EQ(g_textFile, nullptr);
    EXPECT_EQ(g_dialog, nullptr);
    EXPECT_EQ(ProcessData(vistrel::kCommandTearDown, 0), 1u);  // nothing left to free

    // Without the host's service or a language file there is a tree but no page.
    context_.host_callback = nullptr;
    context_.trace_mode = 0;
    context_.install_path = u"C:\\Elsewhere";
    EXPECT_EQ(Initialise(), 0u);
    EXPECT_NE(g_rootSource, nullptr);
    EXPECT_EQ(g_textFile, nullptr);
    EXPECT_EQ(g_dialog, nullptr);
    EXPECT_EQ(g_trace.Mode(), 0);
    EXPECT_EQ(CreatePage(reinterpret_cast<void*>(0x1234)), 0u);
    EXPECT_EQ(ProcessData(vistrel::kCommandShowPage, 0), 1u);
    EXPECT_EQ(ProcessData(vistrel::kCommandHidePage, 0), 1u);
    EXPECT_EQ(ProcessData(vistrel::kCommandDestroyPage, 0), 1u);
    EXPECT_TRUE(g_windowCalls.empty());
    EXPECT_EQ(std::u16string(g_descriptor.name), u"&Vistrel");
}

TEST_F(FrameTest, AFailedAllocationReachesTheHostAsAStatus) {
    ASSERT_EQ(Initialise(), 1u);
    console::SetViewFactory(
        [](CVistrelDlg&) -> std::unique_ptr<console::IVistrelView> { throw std::bad_alloc(); });
    std::uint64_t result = 1;
    EXPECT_NO_THROW(result = CreatePage(nullptr));
    EXPECT_EQ(result, 0u);
}

TEST_F(FrameTest, PageLifecycleDrivesTheWindowInOrderAndRenamesThePage) {
    machine.AddFile(u"C:\\Host\\Lang\\l_vistrel.ini", "[LangSupport]\nIDS_PLUGIN_NAME=Pages");
    ASSERT_EQ(Initialise(), 1u);
    EXPECT_EQ(ProcessData(vistrel::kCommandShowPage, 0), 1u);  // no window yet: nothing
    EXPECT_TRUE(g_windowCalls.empty());

    EXPECT_EQ(CreatePage(reinterpret_cast<void*>(0x4242)),
              reinterpret_cast<std::uintptr_t>(g_dialog));
    EXPECT_EQ(std::u16string(g_descriptor.name), u"Pages");
    EXPECT_EQ(ProcessData(vistrel::kCommandShowPage, 0), 1u);
    EXPECT_EQ(ProcessData(vistrel::kCommandHidePage, 0), 1u);
    EXPECT_EQ(ProcessData(vistrel::kCommandDestroyPage, 0), 1u);
    EXPECT_EQ(ProcessData(vistrel::kCommandShowPage, 0), 1u);  // window gone: nothing
    EXPECT_EQ(g_windowCalls, (std::vector<std::string>{"create 22000 16962", "show 0", "show 5",
                                                       "show 0", "close", "destroy"}));
}

}  // namespace
