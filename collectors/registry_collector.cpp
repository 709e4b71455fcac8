#include "collectors/registry_collector.h"

#include <utility>

#include "frame/module_objects.h"
#include "platform/machine.h"
#include "platform/unique_handle.h"
#include "tools/elevation_support.h"
#include "tools/regedit_navigation.h"
#include "tools/registry_values.h"

CVistrelRegistryCollector::CVistrelRegistryCollector(platform::RegKey rootKey, std::u16string path,
                                                     bool elevation)
    : root(rootKey), keyPath(std::move(path)) {
    NeedsElevation = elevation;
}

std::int32_t CVistrelRegistryCollector::EnumerateItems(EntryCallback callback, bool refresh,
                                                       void* context) {
    if (refresh || needRead) ReadItems();
    needRead = false;
    const auto count = static_cast<std::int32_t>(ItemCount());
    for (std::int32_t index = 0; index < count && callback != nullptr; ++index) {
        const std::u16string text = VisibleRegName(ItemText(static_cast<std::size_t>(index)));
        if (!callback(index, text.c_str(), nullptr, this, context)) return index + 1;
    }
    return failed ? kEnumNotFound : count;
}

std::int32_t CVistrelRegistryCollector::GetItemDetails(std::int32_t index,
                                                       LineCallback lineCallback, void* context) {
    if (!IsValidIndex(index)) return 0;
    return ItemDetails(static_cast<std::size_t>(index), lineCallback, context);
}

bool CVistrelRegistryCollector::GetItemLocation(std::int32_t index, ItemLocation* location) {
    if (location == nullptr || !IsValidIndex(index)) return false;
    ItemLocation place;
    place.root = RegistryRootName(root);
    place.keyPath = keyPath;
    ItemPlace(static_cast<std::size_t>(index), place);
    *location = std::move(place);
    return true;
}

std::int32_t CVistrelRegistryCollector::GetActionTextId(std::int32_t action) {
    switch (action) {
        case kActionRefresh:
            return kTextActionRefresh;
        case kActionGoTo:
            return kTextActionGoTo;
        case kActionRemove:
            return OffersRemove() ? kTextActionRemove : -1;
        default:
            return -1;
    }
}

std::uint32_t CVistrelRegistryCollector::GetActionMask(std::int32_t index) {
    if (failed) return 1;
    return OffersRemove() && IsValidIndex(index) ? 7 : 3;
}

bool CVistrelRegistryCollector::DoAction(std::int32_t action, std::int32_t index,
                                         resultFlags* flags) {
    switch (action) {
        case -1:
        case kActionGoTo:
            GoToItem(index);
            return false;
        case kActionRefresh:
            ReadItems();
            return true;
        case kActionRemove:
            break;
        default:
            return false;
    }
    if (!OffersRemove()) return false;
    if (!IsValidIndex(index)) {
        g_trace.Trace(u"[vistrel] [debug] wrong index: %u", static_cast<unsigned>(index));
        return false;
    }
    const auto at = static_cast<std::size_t>(index);
    if (ItemIsEmpty(at))
        g_trace.Trace(u"[vistrel] [debug] action on empty value at %u",
                      static_cast<unsigned>(index));
    if (RemoveItem(at, GetHelperForSource(this))) {
        flags->deleteItem = 1;
        flags->localUpdate = 1;
        return true;
    }
    flags->succeeded = 0;
    return false;
}

void CVistrelRegistryCollector::WalkValues(RegValueCallback callback, void* context) {
    platform::UniqueRegKey key;
    if (platform::machine().registry().OpenKey(root, keyPath.c_str(), platform::kKeyQueryValue,
                                               key.put()) != platform::kErrorSuccess) {
        failed = true;
        return;
    }
    failed = !EnumRegValues(key.get(), callback, context);
}

void CVistrelRegistryCollector::WalkSubKeys(RegKeyCallback callback, void* context) {
    platform::UniqueRegKey key;
    if (platform::machine().registry().OpenKey(root, keyPath.c_str(),
                                               platform::kKeyEnumerateSubKeys,
                                               key.put()) != platform::kErrorSuccess) {
        failed = true;
        return;
    }
    failed = !EnumRegKeys(root, keyPath.c_str(), key.get(), callback, context);
}
