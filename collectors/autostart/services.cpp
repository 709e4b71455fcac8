// Services and drivers: two leaves over the same services key that differ in their type mask.
#include "collectors/autostart/services.h"

#include "frame/module_objects.h"
#include "platform/machine.h"
#include "platform/unique_handle.h"
#include "tools/file_details.h"
#include "tools/regedit_navigation.h"
#include "tools/registry_tools.h"
#include "tools/registry_values.h"

namespace {

constexpr char16_t kServicesKey[] = u"SYSTEM\\CurrentControlSet\\Services";
// SERVICE_WIN32_OWN_PROCESS | SERVICE_WIN32_SHARE_PROCESS.
constexpr std::uint32_t kProcessTypes = 0x30;
// SERVICE_KERNEL_DRIVER | SERVICE_FILE_SYSTEM_DRIVER | SERVICE_RECOGNIZER_DRIVER.
constexpr std::uint32_t kDriverTypes = 0x0B;
constexpr std::int32_t kTextStartup = 22398;  // IDS_VISTREL_SERVICES_STARTUP
// IDS_VISTREL_SERVICES_BOOT, _SYSTEM, _AUTOMATIC, _MANUAL, _DISABLED: "Start" 0 to 4.
constexpr std::int32_t kTextFirstStartMode = 22393;
constexpr std::int32_t kStartModes = 5;

bool IsStringType(std::uint32_t type) {
    return type == platform::kRegSz || type == platform::kRegExpandSz;
}

}  // namespace

CVistrelServices_Base::CVistrelServices_Base(std::uint32_t mask)
    : CVistrelRegistryListCollector(platform::kHkeyLocalMachine, kServicesKey, true),
      typeMask(mask) {}

void CVistrelServices_Base::ReadItems() {
    items.clear();
    platform::UniqueRegKey key;
    if (platform::machine().registry().OpenKey(root, keyPath.c_str(),
                                               platform::kKeyEnumerateSubKeys,
                                               key.put()) != platform::kErrorSuccess) {
        failed = true;
        return;
    }
    failed = !EnumRegKeys(root, keyPath.c_str(), key.get(), CollectService, this);
}

bool CVistrelServices_Base::CollectService(platform::RegKey root, std::u16string_view path,
                                           void* context) {
    // A name with a NUL inside would open, show and delete the key named by its front part.
    if (!IsPlainRegName(path)) return true;
    auto* self = static_cast<CVistrelServices_Base*>(context);
    const std::u16string keyPath(path);
    platform::UniqueRegKey key;
    const platform::Status status = platform::machine().registry().OpenKey(
        root, keyPath.c_str(), platform::kKeyQueryValue, key.put());
    if (status != platform::kErrorSuccess) {
        g_trace.Trace(u"[vistrel] [error] services.Open('%s') failed: %u", keyPath.c_str(),
                      static_cast<unsigned>(status));
        return true;
    }
    si_service_info service;
    std::uint32_t type = platform::kRegNone;
    if (!ReadRegText(key.get(), u"ImagePath", &service.imagePath, &type) || !IsStringType(type))
        return true;
    if (!ReadRegDword(key.get(), u"Type", &service.type)) {
        g_trace.Trace(u"[vistrel] [warning] services.Open('%s') failed: no type", keyPath.c_str());
        return true;
    }
    if ((service.type & self->typeMask) == 0) return true;
    // An expandable display name would need expanding to mean anything; it counts as none.
    if (!ReadRegText(key.get(), u"DisplayName", &service.displayName, &type) ||
        type != platform::kRegSz)
        service.displayName.clear();
    std::uint32_t start = 0;
    service.start =
        ReadRegDword(key.get(), u"Start", &start) ? static_cast<std::int32_t>(start) : -1;
    service.keyPath = keyPath;
    self->items.push_back(std::move(service));
    return true;
}

std::u16string CVistrelServices_Base::ItemText(std::size_t index) const {
    const si_service_info& service = items[index];
    return service.displayName.empty() ? service.imagePath : service.displayName;
}

std::int32_t CVistrelServices_Base::ItemDetails(std::size_t index, LineCallback lineCallback,
                                                void* context) {
    const si_service_info& service = items[index];
    const auto at = static_cast<std::int32_t>(index);
    if (lineCallback != nullptr) {
        if (service.start >= 0 && service.start < kStartModes)
            lineCallback(at, kTextStartup, LineValueFromId(kTextFirstStartMode + service.start),
                         kLineValueIsId, context);
        else
            lineCallback(at, kTextStartup, nullptr, 0, context);
    }
    return GetFileDetails(service.imagePath.c_str(), at, lineCallback, context, false);
}

void CVistrelServices_Base::GoToItem(std::int32_t index) {
    GoToKey(root,
            IsValidIndex(index) ? items[static_cast<std::size_t>(index)].keyPath.c_str()
                                : keyPath.c_str(),
            nullptr);
}

bool CVistrelServices_Base::RemoveItem(std::size_t index, IElevatedHelper* helper) {
    return DeleteRegKey(helper, root, items[index].keyPath.c_str());
}

CVistrelServices_Process::CVistrelServices_Process() : CVistrelServices_Base(kProcessTypes) {}
CVistrelServices_Driver::CVistrelServices_Driver() : CVistrelServices_Base(kDriverTypes) {}
