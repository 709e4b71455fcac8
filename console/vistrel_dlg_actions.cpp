// CVistrelDlg: from a gesture to a source's DoAction, its two gates, and the tree's reaction.
#include "console/vistrel_dlg.h"
#include "frame/module_objects.h"
#include "frame/text_catalogue.h"
#include "libs/talguictl/tal_skins.h"
#include "libs/talutils/text_utils.h"
#include "sources/plugin.h"

namespace {
constexpr char16_t kNotAllowed[] = u"[vistrel] [temp] action not allowed";
constexpr char16_t kIgnored[] = u"[vistrel] [temp] input ignored while an action runs";
constexpr char16_t kEntryLost[] =
    u"[vistrel] [error] the entry was replaced while the action waited; nothing done";
constexpr std::int32_t kActionRefresh = 0;
constexpr std::int32_t kActionRemove = 2;
constexpr std::intptr_t kIdOk = 1;
constexpr std::intptr_t kIdAbort = 3;
constexpr std::size_t kFirstTextCapacity = 256;
constexpr std::size_t kLastTextCapacity = 1u << 20;
}  // namespace

void CVistrelDlg::RunAction(std::int32_t action) {
    std::lock_guard<std::recursive_mutex> guard(lock);
    // The lock is recursive, so it lets through what the running action's modal loop
    // dispatches on this same thread; the flag does not.
    if (actionRunning_) {
        g_trace.Trace(kIgnored);
        return;
    }
    actionRunning_ = true;
    struct Finished {
        bool& flag;
        ~Finished() { flag = false; }
    } finished{actionRunning_};
    if (action == kActionRefresh) {
        StartPopulate(true);
        return;
    }
    console::TreeNode node = view_->GetSelectedNode();
    if (node == nullptr) {
        HideAllButtons();
        return;
    }
    ItemRecord* record = view_->GetNodeRecord(node);
    if (record == nullptr) {
        view_->SetPaneText(u"");
        HideAllButtons();
        return;
    }
    // A selected record means the last population has delivered; its worker may still be on
    // its way out, releasing the elevated helper that DoAction is about to use.
    provider.WaitIdle();
    const std::uint64_t population = population_;
    if (!IsActionAllowed(*record, action) || !ConfirmAction(action)) {
        g_trace.Trace(kNotAllowed);
        return;
    }
    // The host's answer and the confirmation ran message loops: a population the host started
    // meanwhile has freed the record, so it is found again before it is used.
    if (!StillSelected(node, record, population)) {
        g_trace.Trace(kEntryLost);
        ShowFailure();
        return;
    }

    resultFlags flags;
    flags.deleteItem = 0;
    flags.localUpdate = 0;
    flags.succeeded = 1;
    const bool done = record->child ? record->child->DoAction(action, -1, &flags)
                                    : record->owner->DoAction(
                                          action, static_cast<std::int32_t>(record->index), &flags);
    if (flags.succeeded == 0) {
        ShowFailure();
        return;
    }
    if (!done) return;
    if (flags.localUpdate == 0) {
        StartPopulate(false);
        return;
    }
    if (flags.deleteItem == 0) {
        g_trace.Trace(u"Vistrel:PopulateSubTree: local refresh not implemented yet.");
        return;
    }
    // DoAction may have waited in a message loop too (the elevation prompt).
    if (!StillSelected(node, record, population)) return;
    console::TreeNode parent = view_->GetParentNode(node);
    view_->DeleteNode(node);
    DecrementItemCount(parent);
}

bool CVistrelDlg::StillSelected(console::TreeNode node, const ItemRecord* record,
                                std::uint64_t population) {
    return population == population_ && view_->GetSelectedNode() == node &&
           view_->GetNodeRecord(node) == record;
}

void CVistrelDlg::ShowFailure() {
    const std::u16string title = TextById(22483);
    const std::u16string text = TextById(22484);
    view_->MessageBox(title, text, 0, talskin::kMessageBox);
}

bool CVistrelDlg::IsActionAllowed(const ItemRecord& record, std::int32_t action) {
    CVistrelPlugin* source = record.child ? record.child : record.owner;
    const std::int32_t item = record.child ? -1 : static_cast<std::int32_t>(record.index);
    if (source == nullptr) return false;
    if (action == -1) action = source->GetDefaultAction();
    if (action < 0 || action >= source->GetActionCount() || action >= 32) return false;
    return (source->GetActionMask(item) >> action) & 1u;
}

bool CVistrelDlg::ConfirmAction(std::int32_t action) {
    if (action == kActionRefresh) return true;
    if (g_hostService) {
        std::int32_t answer = 0;
        g_hostService(vistrel::kHostCodeAllowAction, &answer);
        if (answer == 0) return false;
    }
    if (action != kActionRemove || dontAskAgain) return true;
    const console::ConfirmOutcome outcome = view_->RunConfirmation(*this);
    if (outcome.result == -1 || outcome.result == 0 || outcome.result == kIdAbort) {
        g_trace.Trace(u"[vistrel] [error] CConfirmDlg_ failed to show");
        return true;
    }
    view_->FocusTree();
    dontAskAgain = !outcome.askAlways;
    return outcome.result == kIdOk;
}

bool CVistrelDlg::DecrementItemCount(console::TreeNode node) {
    if (node == nullptr || node == console::RootNode()) return false;
    std::u16string label = GetItemText(node);
    const std::size_t open = label.rfind(u'(');
    if (open == std::u16string::npos || open == 0) return false;
    const int count = talutils::ParseInt(std::u16string_view(label).substr(open + 1));
    if (count == 0) return false;
    label.resize(open);
    SetItemLabel(node, label, count - 1, false);
    return true;
}

std::u16string CVistrelDlg::GetItemText(console::TreeNode node) {
    std::size_t capacity = kFirstTextCapacity;
    for (;;) {
        std::u16string text = view_->ReadNodeText(node, capacity);
        if (text.size() != capacity - 1 || capacity >= kLastTextCapacity) return text;
        capacity *= 2;
    }
}
