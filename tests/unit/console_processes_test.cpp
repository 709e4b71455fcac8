// The process category on the page: F5 while a population runs and after it has filled the tree
// rebuilds the nodes, and no record of an old node is reached again (run under the address
// sanitizer this catches any use of a dropped node).
#include "processes/proc_processes.h"
#include "tests/unit/console_test_support.h"
#include "tools/elevation_support.h"

namespace console_test {
namespace {

using platform::memory::MemoryProcess;

class ProcessPageTest : public ConsoleTest {
  protected:
    void AddProcess(std::uint32_t id, std::u16string name, std::vector<std::u16string> modules) {
        MemoryProcess p;
        p.exeName = std::move(name);
        p.modules = std::move(modules);
        machine.AddProcess(id, std::move(p));
    }
    // Selects a node by its label and gives the pane.
    std::u16string Details(const std::u16string& label) {
        TreeNode node = view->Find(label);
        EXPECT_NE(node, nullptr) << Narrow(label);
        if (node == nullptr) return {};
        view->Select(node);
        return view->pane;
    }
    bool PressF5AndFill() { return dialog->PreTranslateKey(116) && WaitFilled(); }
};

TEST_F(ProcessPageTest, F5DuringAndAfterPopulationsRebuildsTheNodes) {
    machine.SetStringResource(22340, u"Processes");
    machine.SetStringResource(22486, u"Process ID");
    AddProcess(100, u"app.exe", {u"C:\\App\\app.exe", u"C:\\W\\kernel32.dll"});
    AddProcess(200, u"gone.exe", {u"C:\\Gone\\gone.exe"});
    auto slowSource = MakeCategory(30000, {u"first"});
    slowSource->slow = true;
    FakeSource* slow = AddTop(std::move(slowSource));
    root->children.push_back(new CVistrelProcProcesses);

    ASSERT_TRUE(CreatePage());
    dialog->ShowWindow(platform::kSwShow);
    ASSERT_TRUE(WaitFor([&] { return slow->entered.load(); }));
    EXPECT_TRUE(dialog->PreTranslateKey(116));  // only traced: a population runs
    slow->released = true;
    ASSERT_TRUE(WaitFilled());
    EXPECT_NE(view->Find(u"gone.exe  (1)"), nullptr) << view->Dump();
    EXPECT_EQ(Narrow(Details(u"gone.exe  (1)")).rfind("Process ID: 200\r\n", 0), 0u);

    machine.RemoveProcess(200);
    AddProcess(300, u"new.exe", {u"C:\\New\\new.exe"});
    for (int round = 0; round < 3; ++round) {
        SCOPED_TRACE(round);
        ASSERT_TRUE(PressF5AndFill());
        EXPECT_EQ(view->Find(u"gone.exe  (1)"), nullptr);
        ASSERT_NE(view->Find(u"Processes  (2)"), nullptr) << view->Dump();
        EXPECT_EQ(Narrow(Details(u"new.exe  (1)")).rfind("Process ID: 300\r\n", 0), 0u);
        EXPECT_NE(Narrow(Details(u"kernel32.dll")).find("C:\\W\\kernel32.dll"), std::string::npos);
    }
    // Hiding and showing again rebuilds too, with the elevated helper released in between.
    dialog->ShowWindow(platform::kSwHide);
    ASSERT_TRUE(ShowAndFill());
    EXPECT_EQ(Narrow(Details(u"app.exe  (2)")).rfind("Process ID: 100\r\n", 0), 0u);
}

}  // namespace
}  // namespace console_test
