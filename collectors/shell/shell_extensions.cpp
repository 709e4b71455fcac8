#include "collectors/shell/shell_extensions.h"

#include "tools/class_id_lookup.h"
#include "tools/file_details.h"
#include "tools/regedit_navigation.h"
#include "tools/registry_values.h"

namespace {

constexpr char16_t kApprovedKey[] =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\Approved";
constexpr char16_t kExecuteHooksKey[] =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\ShellExecuteHooks";

// Only named REG_SZ values: the key's default value and other types aren't entries.
bool CollectClassValue(std::u16string_view name, const void* data, std::uint32_t dataBytes,
                       std::uint32_t type, void* context) {
    if (type != platform::kRegSz || name.empty()) return true;
    si_com_item item;
    ReadClassServer(name, &item.file);
    item.name = RegDataText(data, dataBytes);
    item.serverKey = ClassServerKeyPath(name);
    item.entry = name;
    static_cast<std::vector<si_com_item>*>(context)->push_back(std::move(item));
    return true;
}

}  // namespace

CVistrelWEBase::CVistrelWEBase(const char16_t* path)
    : CVistrelRegistryListCollector(platform::kHkeyLocalMachine, path, true) {}

void CVistrelWEBase::ReadItems() {
    items.clear();
    WalkValues(CollectClassValue, &items);
}

std::u16string CVistrelWEBase::ItemText(std::size_t index) const {
    return items[index].name.empty() ? items[index].file : items[index].name;
}

std::int32_t CVistrelWEBase::ItemDetails(std::size_t index, LineCallback lineCallback,
                                         void* context) {
    return GetFileDetails(items[index].file.c_str(), static_cast<std::int32_t>(index), lineCallback,
                          context, false);
}

void CVistrelWEBase::GoToItem(std::int32_t index) {
    if (IsValidIndex(index))
        GoToKey(platform::kHkeyClassesRoot,
                items[static_cast<std::size_t>(index)].serverKey.c_str(), nullptr);
    else
        GoToKey(root, keyPath.c_str(), nullptr);
}

bool CVistrelWEBase::RemoveItem(std::size_t index, IElevatedHelper* helper) {
    // The value's whole counted name: one with a NUL inside is deleted as it is, not as the
    // shorter name in front of its NUL.
    return DeleteRegValue(helper, root, keyPath.c_str(), std::u16string_view(items[index].entry));
}

CVistrelWEShellExtensions::CVistrelWEShellExtensions() : CVistrelWEBase(kApprovedKey) {}
CVistrelWEShellExecHooks::CVistrelWEShellExecHooks() : CVistrelWEBase(kExecuteHooksKey) {}
