// CVistrelDlg: the details pane and the rule from a source's action mask to the buttons.
#include "console/vistrel_dlg.h"
#include "frame/text_catalogue.h"
#include "sources/plugin.h"

namespace {
constexpr char16_t kSeparator[] = u"-----------------------------------";
}

void CVistrelDlg::ShowDetails(console::TreeNode node) {
    ItemRecord* record = nullptr;
    if (node == console::RootNode())
        record = populateData ? &populateData->root : nullptr;
    else
        record = view_->GetNodeRecord(node);
    if (record == nullptr) {
        view_->SetPaneText(u"");
        HideAllButtons();
        return;
    }

    CVistrelPlugin* actionSource = nullptr;
    std::int32_t item = -1;
    const auto ownerDetails = [&] {
        detailsText.clear();
        record->owner->GetItemDetails(static_cast<std::int32_t>(record->index),
                                      &CVistrelDlg::AddDetailLine, this);
        return detailsText;
    };
    if (record->child == nullptr) {
        view_->SetPaneText(record->owner ? ownerDetails() : std::u16string());
        actionSource = record->owner;
        item = static_cast<std::int32_t>(record->index);
    } else {
        std::u16string text = TextById(record->child->GetDescriptionId());
        if (text.empty() && record->owner) text = ownerDetails();
        view_->SetPaneText(text);
        if (record->child->GetActionCount() != 0 || record->owner == nullptr) {
            actionSource = record->child;
            item = -1;
        } else {
            actionSource = record->owner;
            item = static_cast<std::int32_t>(record->index);
        }
    }
    if (actionSource == nullptr) {
        HideAllButtons();
        return;
    }

    const std::uint32_t mask = actionSource->GetActionMask(item);
    const std::int32_t count = actionSource->GetActionCount();
    for (std::int32_t p = 0; p < count && p < console::kButtonCount; ++p)
        view_->SetButtonText(p, TextById(actionSource->GetActionTextId(p)));
    int position = 0;
    for (int bit = 0; bit < console::kButtonCount && (mask >> bit) != 0; ++bit) {
        if (mask & (1u << bit)) view_->ShowButton(position++, bit);
    }
    for (; position < console::kButtonCount; ++position) view_->HideButton(position);
}

bool CVistrelDlg::AddDetailLine(std::int32_t, std::int32_t labelId, const char16_t* value,
                                std::int32_t flags, void* context) {
    auto* self = static_cast<CVistrelDlg*>(context);
    std::u16string& text = self->detailsText;
    const std::u16string label = labelId >= 1 ? std::u16string(TextById(labelId)) : u"";
    if (label.empty() && (flags & kLineDropIfNoLabel)) return true;
    if (!text.empty()) text += u"\r\n";
    if (flags & kLineSeparator) {
        text += kSeparator;
        return true;
    }
    text += label;
    text += u": ";
    if (value == nullptr) return true;
    if (flags & kLineValueIsId)
        text += TextById(LineValueToId(value));
    else
        text += value;
    return true;
}
