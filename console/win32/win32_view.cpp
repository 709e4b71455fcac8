#include "console/win32/win32_view.h"

#include <atomic>
#include <new>
#include <vector>

#include "console/vistrel_dlg.h"
#include "console/win32/confirm_dlg.h"
#include "console/win32/key_hook.h"
#include "console/win32/tree_ctrl_ex.h"
#include "platform/win32/windows_api.h"

// The view's operation shares its name with the API's A/W macro.
#undef MessageBox

namespace console::win32 {
namespace {

// Keys reach the page through a posted message, after the hook has taken them out of the
// queue: so a modal dialog that an action opens never runs inside the hook.
constexpr UINT kKeyMessage = WM_USER + 11;

HWND H(void* window) {
    return static_cast<HWND>(window);
}
HTREEITEM Item(TreeNode node) {
    return static_cast<HTREEITEM>(node);
}
const wchar_t* Wide(const std::u16string& text) {
    return reinterpret_cast<const wchar_t*>(text.c_str());
}

INT_PTR CALLBACK PageProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_INITDIALOG) {
        SetWindowLongPtrW(window, DWLP_USER, lParam);
        auto* view = reinterpret_cast<CWin32VistrelView*>(lParam);
        view->OnCreated(window);
        return view->Dialog().OnInitDialog();
    }
    auto* view = reinterpret_cast<CWin32VistrelView*>(GetWindowLongPtrW(window, DWLP_USER));
    if (view == nullptr) return FALSE;
    bool handled = false;
    const std::intptr_t result = view->HandleMessage(message, wParam, lParam, &handled);
    if (!handled) return FALSE;
    SetWindowLongPtrW(window, DWLP_MSGRESULT, result);
    return TRUE;
}

}  // namespace

CWin32VistrelView::CWin32VistrelView(CVistrelDlg& dialog, void* moduleHandle)
    : dialog_(dialog), module_(moduleHandle) {}

CWin32VistrelView::~CWin32VistrelView() {
    if (window_.load()) DestroyWindow(H(window_.load()));
    delete treeCtrl_;
}

bool CWin32VistrelView::CreatePage(std::uint32_t templateId, platform::WindowHandle parent) {
    INITCOMMONCONTROLSEX icc = {sizeof(icc), ICC_TREEVIEW_CLASSES};
    InitCommonControlsEx(&icc);
    HWND window = CreateDialogParamW(static_cast<HINSTANCE>(module_), MAKEINTRESOURCEW(templateId),
                                     reinterpret_cast<HWND>(parent), &PageProc,
                                     reinterpret_cast<LPARAM>(this));
    return window != nullptr;
}

platform::WindowHandle CWin32VistrelView::Handle() const {
    return static_cast<platform::WindowHandle>(window_.load());
}

void CWin32VistrelView::ShowPage(int command) {
    ::ShowWindow(H(window_.load()), command);
}

void CWin32VistrelView::SendClose() {
    SendMessageW(H(window_.load()), WM_CLOSE, 0, 0);
}

void CWin32VistrelView::DestroyPage() {
    ::DestroyWindow(H(window_.load()));
}

bool CWin32VistrelView::Contains(void* window) const {
    HWND page = H(window_.load());
    return page && (H(window) == page || IsChild(page, H(window)));
}

std::intptr_t CWin32VistrelView::HandleMessage(std::uint32_t message, std::uintptr_t wParam,
                                               std::intptr_t lParam, bool* handled) {
    switch (message) {
        case WM_CTLCOLORSTATIC:
        case WM_CTLCOLOREDIT:
            if (GetDlgCtrlID(reinterpret_cast<HWND>(lParam)) == static_cast<int>(kPaneId)) {
                HDC dc = reinterpret_cast<HDC>(wParam);
                SetTextColor(dc, RGB(0, 0, 0));
                SetBkColor(dc, GetSysColor(COLOR_WINDOW));
                *handled = true;
                return reinterpret_cast<std::intptr_t>(GetSysColorBrush(COLOR_WINDOW));
            }
            return 0;
        case WM_NOTIFY: {
            const auto* header = reinterpret_cast<const NMHDR*>(lParam);
            if (header->idFrom != kTreeId) return 0;
            if (header->code == TVN_SELCHANGEDW) {
                *handled = true;
                const auto* info = reinterpret_cast<const NMTREEVIEWW*>(lParam);
                return dialog_.OnSelChanged(info->itemNew.hItem);
            }
            if (header->code == NM_DBLCLK) {
                *handled = true;
                return dialog_.OnTreeDblClk();
            }
            return 0;
        }
        case WM_COMMAND: {
            const UINT id = LOWORD(wParam);
            if (id >= kFirstButtonId && id < kFirstButtonId + kButtonCount &&
                HIWORD(wParam) == BN_CLICKED) {
                *handled = true;
                dialog_.OnActionButton(id);
                return 0;
            }
            // The page is modeless and never ends itself: Cancel and OK from the dialog
            // manager (a close request, Escape, Enter) change nothing.
            if (id == IDOK || id == IDCANCEL) *handled = true;
            return 0;
        }
        case WM_SHOWWINDOW:
            // Only a direct ShowWindow counts, not a parent being minimised or restored.
            if (lParam == 0) dialog_.OnShowWindow(wParam != 0);
            return 0;
        case WM_DESTROY:
            RemoveKeyHook(this);
            dialog_.OnDestroy();
            return 0;
        case WM_NCDESTROY:
            window_.store(nullptr);
            tree_ = nullptr;
            for (void*& button : buttons_) button = nullptr;
            return 0;
        case kFillTreeMessage:
            *handled = true;
            return dialog_.OnWmUserFillTree();
        case kKeyMessage:
            *handled = true;
            dialog_.PreTranslateKey(static_cast<std::uint32_t>(wParam));
            return 0;
        default:
            return 0;
    }
}

void* CWin32VistrelView::Control(std::uint32_t id) const {
    return GetDlgItem(H(window_.load()), static_cast<int>(id));
}

void* CWin32VistrelView::Button(int position) const {
    return buttons_[position];
}

void CWin32VistrelView::SetTitle(const std::u16string& text) {
    SetWindowTextW(H(Control(kTitleId)), Wide(text));
}

void CWin32VistrelView::SetPaneText(const std::u16string& text) {
    SetWindowTextW(H(Control(kPaneId)), Wide(text));
}

void CWin32VistrelView::SetButtonText(int position, const std::u16string& text) {
    SetWindowTextW(H(Button(position)), Wide(text));
}

void CWin32VistrelView::ShowButton(int position, int action) {
    HWND button = H(Button(position));
    SetWindowLongPtrW(button, GWLP_ID, static_cast<LONG_PTR>(kFirstButtonId + action));
    ::ShowWindow(button, SW_SHOW);
    EnableWindow(button, TRUE);
}

void CWin32VistrelView::HideButton(int position) {
    HWND button = H(Button(position));
    ::ShowWindow(button, SW_HIDE);
    EnableWindow(button, FALSE);
}

void CWin32VistrelView::HideAllButtons() {
    for (void* button : buttons_) ::ShowWindow(H(button), SW_HIDE);
}

TreeNode CWin32VistrelView::GetSelectedNode() {
    return reinterpret_cast<TreeNode>(SendMessageW(H(tree_), TVM_GETNEXTITEM, TVGN_CARET, 0));
}

bool CWin32VistrelView::NodeHasChild(TreeNode node) {
    return SendMessageW(H(tree_), TVM_GETNEXTITEM, TVGN_CHILD,
                        reinterpret_cast<LPARAM>(Item(node))) != 0;
}

ItemRecord* CWin32VistrelView::GetNodeRecord(TreeNode node) {
    TVITEMW item = {};
    item.mask = TVIF_PARAM;
    item.hItem = Item(node);
    if (!SendMessageW(H(tree_), TVM_GETITEMW, 0, reinterpret_cast<LPARAM>(&item))) return nullptr;
    return reinterpret_cast<ItemRecord*>(item.lParam);
}

void CWin32VistrelView::DeleteAllNodes() {
    SendMessageW(H(tree_), TVM_DELETEITEM, 0, reinterpret_cast<LPARAM>(TVI_ROOT));
}

TreeNode CWin32VistrelView::InsertNode(TreeNode parent, const std::u16string& text) {
    TVINSERTSTRUCTW insert = {};
    insert.hParent = Item(parent);
    insert.hInsertAfter = TVI_LAST;
    insert.item.mask = TVIF_TEXT;
    insert.item.pszText = const_cast<wchar_t*>(Wide(text));
    insert.item.cchTextMax = static_cast<int>(text.size());
    return reinterpret_cast<TreeNode>(
        SendMessageW(H(tree_), TVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&insert)));
}

void CWin32VistrelView::MakeBold(TreeNode node) {
    TVITEMW item = {};
    item.mask = TVIF_STATE;
    item.hItem = Item(node);
    item.state = TVIS_BOLD;
    item.stateMask = TVIS_BOLD;
    SendMessageW(H(tree_), TVM_SETITEMW, 0, reinterpret_cast<LPARAM>(&item));
}

void CWin32VistrelView::SetNodeRecord(TreeNode node, ItemRecord* record) {
    TVITEMW item = {};
    item.mask = TVIF_PARAM;
    item.hItem = Item(node);
    item.lParam = reinterpret_cast<LPARAM>(record);
    SendMessageW(H(tree_), TVM_SETITEMW, 0, reinterpret_cast<LPARAM>(&item));
}

void CWin32VistrelView::SetNodeLabel(TreeNode node, const std::u16string& text) {
    TVITEMW item = {};
    item.mask = TVIF_TEXT;
    item.hItem = Item(node);
    item.pszText = const_cast<wchar_t*>(Wide(text));
    SendMessageW(H(tree_), TVM_SETITEMW, 0, reinterpret_cast<LPARAM>(&item));
}

std::u16string CWin32VistrelView::ReadNodeText(TreeNode node, std::size_t capacity) {
    std::vector<wchar_t> buffer(capacity, L'\0');
    TVITEMW item = {};
    item.mask = TVIF_TEXT;
    item.hItem = Item(node);
    item.pszText = buffer.data();
    item.cchTextMax = static_cast<int>(capacity);
    SendMessageW(H(tree_), TVM_GETITEMW, 0, reinterpret_cast<LPARAM>(&item));
    buffer.back() = L'\0';
    const wchar_t* text = item.pszText ? item.pszText : buffer.data();
    return std::u16string(reinterpret_cast<const char16_t*>(text));
}

TreeNode CWin32VistrelView::GetParentNode(TreeNode node) {
    return reinterpret_cast<TreeNode>(
        SendMessageW(H(tree_), TVM_GETNEXTITEM, TVGN_PARENT, reinterpret_cast<LPARAM>(Item(node))));
}

void CWin32VistrelView::DeleteNode(TreeNode node) {
    SendMessageW(H(tree_), TVM_DELETEITEM, 0, reinterpret_cast<LPARAM>(Item(node)));
}

void CWin32VistrelView::FocusTree() {
    SetFocus(H(tree_));
}

void CWin32VistrelView::MessageBox(const std::u16string& title, const std::u16string& text,
                                   std::uint32_t flags, const char16_t*) {
    MessageBoxW(H(window_.load()), Wide(text), Wide(title), flags);
}

ConfirmOutcome CWin32VistrelView::RunConfirmation(TextForControl& texts) {
    CConfirmDlg confirm(window_.load(), &texts);
    ConfirmOutcome outcome;
    outcome.result = confirm.DoModal(module_);
    outcome.askAlways = confirm.askAlways;
    return outcome;
}

void CWin32VistrelView::SendFillTree() {
    HWND page = H(window_.load());
    if (page) SendMessageW(page, kFillTreeMessage, 0, 0);
}

void CWin32VistrelView::WaitLettingHandoversThrough(const std::function<bool()>& finished) {
    // Sent messages (the worker's handover) are delivered inside PeekMessageW; posted input
    // stays queued for the host's loop.
    while (!finished()) {
        MsgWaitForMultipleObjectsEx(0, nullptr, 10, QS_SENDMESSAGE, 0);
        MSG msg;
        PeekMessageW(&msg, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);
    }
}

void CWin32VistrelView::PostKey(std::uint32_t virtualKey) {
    PostMessageW(H(window_.load()), kKeyMessage, virtualKey, 0);
}

void CWin32VistrelView::OnCreated(void* window) {
    HWND page = H(window);
    window_.store(window);
    tree_ = GetDlgItem(page, static_cast<int>(kTreeId));
    delete treeCtrl_;
    // Inside the dialog procedure, so nothing may throw: the page works without the table.
    treeCtrl_ = new (std::nothrow) CTreeCtrlEx(tree_);
    for (int p = 0; p < kButtonCount; ++p)
        buttons_[p] = GetDlgItem(page, static_cast<int>(kFirstButtonId) + p);
    InstallKeyHook(this);
}

}  // namespace console::win32
