// CVistrelDlg: the plug-in's page. It holds the page's logic: what the pane says, which buttons
// exist for the selected node, the background population and the way from a gesture to a
// source's DoAction. It draws nothing itself; everything visible goes through its view.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "console/item_record.h"
#include "console/text_for_control.h"
#include "console/tree_items_provider.h"
#include "console/vistrel_view.h"
#include "libs/talguictl/tal_controls.h"
#include "platform/types.h"

class CVistrelPlugin;

class CVistrelDlg : public CTalDialog, public TextForControl {
  public:
    // Constructs the page object with the host's drawing resources; no window exists yet.
    explicit CVistrelDlg(void* gdiManager);
    virtual ~CVistrelDlg();

    // Creates the modeless page window from dialog template templateId as a child of parent.
    bool Create(std::uint32_t templateId, platform::WindowHandle parent);
    // The page's window, or null when there is none.
    platform::WindowHandle GetSafeHwnd() const;
    // ShowWindow on the page window (platform::kSwShow / kSwHide). Showing starts a population,
    // hiding stops one.
    void ShowWindow(int command);
    // SendMessageW(WM_CLOSE) to the page window.
    void SendClose();
    // Destroys the page window.
    void DestroyWindow();

    // --- handlers; the view calls them on the dialog's thread ---
    int OnInitDialog();
    void OnDestroy();
    void OnShowWindow(bool show);
    // TVN_SELCHANGEDW; newNode is itemNew.hItem. Returns the notification's result.
    std::intptr_t OnSelChanged(console::TreeNode newNode);
    std::intptr_t OnTreeDblClk();
    // WM_COMMAND of ids 22007 to 22011.
    void OnActionButton(std::uint32_t commandId);
    // A WM_KEYDOWN for a window of the page, before the dialog's own handling. True when the
    // key was handled and is not to be passed on.
    bool PreTranslateKey(std::uint32_t virtualKey);
    // Message 1034.
    std::intptr_t OnWmUserFillTree();

    // --- page logic ---
    void ShowDetails(console::TreeNode node);
    static bool AddDetailLine(std::int32_t index, std::int32_t labelId, const char16_t* value,
                              std::int32_t flags, void* context);

    // --- background population ---
    void StartPopulate(bool elevated);
    void StopPopulate();
    static void FillItemsProc(PopulateData* data);
    static bool CollectItem(std::int32_t index, const char16_t* name, CVistrelPlugin* child,
                            CVistrelPlugin* owner, void* context);
    static void TreeItemsCBProc(void* dialog, void* data);
    void FillTree(ItemRecord& record, console::TreeNode parentNode);
    void SetItemLabel(console::TreeNode node, const std::u16string& name, std::int32_t count,
                      bool spaced);

    // --- actions ---
    // Every gesture ends here (F5 and Refresh too). While an action runs, its confirmation,
    // its message box and the source's DoAction may run a message loop that lets queued input
    // reach the page: such input is ignored, so it can neither start a second action nor free
    // the records the running one works on.
    void RunAction(std::int32_t action);
    bool IsActionAllowed(const ItemRecord& record, std::int32_t action);
    bool ConfirmAction(std::int32_t action);
    bool DecrementItemCount(console::TreeNode node);
    std::u16string GetItemText(console::TreeNode node);

    // TextForControl
    void GetText(std::int32_t id, std::u16string& text) override;

    // --- state, for the view and for tests ---
    bool DontAskAgain() const { return dontAskAgain; }
    std::int32_t PopulateClient() const { return populateClient; }
    console::IVistrelView* View() const { return view_.get(); }

  private:
    void SetTitleIfNotEmpty(const char16_t* text);
    void ReleaseHelperWhenIdle();
    void HideAllButtons();
    void ShowRefreshOnly();
    // The failure message box (texts 22483 and 22484).
    void ShowFailure();
    // After a message loop: the node is still the selection, holds the same record, and no
    // population has replaced the records since `population` was read.
    bool StillSelected(console::TreeNode node, const ItemRecord* record, std::uint64_t population);

    std::recursive_mutex lock;
    std::u16string detailsText;
    bool dontAskAgain = false;
    std::array<CTalButton, console::kButtonCount> buttons;
    CTalStatic titleStatic;
    CTreeItemsProvider provider;
    std::int32_t populateClient = -1;
    PopulateData* populateData = nullptr;
    bool actionRunning_ = false;
    std::uint64_t population_ = 0;  // counts the starts of populations, each frees the records
    std::unique_ptr<console::IVistrelView> view_;
};
