// Scripts: the sub-keys of the first script set of the machine's startup and shutdown policy.
#include "collectors/autostart/scripts.h"

#include <utility>
#include <vector>

#include "tools/file_details.h"
#include "tools/regedit_navigation.h"
#include "tools/registry_sub_keys.h"
#include "tools/registry_tools.h"

namespace {

// Only the set "0" is read; sets beside it are not.
constexpr char16_t kStartupKey[] =
    u"SOFTWARE\\Policies\\Microsoft\\Windows\\System\\Scripts\\Startup\\0";
constexpr char16_t kShutdownKey[] =
    u"SOFTWARE\\Policies\\Microsoft\\Windows\\System\\Scripts\\Shutdown\\0";

bool CollectScript(platform::RegKey root, std::u16string_view path, void* context) {
    std::u16string script;
    if (ReadSubKeyString(root, path, u"Script", &script)) {
        static_cast<std::vector<si_value_info>*>(context)->push_back(
            {std::u16string(SubKeyName(path)), std::move(script)});
    }
    return true;
}

}  // namespace

CVistrelScriptsBase::CVistrelScriptsBase(std::u16string path)
    : CVistrelRegistryListCollector(platform::kHkeyLocalMachine, std::move(path), true) {}

void CVistrelScriptsBase::ReadItems() {
    items.clear();
    WalkSubKeys(CollectScript, &items);
}

std::int32_t CVistrelScriptsBase::ItemDetails(std::size_t index, LineCallback lineCallback,
                                              void* context) {
    return GetFileDetails(items[index].data.c_str(), static_cast<std::int32_t>(index), lineCallback,
                          context, false);
}

std::u16string CVistrelScriptsBase::TargetKey(std::size_t index) const {
    return keyPath + u"\\" + items[index].name;
}

void CVistrelScriptsBase::GoToItem(std::int32_t index) {
    const std::u16string target =
        IsValidIndex(index) ? TargetKey(static_cast<std::size_t>(index)) : keyPath;
    GoToKey(root, target.c_str(), nullptr);
}

bool CVistrelScriptsBase::RemoveItem(std::size_t index, IElevatedHelper* helper) {
    return DeleteRegKey(helper, root, TargetKey(index).c_str());
}

CVistrelScriptsStartup::CVistrelScriptsStartup() : CVistrelScriptsBase(kStartupKey) {}
CVistrelScriptsShutdown::CVistrelScriptsShutdown() : CVistrelScriptsBase(kShutdownKey) {}
