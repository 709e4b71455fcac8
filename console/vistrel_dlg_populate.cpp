// CVistrelDlg: the background population. The worker collects the whole category tree into
// ItemRecords; one synchronous handover lets the dialog's thread fill the control in one pass.
#include <chrono>

#include "console/root_source.h"
#include "console/vistrel_dlg.h"
#include "frame/module_objects.h"
#include "frame/text_catalogue.h"
#include "libs/talutils/text_utils.h"
#include "sources/plugin.h"
#include "tools/elevation_support.h"

namespace {
constexpr char16_t kDefaultName[] = u"(Default)";

const char16_t* StatusText(std::int32_t count) {
    switch (count) {
        case kEnumNotFound:
            return TextById(22473);
        case kEnumFailed:
            return TextById(22485);
        case kEnumAccessDenied:
            return TextById(22488);
        case kEnumAccessDeniedNeedsElevation:
            return TextById(22490);
        default:
            return u"";
    }
}
}  // namespace

void CVistrelDlg::StartPopulate(bool elevated) {
    if (populateClient >= 0) {
        g_trace.Trace(
            u"VistrelDlg:StartPopulate: the provider client is valid, there is already a "
            u"populate in progress.");
        return;
    }
    ++population_;
    view_->DeleteAllNodes();
    HideAllButtons();
    view_->SetPaneText(u"");
    SetTitleIfNotEmpty(TextByKey(0, u"IDS_VISTREL_TITLE_WAITING"));
    // With no client the last worker has handed its records over (or was stopped) and at most
    // finishes its epilogue, so it is joined here rather than refusing the new start.
    provider.WaitIdle();
    provider.Reset(false);
    static_cast<PopulateData*>(provider.GetData())->useElevation = elevated;
    populateClient = provider.StartImpl(&CVistrelDlg::TreeItemsCBProc, this);
}

void CVistrelDlg::StopPopulate() {
    if (populateClient >= 0) {
        provider.Stop(populateClient);
        populateClient = -1;
    }
    SetTitleIfNotEmpty(TextByKey(0, u"IDS_VISTREL_TITLE"));
    ShowRefreshOnly();
}

void CVistrelDlg::FillItemsProc(PopulateData* data) {
    g_trace.Trace(u"VistrelDlg:FillItemsProc: =>");
    const auto start = std::chrono::steady_clock::now();
    CollectContext context{&data->root, data};
    CVistrelPlugin* root = RootSourceForPopulation();
    if (root) {
        root->SetUseElevation(data->useElevation);
        root->EnumerateItems(&CVistrelDlg::CollectItem, true, &context);
    }
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - start);
    g_trace.Trace(u"VistrelDlg:FillItemsProc: <= %u ms", static_cast<unsigned>(elapsed.count()));
}

bool CVistrelDlg::CollectItem(std::int32_t index, const char16_t* name, CVistrelPlugin* child,
                              CVistrelPlugin* owner, void* context) {
    auto* collect = static_cast<CollectContext*>(context);
    if (collect->data->stopEvent && collect->data->stopEvent->IsSet()) return false;

    ItemRecord record;
    record.index = static_cast<std::uint32_t>(index);
    if (child) {
        const std::int32_t nameId = child->GetNameId();
        if (nameId != -1)
            record.name = TextById(nameId);
        else if (const char16_t* runtimeName = child->GetName())
            record.name = runtimeName;
    } else if (name) {
        record.name = name;
    }
    record.child = child;
    record.owner = owner;
    ItemRecord* parent = collect->current;
    parent->children.push_back(std::move(record));

    if (child) {
        // The parent's vector isn't touched while the deeper level works, so the pointer holds.
        ItemRecord* appended = &parent->children.back();
        collect->current = appended;
        appended->count = child->EnumerateItems(&CVistrelDlg::CollectItem, true, context);
        collect->current = parent;
    }
    return true;
}

void CVistrelDlg::TreeItemsCBProc(void* dialog, void* data) {
    auto* self = static_cast<CVistrelDlg*>(dialog);
    g_trace.Trace(u"VistrelDlg:TreeItemsCBProc: =>");
    self->populateData = static_cast<PopulateData*>(data);
    self->view_->SendFillTree();
    ReleaseElevatedHelper();
    g_trace.Trace(u"VistrelDlg:TreeItemsCBProc: <=");
}

std::intptr_t CVistrelDlg::OnWmUserFillTree() {
    // A handover from a population that has been stopped meanwhile delivers nothing; the
    // stopping side restores the title and the buttons.
    if (populateClient < 0 || provider.StopRequested()) return 0;
    if (populateData == nullptr) {
        g_trace.Trace(u"VistrelDlg:OnWmUserFillTree: Tree proc data is NULL!");
    } else {
        populateData->root.child = RootSourceForPopulation();
        FillTree(populateData->root, console::RootNode());
    }
    SetTitleIfNotEmpty(TextByKey(0, u"IDS_VISTREL_TITLE"));
    populateClient = -1;
    ShowDetails(console::RootNode());
    return 0;
}

void CVistrelDlg::FillTree(ItemRecord& record, console::TreeNode parentNode) {
    for (ItemRecord& entry : record.children) {
        console::TreeNode node = nullptr;
        if (entry.child) {
            node = view_->InsertNode(parentNode, entry.name);
            if (node) {
                view_->MakeBold(node);
                SetItemLabel(node, entry.name, entry.count, true);
            }
        } else {
            const bool isDefault =
                entry.name.empty() && entry.owner && entry.owner->EmptyNameIsDefault();
            node = view_->InsertNode(parentNode, isDefault ? kDefaultName : entry.name);
        }
        if (node == nullptr) continue;
        view_->SetNodeRecord(node, &entry);
        if (entry.child) FillTree(entry, node);
    }
}

void CVistrelDlg::SetItemLabel(console::TreeNode node, const std::u16string& name,
                               std::int32_t count, bool spaced) {
    std::u16string label = name;
    if (spaced) label += u"  ";
    label += u"(";
    label += count >= 0 ? talutils::Decimal(count) : std::u16string(StatusText(count));
    label += u")";
    view_->SetNodeLabel(node, label);
}
