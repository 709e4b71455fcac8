#include "collectors/shell/ie_menu_extensions.h"

#include "tools/class_id_lookup.h"
#include "tools/file_details.h"
#include "tools/regedit_navigation.h"
#include "tools/registry_values.h"

namespace {

constexpr char16_t kMenuExtKey[] = u"Software\\Microsoft\\Internet Explorer\\MenuExt";

// An entry without a readable default value isn't listed. A name with a NUL inside can't be
// opened (the registry would read it as a shorter name, another key), so it isn't either.
bool CollectMenuEntry(platform::RegKey root, std::u16string_view path, void* context) {
    if (!IsPlainRegName(path)) return true;
    const std::u16string keyPath(path);
    RegValueBytes value;
    if (!ReadRegValue(root, keyPath.c_str(), nullptr, &value)) return true;
    static_cast<std::vector<si_key_item>*>(context)->push_back(
        {std::u16string(LastKeyPathPart(path)), RegDataText(value), keyPath});
    return true;
}

}  // namespace

CVistrelIEMenuExt::CVistrelIEMenuExt()
    : CVistrelRegistryListCollector(platform::kHkeyCurrentUser, kMenuExtKey, false) {}

void CVistrelIEMenuExt::ReadItems() {
    items.clear();
    WalkSubKeys(CollectMenuEntry, &items);
}

std::int32_t CVistrelIEMenuExt::ItemDetails(std::size_t index, LineCallback lineCallback,
                                            void* context) {
    return GetFileDetails(items[index].second.c_str(), static_cast<std::int32_t>(index),
                          lineCallback, context, false);
}

void CVistrelIEMenuExt::GoToItem(std::int32_t index) {
    GoToKey(root,
            IsValidIndex(index) ? items[static_cast<std::size_t>(index)].third.c_str()
                                : keyPath.c_str(),
            nullptr);
}

bool CVistrelIEMenuExt::RemoveItem(std::size_t index, IElevatedHelper* helper) {
    return DeleteRegKey(helper, root, items[index].third.c_str());
}
