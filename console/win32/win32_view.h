// The page's Win32 view: the modeless dialog of template 22000 with its tree, pane, title and
// five buttons, the confirmation dialog and the failure message box.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "console/vistrel_view.h"

class CVistrelDlg;

namespace console::win32 {

class CTreeCtrlEx;

class CWin32VistrelView : public IVistrelView {
  public:
    CWin32VistrelView(CVistrelDlg& dialog, void* moduleHandle);
    ~CWin32VistrelView() override;

    bool CreatePage(std::uint32_t templateId, platform::WindowHandle parent) override;
    platform::WindowHandle Handle() const override;
    void ShowPage(int command) override;
    void SendClose() override;
    void DestroyPage() override;

    void SetTitle(const std::u16string& text) override;
    void SetPaneText(const std::u16string& text) override;
    void SetButtonText(int position, const std::u16string& text) override;
    void ShowButton(int position, int action) override;
    void HideButton(int position) override;
    void HideAllButtons() override;

    TreeNode GetSelectedNode() override;
    bool NodeHasChild(TreeNode node) override;
    ItemRecord* GetNodeRecord(TreeNode node) override;
    void DeleteAllNodes() override;
    TreeNode InsertNode(TreeNode parent, const std::u16string& text) override;
    void MakeBold(TreeNode node) override;
    void SetNodeRecord(TreeNode node, ItemRecord* record) override;
    void SetNodeLabel(TreeNode node, const std::u16string& text) override;
    std::u16string ReadNodeText(TreeNode node, std::size_t capacity) override;
    TreeNode GetParentNode(TreeNode node) override;
    void DeleteNode(TreeNode node) override;
    void FocusTree() override;

    void MessageBox(const std::u16string& title, const std::u16string& text, std::uint32_t flags,
                    const char16_t* skin) override;
    ConfirmOutcome RunConfirmation(TextForControl& texts) override;

    void SendFillTree() override;
    void WaitLettingHandoversThrough(const std::function<bool()>& finished) override;

    // The dialog procedure's work; message, wParam and lParam as Windows gives them.
    std::intptr_t HandleMessage(std::uint32_t message, std::uintptr_t wParam, std::intptr_t lParam,
                                bool* handled);
    // True when window is the page or lies inside it.
    bool Contains(void* window) const;
    CVistrelDlg& Dialog() { return dialog_; }
    // WM_INITDIALOG, before the dialog's OnInitDialog: finds the controls, installs the key hook.
    void OnCreated(void* window);
    // Queues a key that the hook took for the page.
    void PostKey(std::uint32_t virtualKey);

  private:
    void* Button(int position) const;
    void* Control(std::uint32_t id) const;

    CVistrelDlg& dialog_;
    void* module_;
    // HWND of the page; the worker reads it for the handover.
    std::atomic<void*> window_{nullptr};
    void* tree_ = nullptr;              // HWND of control 22033
    void* buttons_[kButtonCount] = {};  // HWNDs by position; their ids change with the action
    CTreeCtrlEx* treeCtrl_ = nullptr;
};

}  // namespace console::win32
