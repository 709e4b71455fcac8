// The base source's button texts and the composite source.
#include "sources/plugin.h"

std::int32_t CVistrelPlugin::GetActionTextId(std::int32_t action) {
    switch (action) {
        case 0:
            return kTextActionRefresh;
        case 1:
            return kTextActionGoTo;
        case 2:
            return kTextActionRemove;
        default:
            return -1;
    }
}

CVistrelPluginContainer::~CVistrelPluginContainer() {
    for (CVistrelPlugin* child : children) delete child;
    children.clear();
}

std::int32_t CVistrelPluginContainer::EnumerateItems(EntryCallback callback, bool, void* context) {
    const auto count = static_cast<std::int32_t>(children.size());
    for (std::int32_t position = 0; position < count; ++position) {
        CVistrelPlugin* child = children[static_cast<std::size_t>(position)];
        if (child != nullptr && callback != nullptr &&
            !callback(position, nullptr, child, this, context))
            return position + 1;
    }
    return count;
}

std::int32_t CVistrelPluginContainer::GetActionTextId(std::int32_t action) {
    return action == 0 ? kTextActionRefresh : -1;
}

void CVistrelPluginContainer::SetUseElevation(bool flag) {
    useElevation = flag;
    for (CVistrelPlugin* child : children)
        if (child != nullptr) child->SetUseElevation(flag);
}

bool CVistrelPluginContainer::DoAction(std::int32_t action, std::int32_t index,
                                       resultFlags* flags) {
    if (action != 0) return false;
    if (index == -1) {
        for (CVistrelPlugin* child : children)
            if (child != nullptr) child->DoAction(0, -1, flags);
        return true;
    }
    if (index >= 0 && static_cast<std::size_t>(index) < children.size() &&
        children[static_cast<std::size_t>(index)] != nullptr)
        children[static_cast<std::size_t>(index)]->DoAction(0, -1, flags);
    return true;
}
