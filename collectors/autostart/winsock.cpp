// Winsock providers: the libraries that every program using the network loads.
#include "collectors/autostart/winsock.h"

#include <string>

#include "platform/machine.h"
#include "platform/unique_handle.h"
#include "tools/file_details.h"
#include "tools/packed_catalog_item.h"
#include "tools/regedit_navigation.h"
#include "tools/registry_tools.h"
#include "tools/registry_values.h"

CVistrelWinsock::CVistrelWinsock()
    : CVistrelRegistryListCollector(
          platform::kHkeyLocalMachine,
          u"SYSTEM\\CurrentControlSet\\Services\\WinSock2\\Parameters\\Protocol_Catalog9\\"
          u"Catalog_Entries",
          false) {}

void CVistrelWinsock::ReadItems() {
    items.clear();
    platform::UniqueRegKey key;
    if (platform::machine().registry().OpenKey(root, keyPath.c_str(),
                                               platform::kKeyEnumerateSubKeys,
                                               key.put()) != platform::kErrorSuccess) {
        failed = true;
        return;
    }
    failed = !EnumRegKeys(root, keyPath.c_str(), key.get(), CollectEntry, this);
}

bool CVistrelWinsock::CollectEntry(platform::RegKey root, std::u16string_view path, void* context) {
    if (!IsPlainRegName(path)) return true;
    const std::u16string keyPath(path);
    RegValueBytes packed;
    {
        platform::UniqueRegKey key;
        if (platform::machine().registry().OpenKey(root, keyPath.c_str(), platform::kKeyQueryValue,
                                                   key.put()) != platform::kErrorSuccess)
            return true;
        if (!ReadRegValue(key.get(), u"PackedCatalogItem", &packed)) return true;
    }
    si_key_item entry;
    if (packed.type != platform::kRegBinary ||
        !ParsePackedCatalogItem(packed.bytes.data(), packed.bytes.size(), &entry.second,
                                &entry.first))
        return true;
    entry.third = keyPath;
    static_cast<CVistrelWinsock*>(context)->items.push_back(std::move(entry));
    return true;
}

std::int32_t CVistrelWinsock::ItemDetails(std::size_t index, LineCallback lineCallback,
                                          void* context) {
    return GetFileDetails(items[index].second.c_str(), static_cast<std::int32_t>(index),
                          lineCallback, context, false);
}

void CVistrelWinsock::GoToItem(std::int32_t index) {
    GoToKey(root,
            IsValidIndex(index) ? items[static_cast<std::size_t>(index)].third.c_str()
                                : keyPath.c_str(),
            nullptr);
}
