// The run keys: read cycle, delivery, mask rule and action order of the registry collectors.
#include "collectors/autostart/run_items.h"

#include <utility>

#include "frame/module_objects.h"
#include "platform/machine.h"
#include "platform/unique_handle.h"
#include "tools/elevation_support.h"
#include "tools/file_details.h"
#include "tools/regedit_navigation.h"
#include "tools/registry_tools.h"

namespace {

constexpr char16_t kRunKey[] = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";
constexpr char16_t kRunOnceKey[] = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnce";
constexpr char16_t kRunOnceExKey[] = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunOnceEx";
constexpr char16_t kRunServicesKey[] = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunServices";
constexpr char16_t kRunServicesOnceKey[] =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\RunServicesOnce";

// The data of a string value as text: the registry gives bytes, which need not hold a
// terminator or an even count. The text ends at the first NUL or with the last whole character.
std::u16string StringData(const void* data, std::uint32_t sizeInBytes) {
    const auto* chars = static_cast<const char16_t*>(data);
    const std::uint32_t count = data ? sizeInBytes / 2 : 0;
    std::uint32_t length = 0;
    while (length < count && chars[length] != u'\0') ++length;
    return std::u16string(chars, length);
}

bool CollectStringValue(const char16_t* name, const void* data, std::uint32_t size,
                        std::uint32_t type, void* context) {
    if (type != platform::kRegSz && type != platform::kRegExpandSz) return true;
    auto* items = static_cast<std::vector<si_value_info>*>(context);
    items->push_back({name ? std::u16string(name) : std::u16string(), StringData(data, size)});
    return true;
}

}  // namespace

CVistrelRunItemsBase::CVistrelRunItemsBase(platform::RegKey rootKey, std::u16string path,
                                           bool elevation)
    : root(rootKey), keyPath(std::move(path)) {
    NeedsElevation = elevation;
}

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

bool CVistrelRunItemsBase::IsValidIndex(std::int32_t index) const {
    return index >= 0 && static_cast<std::size_t>(index) < items.size();
}

std::int32_t CVistrelRunItemsBase::EnumerateItems(EntryCallback callback, bool refresh,
                                                  void* context) {
    if (refresh || needRead) ReadItems();
    needRead = false;
    const auto count = static_cast<std::int32_t>(items.size());
    for (std::int32_t index = 0; index < count; ++index) {
        if (callback != nullptr &&
            !callback(index, items[static_cast<std::size_t>(index)].name.c_str(), nullptr, this,
                      context))
            return index + 1;
    }
    return failed ? kEnumNotFound : count;
}

std::int32_t CVistrelRunItemsBase::GetItemDetails(std::int32_t index, LineCallback lineCallback,
                                                  void* context) {
    if (!IsValidIndex(index)) return 0;
    return GetFileDetails(items[static_cast<std::size_t>(index)].data.c_str(), index, lineCallback,
                          context, false);
}

std::int32_t CVistrelRunItemsBase::GetActionTextId(std::int32_t action) {
    switch (action) {
        case kActionRefresh:
            return kTextActionRefresh;
        case kActionGoTo:
            return kTextActionGoTo;
        case kActionRemove:
            return kTextActionRemove;
        default:
            return -1;
    }
}

std::uint32_t CVistrelRunItemsBase::GetActionMask(std::int32_t index) {
    if (failed) return 1;
    if (index < 0) return 3;
    return IsValidIndex(index) ? 7 : 3;
}

void CVistrelRunItemsBase::GoToEntry(std::int32_t index) {
    GoToKey(root, keyPath.c_str(),
            IsValidIndex(index) ? items[static_cast<std::size_t>(index)].name.c_str() : nullptr);
}

bool CVistrelRunItemsBase::RemoveEntry(std::int32_t index, resultFlags* flags) {
    if (!IsValidIndex(index))
        g_trace.Trace(u"[vistrel] [debug] wrong index: %u", static_cast<unsigned>(index));
    else if (items[static_cast<std::size_t>(index)].name.empty())
        g_trace.Trace(u"[vistrel] [debug] action on empty value at %u",
                      static_cast<unsigned>(index));
    if (!IsValidIndex(index)) return false;

    IElevatedHelper* helper = GetHelperForSource(this);
    if (DeleteRegValue(helper, root, keyPath.c_str(),
                       items[static_cast<std::size_t>(index)].name.c_str())) {
        flags->deleteItem = 1;
        flags->localUpdate = 1;
        return true;
    }
    flags->succeeded = 0;
    return false;
}

bool CVistrelRunItemsBase::DoAction(std::int32_t action, std::int32_t index, resultFlags* flags) {
    switch (action) {
        case -1:
        case kActionGoTo:
            GoToEntry(index);
            return false;
        case kActionRefresh:
            ReadItems();
            return true;
        case kActionRemove:
            return RemoveEntry(index, flags);
        default:
            return false;
    }
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
