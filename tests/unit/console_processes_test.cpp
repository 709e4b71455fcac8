// The process category on the page: F5 while a population runs and after it has filled the tree
// rebuilds the nodes, and no record of an old node is reached again (run under the address
// sanitizer this catches any use of a dropped node).
#include "processes/proc_processes.h"
#include "tests/unit/console_test_support.h"

namespace console_test {
namespace {

class ProcessPageTest : public ConsoleTest {
  protected:
    void AddProcess(std::uint32_t id, std::u16string name, std::vector<std::u16string> modules) {
        platform::memory::MemoryProcess p;
        p.exeName = std::move(name);
        p.modules = std::move(modules);
        machine.AddProcess(id, std::move(p));
    }
    // Selects the node with this label; its pane has to hold text.
    void ExpectPane(const std::u16string& label, const std::string& text) {
        view->Select(Node(label));
        EXPECT_NE(Narrow(view->pane).find(text), std::string::npos) << Narrow(view->pane);
    }
};

TEST_F(ProcessPageTest, F5DuringAndAfterPopulationsRebuildsTheNodes) {
    machine.SetStringResource(22340, u"Processes");
    machine.SetStringResource(22486, u"Process ID");
    AddProcess(100, u"app.exe", {u"C:\\App\\app.exe", u"C:\\W\\kernel32.dll"});
    AddProcess(200, u"gone.exe", {u"C:\\Gone\\gone.exe"});
    root->children.push_back(new CVistrelProcProcesses);
    FakeSource* slow = ShowSlow();
    EXPECT_TRUE(dialog->PreTranslateKey(116));  // only traced: a population runs
    slow->released = true;
    ASSERT_TRUE(WaitFilled());
    ExpectPane(u"gone.exe  (1)", "Process ID: 200\r\n");

    machine.RemoveProcess(200);
    AddProcess(300, u"new.exe", {u"C:\\New\\new.exe"});
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(dialog->PreTranslateKey(116) && WaitFilled());
        EXPECT_EQ(view->Find(u"gone.exe  (1)"), nullptr);
        ExpectPane(u"new.exe  (1)", "Process ID: 300\r\n");
        ExpectPane(u"kernel32.dll", "C:\\W\\kernel32.dll");
    }
    // Hiding and showing again rebuilds too, with the elevated helper released in between.
    dialog->ShowWindow(platform::kSwHide);
    ASSERT_TRUE(ShowAndFill());
    ExpectPane(u"app.exe  (2)", "Process ID: 100\r\n");
}

}  // namespace
}  // namespace console_test
