// The browser helper objects of the machine: one sub-key per class id under the browser's key,
// each listed only when the class has a description and an in-process server.
#pragma once

#include <cstdint>

#include "collectors/registry_collector.h"
#include "collectors/shell/com_item.h"

class CVistrelIEBHO : public CVistrelRegistryListCollector<si_com_item> {
  public:
    CVistrelIEBHO();
    std::int32_t GetNameId() override { return 22402; }
    std::int32_t GetDescriptionId() override { return 22403; }

  protected:
    void ReadItems() override;
    // The class's description; its id is shown nowhere.
    std::u16string ItemText(std::size_t index) const override { return items[index].name; }
    std::int32_t ItemDetails(std::size_t index, LineCallback lineCallback, void* context) override;
    // An entry's class server below HKEY_CLASSES_ROOT; the browser's key for the category.
    void GoToItem(std::int32_t index) override;
    // Deletes the entry's sub-key under the browser's key; the class and its DLL stay.
    bool RemoveItem(std::size_t index, IElevatedHelper* helper) override;
    bool ItemIsEmpty(std::size_t index) const override { return items[index].entry.empty(); }
    void ItemPlace(std::size_t index, ItemLocation& location) const override {
        location.keyPath = items[index].entry;
    }
};
