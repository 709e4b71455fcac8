#include "collectors/files/hosts.h"

#include <utility>

#include "collectors/files/file_collector.h"
#include "frame/module_objects.h"
#include "platform/machine.h"
#include "tools/hosts_file.h"

namespace {

constexpr int kSwShowNormal = 1;

std::u16string HostsPath() {
    const std::u16string system = LookUpSpecialFolder(platform::kCsidlSystem);
    return system.empty() ? system : system + u"\\drivers\\etc\\hosts";
}

}  // namespace

CVistrelHosts::CVistrelHosts() : hostsPath(HostsPath()) {}

bool CVistrelHosts::EnumerateHostEntries() {
    items.clear();
    if (hostsPath.empty()) {
        g_trace.Trace(u"[vistrel] EnumerateHostEntries_: hosts file not found");
        return false;
    }
    std::string bytes;
    if (platform::machine().files().ReadAll(hostsPath.c_str(), &bytes) != platform::kErrorSuccess)
        return false;
    for (HostsFileEntry& entry : ParseHostsFile(bytes))
        items.push_back({std::move(entry.address), std::move(entry.host)});
    return true;
}

std::int32_t CVistrelHosts::EnumerateItems(EntryCallback callback, bool refresh, void* context) {
    if (refresh || needRead) failed = !EnumerateHostEntries();
    needRead = false;
    return DeliverListItems(
        this, items.size(),
        [this](std::size_t i) -> const std::u16string& { return items[i].host; }, callback,
        context);
}

std::int32_t CVistrelHosts::GetItemDetails(std::int32_t index, LineCallback lineCallback,
                                           void* context) {
    if (index < 0 || static_cast<std::size_t>(index) >= items.size() || lineCallback == nullptr)
        return 0;
    const si_host_entry& entry = items[static_cast<std::size_t>(index)];
    lineCallback(index, kHostsTextAddress, entry.address.c_str(), 0, context);
    lineCallback(index, kHostsTextHost, entry.host.c_str(), 0, context);
    return 2;
}

bool CVistrelHosts::DoAction(std::int32_t action, std::int32_t, resultFlags*) {
    switch (action) {
        case -1:
        case 1:
            OpenWithShell(u"notepad.exe", hostsPath.c_str(), kSwShowNormal);
            return false;
        case 0:
            EnumerateHostEntries();
            return true;
        default:
            return false;
    }
}
