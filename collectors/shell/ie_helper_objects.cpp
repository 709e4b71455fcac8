#include "collectors/shell/ie_helper_objects.h"

#include "tools/class_id_lookup.h"
#include "tools/file_details.h"
#include "tools/regedit_navigation.h"

namespace {

constexpr char16_t kHelperObjectsKey[] =
    u"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Browser Helper Objects";

// An entry needs both default values; a class that lacks either is left out. An id with a NUL
// inside names no class (the lookup refuses it), so every listed entry's path is plain.
bool CollectHelperObject(platform::RegKey, std::u16string_view path, void* context) {
    const std::u16string_view id = LastKeyPathPart(path);
    si_com_item item;
    if (!ReadClassDescription(id, &item.name) || !ReadClassServer(id, &item.file)) return true;
    item.serverKey = ClassServerKeyPath(id);
    item.entry = path;
    static_cast<std::vector<si_com_item>*>(context)->push_back(std::move(item));
    return true;
}

}  // namespace

CVistrelIEBHO::CVistrelIEBHO()
    : CVistrelRegistryListCollector(platform::kHkeyLocalMachine, kHelperObjectsKey, true) {}

void CVistrelIEBHO::ReadItems() {
    items.clear();
    WalkSubKeys(CollectHelperObject, &items);
}

std::int32_t CVistrelIEBHO::ItemDetails(std::size_t index, LineCallback lineCallback,
                                        void* context) {
    return GetFileDetails(items[index].file.c_str(), static_cast<std::int32_t>(index), lineCallback,
                          context, false);
}

void CVistrelIEBHO::GoToItem(std::int32_t index) {
    if (IsValidIndex(index))
        GoToKey(platform::kHkeyClassesRoot,
                items[static_cast<std::size_t>(index)].serverKey.c_str(), nullptr);
    else
        GoToKey(root, keyPath.c_str(), nullptr);
}

bool CVistrelIEBHO::RemoveItem(std::size_t index, IElevatedHelper* helper) {
    return DeleteRegKey(helper, root, items[index].entry.c_str());
}
