// Winlogon notify: the sub-keys of the logon process's "Notify" key that name a library.
#include "collectors/autostart/winlogon_notify.h"

#include <vector>

#include "tools/file_details.h"
#include "tools/regedit_navigation.h"
#include "tools/registry_sub_keys.h"
#include "tools/registry_tools.h"

namespace {

constexpr char16_t kNotifyKey[] =
    u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Winlogon\\Notify";

bool CollectPackage(platform::RegKey root, std::u16string_view path, void* context) {
    std::u16string library;
    if (ReadSubKeyString(root, path, u"DllName", &library)) {
        static_cast<std::vector<si_key_item>*>(context)->push_back(
            {std::u16string(path), std::move(library), std::u16string(SubKeyName(path))});
    }
    return true;
}

}  // namespace

CVistrelLoadItemsWinlogonNotify::CVistrelLoadItemsWinlogonNotify()
    : CVistrelRegistryListCollector(platform::kHkeyLocalMachine, kNotifyKey, true) {}

void CVistrelLoadItemsWinlogonNotify::ReadItems() {
    items.clear();
    WalkSubKeys(CollectPackage, &items);
}

std::int32_t CVistrelLoadItemsWinlogonNotify::EnumerateItems(EntryCallback callback, bool refresh,
                                                             void* context) {
    if (refresh || needRead) ReadItems();
    needRead = false;
    if (failed) return kEnumNotFound;
    return CVistrelRegistryListCollector::EnumerateItems(callback, false, context);
}

bool CVistrelLoadItemsWinlogonNotify::DoAction(std::int32_t action, std::int32_t index,
                                               resultFlags* flags) {
    if (action != kActionRefresh) return CVistrelRegistryCollector::DoAction(action, index, flags);
    const bool wasFailed = failed;
    ReadItems();
    failed = wasFailed;
    return true;
}

std::u16string CVistrelLoadItemsWinlogonNotify::ItemText(std::size_t index) const {
    return items[index].third.empty() ? items[index].second : items[index].third;
}

std::int32_t CVistrelLoadItemsWinlogonNotify::ItemDetails(std::size_t index,
                                                          LineCallback lineCallback,
                                                          void* context) {
    return GetFileDetails(items[index].second.c_str(), static_cast<std::int32_t>(index),
                          lineCallback, context, false);
}

void CVistrelLoadItemsWinlogonNotify::GoToItem(std::int32_t index) {
    GoToKey(root,
            IsValidIndex(index) ? items[static_cast<std::size_t>(index)].first.c_str()
                                : keyPath.c_str(),
            nullptr);
}

bool CVistrelLoadItemsWinlogonNotify::RemoveItem(std::size_t index, IElevatedHelper* helper) {
    return DeleteRegKey(helper, root, items[index].first.c_str());
}
