// The controls the browser downloaded: one distribution unit per sub-key of the code store,
// with where it came from and the files it put on the machine. A unit is always listed.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "collectors/registry_collector.h"

// One distribution unit. An empty text means its read didn't succeed.
struct si_activex_info {
    std::u16string name;                // the class's description, else the unit's default value,
                                        // else the unit's own key name
    std::u16string file;                // the class's in-process server, as stored
    std::u16string key;                 // the unit's sub-key path below root
    std::u16string codebase;            // "DownloadInformation", value "CODEBASE"
    std::u16string inf;                 // "DownloadInformation", value "INF"
    std::u16string osd;                 // "DownloadInformation", value "OSD"
    std::u16string lastModified;        // "InstalledVersion", value "LastModified"
    std::vector<std::u16string> files;  // names of the REG_SZ values of "Contains\Files"
};

class CVistrelIEDownloadedActiveX : public CVistrelRegistryListCollector<si_activex_info> {
  public:
    CVistrelIEDownloadedActiveX();
    std::int32_t GetNameId() override { return 22406; }
    std::int32_t GetDescriptionId() override { return 22407; }

  protected:
    void ReadItems() override;
    std::u16string ItemText(std::size_t index) const override { return items[index].name; }
    // The server's details (then a separator), the code base line always, the INF, OSD and
    // date lines when known, then the unit's files, each behind a line of its own. The result
    // counts one for each line and what each file's details returned.
    std::int32_t ItemDetails(std::size_t index, LineCallback lineCallback, void* context) override;
    void GoToItem(std::int32_t index) override;
    // Deletes the unit's sub-key in the code store; its class, server and files stay.
    bool RemoveItem(std::size_t index, IElevatedHelper* helper) override;
    bool ItemIsEmpty(std::size_t index) const override { return items[index].key.empty(); }
    void ItemPlace(std::size_t index, ItemLocation& location) const override {
        location.keyPath = items[index].key;
    }
};
