// CVistrelDlg: construction, the window's lifecycle and the handlers of user input.
#include "console/vistrel_dlg.h"

#include "console/view_factory.h"
#include "frame/module_objects.h"
#include "frame/text_catalogue.h"
#include "libs/talguictl/tal_skins.h"
#include "tools/elevation_support.h"

namespace {
constexpr std::uint32_t kVkReturn = 13;
constexpr std::uint32_t kVkEscape = 27;
constexpr std::uint32_t kVkDelete = 46;
constexpr std::uint32_t kVkF5 = 116;
constexpr std::int32_t kActionDefault = -1;
constexpr std::int32_t kActionRefresh = 0;
constexpr std::int32_t kActionRemove = 2;
}  // namespace

CVistrelDlg::CVistrelDlg(void* gdiManager) : CTalDialog(22000) {
    SetGDIManager(static_cast<CTalGDIManager*>(gdiManager));
    SetSkin(talskin::kSubWindow);
    provider.SetProcedure(&CVistrelDlg::FillItemsProc);
}

CVistrelDlg::~CVistrelDlg() {
    // The window has been destroyed before (command 4 precedes command 1); a worker left over
    // by a host that skipped it is stopped by the provider without touching the view.
    provider.Shutdown();
}

bool CVistrelDlg::Create(std::uint32_t templateId, platform::WindowHandle parent) {
    console::ViewFactory factory = console::GetViewFactory();
    if (factory == nullptr) return false;
    if (view_ && view_->Handle()) view_->DestroyPage();
    provider.WaitIdle();
    view_ = factory(*this);
    if (!view_) return false;
    provider.SetWaitHook([this](const std::function<bool()>& finished) {
        view_->WaitLettingHandoversThrough(finished);
    });
    return view_->CreatePage(templateId, parent);
}

platform::WindowHandle CVistrelDlg::GetSafeHwnd() const {
    return view_ ? view_->Handle() : nullptr;
}

void CVistrelDlg::ShowWindow(int command) {
    if (GetSafeHwnd()) view_->ShowPage(command);
}

void CVistrelDlg::SendClose() {
    if (GetSafeHwnd()) view_->SendClose();
}

void CVistrelDlg::DestroyWindow() {
    if (GetSafeHwnd()) view_->DestroyPage();
}

int CVistrelDlg::OnInitDialog() {
    g_pageWindow.store(GetSafeHwnd());
    CreateElevatedHelperSupport();
    for (CTalButton& button : buttons) button.SetSkin(talskin::kButton);
    titleStatic.SetSkin(talskin::kTitleWithLine);
    SetTitleIfNotEmpty(TextByKey(0, u"IDS_VISTREL_TITLE"));
    HideAllButtons();
    return 1;
}

void CVistrelDlg::OnDestroy() {
    // The worker may hold a helper of the support (the process lists), so it is stopped before
    // the support goes.
    if (populateClient >= 0) {
        provider.Stop(populateClient);
        populateClient = -1;
    }
    provider.WaitIdle();
    DestroyElevatedHelperSupport();
    g_pageWindow.store(nullptr);
    SetTitleIfNotEmpty(TextByKey(0, u"IDS_VISTREL_TITLE"));
    ShowRefreshOnly();
}

void CVistrelDlg::OnShowWindow(bool show) {
    if (show) {
        StartPopulate(false);
    } else {
        StopPopulate();
        ReleaseHelperWhenIdle();
    }
}

std::intptr_t CVistrelDlg::OnSelChanged(console::TreeNode newNode) {
    std::lock_guard<std::recursive_mutex> guard(lock);
    if (newNode)
        ShowDetails(newNode);
    else
        HideAllButtons();
    return 0;
}

std::intptr_t CVistrelDlg::OnTreeDblClk() {
    console::TreeNode node = view_->GetSelectedNode();
    if (node && !view_->NodeHasChild(node)) RunAction(kActionDefault);
    return 0;
}

void CVistrelDlg::OnActionButton(std::uint32_t commandId) {
    // A running action may be using the elevated helper.
    if (actionRunning_) return;
    RunAction(static_cast<std::int32_t>(commandId - console::kFirstButtonId));
    ReleaseHelperWhenIdle();
}

bool CVistrelDlg::PreTranslateKey(std::uint32_t virtualKey) {
    switch (virtualKey) {
        case kVkReturn:
            RunAction(kActionDefault);
            return true;
        case kVkEscape:
            return true;
        case kVkDelete:
            RunAction(kActionRemove);
            return true;
        case kVkF5:
            RunAction(kActionRefresh);
            return true;
        default:
            return false;
    }
}

void CVistrelDlg::GetText(std::int32_t id, std::u16string& text) {
    text = TextById(id);
}

void CVistrelDlg::ReleaseHelperWhenIdle() {
    // A population that runs (Refresh was pressed) releases the helper itself when it ends; the
    // worker of a finished one may still be releasing it, so it is joined first.
    if (populateClient >= 0) return;
    provider.WaitIdle();
    ReleaseElevatedHelper();
}

void CVistrelDlg::SetTitleIfNotEmpty(const char16_t* text) {
    if (text && *text) view_->SetTitle(text);
}

void CVistrelDlg::HideAllButtons() {
    view_->HideAllButtons();
}

void CVistrelDlg::ShowRefreshOnly() {
    view_->ShowButton(0, 0);
    for (int p = 1; p < console::kButtonCount; ++p) view_->HideButton(p);
}
