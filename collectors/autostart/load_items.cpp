// Load items: the logon values Userinit and Shell, and AppInit_DLLs.
#include "collectors/autostart/load_items.h"

#include <utility>

#include "frame/module_objects.h"
#include "tools/file_details.h"
#include "tools/regedit_navigation.h"
#include "tools/registry_tools.h"
#include "tools/registry_values.h"

namespace {

constexpr char16_t kWinlogonKey[] = u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Winlogon";
constexpr char16_t kWindowsKey[] = u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Windows";
constexpr char16_t kDelimiters[] = u" ,";
constexpr char16_t kJoin[] = u", ";

}  // namespace

CVistrelLoadItemsValueBase::CVistrelLoadItemsValueBase(platform::RegKey rootKey,
                                                       std::u16string path, std::u16string value,
                                                       bool elevation)
    : CVistrelRegistryListCollector(rootKey, std::move(path), elevation),
      valueName(std::move(value)) {}

void CVistrelLoadItemsValueBase::ReadItems() {
    items.clear();
    RegValueBytes value;
    failed = !ReadRegValue(root, keyPath.c_str(), valueName.c_str(), &value);
    if (!failed) items = SplitValueList(value.bytes.data(), value.bytes.size(), kDelimiters);
}

bool CVistrelLoadItemsValueBase::DoAction(std::int32_t action, std::int32_t index,
                                          resultFlags* flags) {
    if (action != kActionRefresh) return CVistrelRegistryCollector::DoAction(action, index, flags);
    const bool wasFailed = failed;
    ReadItems();
    failed = wasFailed;
    return true;
}

std::int32_t CVistrelLoadItemsValueBase::ItemDetails(std::size_t index, LineCallback lineCallback,
                                                     void* context) {
    return GetFileDetails(items[index].text.c_str(), static_cast<std::int32_t>(index), lineCallback,
                          context, false);
}

void CVistrelLoadItemsValueBase::GoToItem(std::int32_t index) {
    GoToKey(root, keyPath.c_str(), IsValidIndex(index) ? valueName.c_str() : nullptr);
}

bool CVistrelLoadItemsValueBase::RemoveItem(std::size_t index, IElevatedHelper* helper) {
    std::u16string text;
    std::size_t lastKept = items.size();
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (i == index || items[i].text.empty()) continue;
        // Neighbours in the value since the last read, with nothing but blanks between them.
        if (lastKept + 1 == i && items[lastKept].separator.find(u',') == std::u16string::npos) {
            g_trace.Trace(
                u"[vistrel] [warning] %s: \"%s\" and \"%s\" may be one path, not "
                u"rewritten",
                valueName.c_str(), items[lastKept].text.c_str(), items[i].text.c_str());
            return false;
        }
        lastKept = i;
        text += items[i].text;
        // The separator follows every position but the list's last, whatever is kept behind it.
        if (i + 1 < items.size()) text += kJoin;
    }
    if (!SetRegValue(helper, root, keyPath.c_str(), valueName.c_str(), text.c_str(),
                     platform::kRegSz, static_cast<std::int32_t>(2 * text.size() + 2), 0))
        return false;
    items[index].text.clear();
    return true;
}

std::uint32_t CVistrelLoadItemUserInit::GetActionMask(std::int32_t) {
    return failed ? 1 : 3;
}

bool CVistrelLoadItemUserInit::DoAction(std::int32_t action, std::int32_t index,
                                        resultFlags* flags) {
    if (action == kActionRemove) return false;
    return CVistrelLoadItemsValueBase::DoAction(action, index, flags);
}

CVistrelLoadItemUserInit::CVistrelLoadItemUserInit()
    : CVistrelLoadItemsValueBase(platform::kHkeyLocalMachine, kWinlogonKey, u"Userinit", true) {}
CVistrelLoadItemCUShell::CVistrelLoadItemCUShell()
    : CVistrelLoadItemsValueBase(platform::kHkeyCurrentUser, kWinlogonKey, u"Shell", false) {}
CVistrelLoadItemLMShell::CVistrelLoadItemLMShell()
    : CVistrelLoadItemsValueBase(platform::kHkeyLocalMachine, kWinlogonKey, u"Shell", true) {}
CVistrelLoadItemAppInitDLLs::CVistrelLoadItemAppInitDLLs()
    : CVistrelLoadItemsValueBase(platform::kHkeyLocalMachine, kWindowsKey, u"AppInit_DLLs", true) {}
