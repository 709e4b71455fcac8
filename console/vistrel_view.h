// The page's view: the window, its controls and the modal dialogs, as CVistrelDlg drives them.
// The Win32 view works on the real dialog; tests use a recording view.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "platform/types.h"

struct ItemRecord;
class TextForControl;

namespace console {

// A node of the tree control (an HTREEITEM on Windows); null for none.
using TreeNode = void*;
// The tree's invisible root (TVI_ROOT): the parent of the top-level nodes, and the marker that
// ShowDetails gets right after a fill.
inline TreeNode RootNode() {
    return reinterpret_cast<TreeNode>(static_cast<std::intptr_t>(-0x10000));
}

inline constexpr int kButtonCount = 5;
inline constexpr std::uint32_t kFirstButtonId = 22007;
inline constexpr std::uint32_t kTreeId = 22033;
inline constexpr std::uint32_t kPaneId = 22032;
inline constexpr std::uint32_t kTitleId = 22101;
inline constexpr std::uint32_t kFillTreeMessage = 1034;  // WM_USER + 10

// What the modal confirmation gives back.
struct ConfirmOutcome {
    std::intptr_t result = -1;  // the modal result: 1 OK, 2 Cancel; -1, 0 or 3 when not shown
    bool askAlways = true;      // false when the "don't ask again" box was ticked
};

class IVistrelView {
  public:
    virtual ~IVistrelView() = default;

    // --- the window ---
    // Creates the window from the template as a child of parent; the dialog's OnInitDialog
    // runs inside. False when the window could not be made.
    virtual bool CreatePage(std::uint32_t templateId, platform::WindowHandle parent) = 0;
    virtual platform::WindowHandle Handle() const = 0;
    // Shows or hides the window; a change of visibility calls the dialog's OnShowWindow.
    virtual void ShowPage(int command) = 0;
    virtual void SendClose() = 0;
    // Destroys the window; the dialog's OnDestroy runs inside.
    virtual void DestroyPage() = 0;

    // --- title, pane, buttons ---
    virtual void SetTitle(const std::u16string& text) = 0;
    virtual void SetPaneText(const std::u16string& text) = 0;
    virtual void SetButtonText(int position, const std::u16string& text) = 0;
    // Gives button position the control id 22007 + action, shows and enables it.
    virtual void ShowButton(int position, int action) = 0;
    virtual void HideButton(int position) = 0;  // hides and disables
    virtual void HideAllButtons() = 0;

    // --- the tree ---
    virtual TreeNode GetSelectedNode() = 0;
    virtual bool NodeHasChild(TreeNode node) = 0;
    virtual ItemRecord* GetNodeRecord(TreeNode node) = 0;
    virtual void DeleteAllNodes() = 0;
    // Inserts a node with text as the last child of parent; null on failure.
    virtual TreeNode InsertNode(TreeNode parent, const std::u16string& text) = 0;
    virtual void MakeBold(TreeNode node) = 0;
    virtual void SetNodeRecord(TreeNode node, ItemRecord* record) = 0;
    virtual void SetNodeLabel(TreeNode node, const std::u16string& text) = 0;
    // The text as the control copies it into a buffer of capacity characters: at most
    // capacity - 1 characters.
    virtual std::u16string ReadNodeText(TreeNode node, std::size_t capacity) = 0;
    virtual TreeNode GetParentNode(TreeNode node) = 0;
    virtual void DeleteNode(TreeNode node) = 0;
    virtual void FocusTree() = 0;

    // --- modal dialogs ---
    virtual void MessageBox(const std::u16string& title, const std::u16string& text,
                            std::uint32_t flags, const char16_t* skin) = 0;
    virtual ConfirmOutcome RunConfirmation(TextForControl& texts) = 0;

    // --- threads ---
    // From the worker: runs the dialog's OnWmUserFillTree on the dialog's thread and returns
    // when it has finished (SendMessageW 1034). Returns at once when the window is gone.
    virtual void SendFillTree() = 0;
    // On the dialog's thread: returns when finished() is true, letting handovers through.
    virtual void WaitLettingHandoversThrough(const std::function<bool()>& finished) = 0;
};

}  // namespace console
