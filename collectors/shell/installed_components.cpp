#include "collectors/shell/installed_components.h"

#include <vector>

#include "platform/machine.h"
#include "platform/unique_handle.h"
#include "tools/file_details.h"
#include "tools/regedit_navigation.h"
#include "tools/registry_tools.h"
#include "tools/registry_values.h"

namespace {

constexpr char16_t kComponentsKey[] = u"SOFTWARE\\Microsoft\\Active Setup\\Installed Components";

bool CollectComponent(platform::RegKey root, std::u16string_view path, void* context) {
    // A sub-key name with a NUL inside would be opened, and later deleted, as the shorter name
    // in front of the NUL: a different key, maybe another component's. Such a key is left out.
    if (!IsPlainRegName(path)) return true;
    const std::u16string keyPath(path);
    // Each read sees only its own bytes: a zero-byte "StubPath" is an empty command, and the
    // name can't show the command read before it.
    RegValueBytes value;
    if (!ReadRegValue(root, keyPath.c_str(), u"StubPath", &value)) return true;
    si_key_item item;
    item.second = RegDataText(value);
    if (item.second.empty()) return true;
    item.third = keyPath;
    if (ReadRegValue(root, keyPath.c_str(), nullptr, &value)) item.first = RegDataText(value);
    static_cast<std::vector<si_key_item>*>(context)->push_back(std::move(item));
    return true;
}

}  // namespace

CVistrelWEInstallededComponents::CVistrelWEInstallededComponents()
    : CVistrelRegistryListCollector(platform::kHkeyLocalMachine, kComponentsKey, true) {}

void CVistrelWEInstallededComponents::ReadItems() {
    items.clear();
    platform::UniqueRegKey key;
    if (platform::machine().registry().OpenKey(root, keyPath.c_str(),
                                               platform::kKeyEnumerateSubKeys,
                                               key.put()) != platform::kErrorSuccess) {
        failed = true;
        return;
    }
    failed = !EnumRegKeys(root, keyPath.c_str(), key.get(), CollectComponent, &items);
}

std::u16string CVistrelWEInstallededComponents::ItemText(std::size_t index) const {
    return items[index].first.empty() ? items[index].second : items[index].first;
}

std::int32_t CVistrelWEInstallededComponents::ItemDetails(std::size_t index,
                                                          LineCallback lineCallback,
                                                          void* context) {
    return GetFileDetails(items[index].second.c_str(), static_cast<std::int32_t>(index),
                          lineCallback, context, false);
}

void CVistrelWEInstallededComponents::GoToItem(std::int32_t index) {
    GoToKey(root,
            IsValidIndex(index) ? items[static_cast<std::size_t>(index)].third.c_str()
                                : keyPath.c_str(),
            nullptr);
}

bool CVistrelWEInstallededComponents::RemoveItem(std::size_t index, IElevatedHelper* helper) {
    return DeleteRegKey(helper, root, items[index].third.c_str());
}
