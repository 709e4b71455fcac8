// Boot execute: one multi-string value, listed string by string and rewritten without the
// removed one.
#include "collectors/autostart/boot_execute.h"

#include "libs/talutils/text_utils.h"
#include "tools/file_details.h"
#include "tools/regedit_navigation.h"
#include "tools/registry_tools.h"
#include "tools/registry_values.h"
#include "tools/value_lists.h"

namespace {

constexpr char16_t kSessionManagerKey[] = u"SYSTEM\\CurrentControlSet\\Control\\Session Manager";
// The disk check's entry names its program behind this word and one blank.
constexpr std::u16string_view kAutocheckPrefix = u"autocheck ";

}  // namespace

CVistrelRunItemsBootExecute::CVistrelRunItemsBootExecute()
    : CVistrelRegistryListCollector(platform::kHkeyLocalMachine, kSessionManagerKey, true),
      valueName(u"BootExecute") {}

void CVistrelRunItemsBootExecute::ReadItems() {
    items.clear();
    RegValueBytes value;
    failed = !ReadRegValue(root, keyPath.c_str(), valueName.c_str(), &value);
    if (!failed) items = SplitMultiString(value.bytes.data(), value.bytes.size());
}

std::u16string CVistrelRunItemsBootExecute::ItemText(std::size_t index) const {
    const std::u16string& entry = items[index];
    if (talutils::StartsWithNoCase(entry, kAutocheckPrefix))
        return entry.substr(kAutocheckPrefix.size());
    return entry;
}

std::int32_t CVistrelRunItemsBootExecute::ItemDetails(std::size_t index, LineCallback lineCallback,
                                                      void* context) {
    return GetFileDetails(ItemText(index).c_str(), static_cast<std::int32_t>(index), lineCallback,
                          context, false);
}

void CVistrelRunItemsBootExecute::GoToItem(std::int32_t) {
    GoToKey(root, keyPath.c_str(), valueName.c_str());
}

bool CVistrelRunItemsBootExecute::RemoveItem(std::size_t index, IElevatedHelper* helper) {
    std::u16string data;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (i == index || items[i].empty()) continue;
        if (!data.empty()) data.push_back(u'\0');
        data += items[i];
    }
    data.append(2, u'\0');
    if (!SetRegValue(helper, root, keyPath.c_str(), valueName.c_str(), data.data(),
                     platform::kRegMultiSz, static_cast<std::int32_t>(2 * data.size()), 0))
        return false;
    items[index].clear();
    return true;
}
