// Running processes end to end under Wine: a child process started by the test stands on the
// hosted page with its id and its modules, and F5 after it has ended drops it.
#include "tests/support/win32/hosted_page.h"

namespace hostedpage {
namespace {

class ProcessesPage : public HostedPage {
  protected:
    // The process node whose details start with the id line of processId.
    HTREEITEM NodeOf(DWORD processId) {
        const std::wstring idLine = L"Process ID: " + std::to_wstring(processId) + L"\r\n";
        HTREEITEM category = Find(tree_, L"Running processes");
        for (HTREEITEM item = category ? TreeView_GetChild(tree_, category) : nullptr; item;
             item = TreeView_GetNextSibling(tree_, item)) {
            TreeView_SelectItem(tree_, item);
            Pump(std::chrono::milliseconds(5));
            if (Pane().rfind(idLine, 0) == 0) return item;
        }
        return nullptr;
    }
};

TEST_F(ProcessesPage, AChildStandsWithItsIdAndModulesAndGoesAfterF5) {
    Notepad child;
    ASSERT_NE(child.Id(), 0u);
    ASSERT_NO_FATAL_FAILURE(Show());
    HTREEITEM node = NodeOf(child.Id());
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(Label(tree_, node).rfind(L"notepad.exe  (", 0), 0u) << Label(tree_, node);
    bool kernel32 = false;
    for (HTREEITEM module = TreeView_GetChild(tree_, node); module;
         module = TreeView_GetNextSibling(tree_, module))
        kernel32 = kernel32 || _wcsicmp(Label(tree_, module).c_str(), L"kernel32.dll") == 0;
    EXPECT_TRUE(kernel32);

    child.End();
    Key(tree_, VK_F5);
    ASSERT_TRUE(PumpUntil([&] { return Filled(); }));
    EXPECT_EQ(NodeOf(child.Id()), nullptr);
}

}  // namespace
}  // namespace hostedpage
