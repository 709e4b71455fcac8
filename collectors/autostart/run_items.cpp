// The run keys: each lists the string values of one key.
#include "collectors/autostart/run_items.h"

#include <utility>

#include "frame/module_objects.h"
#include "platform/machine.h"
#include "platform/unique_handle.h"
#include "tools/file_details.h"
#include "tools/regedit_navigation.h"
#include "tools/registry_tools.h"
#include "tools/registry_values.h"

namespace {

constexpr char16_t kRunKey[] = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";
constexpr char16_t kRunOnceKey[] = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnce";
constexpr char16_t kRunOnceExKey[] = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnceEx";
constexpr char16_t kRunServicesKey[] = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunServices";
constexpr char16_t kRunServicesOnceKey[] =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunServicesOnce";

bool CollectStringValue(std::u16string_view name, const void* data, std::uint32_t size,
                        std::uint32_t type, void* context) {
    if (type != platform::kRegSz && type != platform::kRegExpandSz) return true;
    auto* items = static_cast<std::vector<si_value_info>*>(context);
    items->push_back({std::u16string(name), RegDataText(data, size)});
    return true;
}

}  // namespace

CVistrelRunItemsBase::CVistrelRunItemsBase(platform::RegKey rootKey, std::u16string path,
                                           bool elevation)
    : CVistrelRegistryListCollector(rootKey, std::move(path), elevation) {}

void CVistrelRunItemsBase::ReadItems() {
    items.clear();
    platform::UniqueRegKey key;
    if (platform::machine().registry().OpenKey(root, keyPath.c_str(), platform::kKeyQueryValue,
                                               key.put()) != platform::kErrorSuccess) {
        failed = true;
        return;
    }
    failed = !EnumRegValues(key.get(), CollectStringValue, &items);
}

std::int32_t CVistrelRunItemsBase::ItemDetails(std::size_t index, LineCallback lineCallback,
                                               void* context) {
    return GetFileDetails(items[index].data.c_str(), static_cast<std::int32_t>(index), lineCallback,
                          context, false);
}

void CVistrelRunItemsBase::GoToItem(std::int32_t index) {
    GoToKey(root, keyPath.c_str(),
            IsValidIndex(index) ? items[static_cast<std::size_t>(index)].name.c_str() : nullptr);
}

bool CVistrelRunItemsBase::RemoveItem(std::size_t index, IElevatedHelper* helper) {
    return DeleteRegValue(helper, root, keyPath.c_str(), std::u16string_view(items[index].name));
}

CVistrelRunItemCurrentUserRun::CVistrelRunItemCurrentUserRun()
    : CVistrelRunItemsBase(platform::kHkeyCurrentUser, kRunKey, false) {}
CVistrelRunItemCurrentUserRunOnce::CVistrelRunItemCurrentUserRunOnce()
    : CVistrelRunItemsBase(platform::kHkeyCurrentUser, kRunOnceKey, false) {}
CVistrelRunItemCurrentUserRunOnceEx::CVistrelRunItemCurrentUserRunOnceEx()
    : CVistrelRunItemsBase(platform::kHkeyCurrentUser, kRunOnceExKey, false) {}
CVistrelRunItemLocalMachineRun::CVistrelRunItemLocalMachineRun()
    : CVistrelRunItemsBase(platform::kHkeyLocalMachine, kRunKey, true) {}
CVistrelRunItemLocalMachineRunOnce::CVistrelRunItemLocalMachineRunOnce()
    : CVistrelRunItemsBase(platform::kHkeyLocalMachine, kRunOnceKey, true) {}
CVistrelRunItemLocalMachineRunOnceEx::CVistrelRunItemLocalMachineRunOnceEx()
    : CVistrelRunItemsBase(platform::kHkeyLocalMachine, kRunOnceExKey, true) {}
CVistrelRunItemRunServices::CVistrelRunItemRunServices()
    : CVistrelRunItemsBase(platform::kHkeyLocalMachine, kRunServicesKey, true) {}
CVistrelRunItemRunServicesOnce::CVistrelRunItemRunServicesOnce()
    : CVistrelRunItemsBase(platform::kHkeyLocalMachine, kRunServicesOnceKey, true) {}

void AppendRunItemLeaves(std::vector<CVistrelPlugin*>& children) {
    children.push_back(new CVistrelRunItemCurrentUserRun);
    children.push_back(new CVistrelRunItemCurrentUserRunOnce);
    children.push_back(new CVistrelRunItemCurrentUserRunOnceEx);
    children.push_back(new CVistrelRunItemLocalMachineRun);
    children.push_back(new CVistrelRunItemLocalMachineRunOnce);
    children.push_back(new CVistrelRunItemLocalMachineRunOnceEx);
    children.push_back(new CVistrelRunItemRunServices);
    children.push_back(new CVistrelRunItemRunServicesOnce);
}
