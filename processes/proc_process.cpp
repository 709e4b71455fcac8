// A process node: its module list from toolhelp or from the helper, and the status that tells
// the tree why a process shows no module.
#include "processes/proc_process.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "frame/module_objects.h"
#include "platform/machine.h"
#include "tools/elevation_support.h"
#include "tools/file_details.h"

std::u16string FieldText(const char16_t* field, std::size_t capacity) {
    return std::u16string(field, std::find(field, field + capacity, u'\0'));
}

CVistrelProcProcessBase::CVistrelProcProcessBase(std::u16string exeName, std::uint32_t id,
                                                 si_process_info* list)
    : name(std::move(exeName)), processId(id), owner(list) {}

CVistrelProcProcessBase::CVistrelProcProcessBase(CVistrelProcProcessBase&& other) noexcept
    : CVistrelPlugin(),
      status(other.status),
      name(std::move(other.name)),
      path(std::move(other.path)),
      modules(std::move(other.modules)),
      processId(other.processId),
      owner(other.owner) {
    failed = other.failed;
    NeedsElevation = other.NeedsElevation;
    useElevation = other.useElevation;
}

std::int32_t CVistrelProcProcessBase::GetItemDetails(std::int32_t index, LineCallback lineCallback,
                                                     void* context) {
    if (index < 0 || static_cast<std::size_t>(index) >= modules.size()) return 0;
    return GetFileDetails(modules[static_cast<std::size_t>(index)].c_str(), index, lineCallback,
                          context, false);
}

bool CVistrelProcProcessBase::RefreshModules() {
    modules.clear();
    if (owner == nullptr) return false;
    if (owner->UseHelperEnumeration()) return ModulesFromHelper();
    return ModulesFromToolhelp() || ModulesFromHelper();
}

bool CVistrelProcProcessBase::ModulesFromToolhelp() {
    modules.clear();
    UniqueSnapshot snapshot(CreateToolhelpSnapshot(*owner->GetToolhelpBinding(),
                                                   platform::kTh32csSnapModule, processId));
    if (!snapshot) return false;
    platform::ModuleEntry32W entry;
    entry.dwSize = sizeof(entry);
    // An empty snapshot is a list read all the same.
    if (!ThModule32First(*owner->GetToolhelpBinding(), snapshot.get(), &entry))
        return platform::machine().LastError() ==
               static_cast<std::uint32_t>(platform::kErrorNoMoreFiles);
    do {
        modules.push_back(FieldText(entry.szExePath, std::size(entry.szExePath)));
    } while (ThModule32Next(*owner->GetToolhelpBinding(), snapshot.get(), &entry));
    return true;
}

bool CVistrelProcProcessBase::ModulesFromHelper() {
    modules.clear();
    PsapiBinding* psapi = owner->GetPsapiBinding();
    psapi->helper = GetGlobalElevatedHelper(psapi->useElevated, true);
    if (psapi->helper == nullptr) return false;
    return psapi->helper->Proc_EnumModules(processId, modules) >= 0;
}

std::int32_t CVistrelProcProcess::EnumerateItems(EntryCallback callback, bool, void* context) {
    if (status & kModulesStale) {
        RefreshModules();
        status &= ~kModulesStale;
    }
    const auto count = static_cast<std::int32_t>(modules.size());
    if (callback != nullptr) {
        for (std::int32_t i = 0; i < count; ++i) {
            const std::u16string& module = modules[static_cast<std::size_t>(i)];
            const std::u16string file = module.substr(module.find_last_of(u'\\') + 1);
            if (!callback(i, file.c_str(), nullptr, this, context)) return i + 1;
        }
    }
    if (count > 0) return count;

    g_trace.Trace(u"CVistrelProcess:EnumerateItems: EnumModules returned 0 items.");
    // The list's helper is borrowed: once its batch of work is over it has been released, and a
    // pointer the support no longer holds counts as none.
    IElevatedHelper* helper = owner ? owner->GetPsapiBinding()->helper : nullptr;
    if (!IsHeldHelper(helper)) {
        g_trace.Trace(u"CVistrelProcess:EnumerateItems: Access denied: pHelper is null");
        return kEnumAccessDenied;
    }
    const bool canElevate = CElevatedHelperFactory::CanElevate();
    const bool elevated = helper->IsElevated();
    if (canElevate && !elevated) {
        g_trace.Trace(u"CVistrelProcess:EnumerateItems: Requires elevation");
        return kEnumAccessDeniedNeedsElevation;
    }
    g_trace.Trace(u"CVistrelProcess:EnumerateItems: Access denied: canElevate=%d, isElevated=%d",
                  canElevate ? 1 : 0, elevated ? 1 : 0);
    return kEnumAccessDenied;
}
