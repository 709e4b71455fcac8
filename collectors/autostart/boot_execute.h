// Boot execute: the strings of the session manager's "BootExecute" multi-string, the programs
// that run at boot before any service. One entry is one string of the value.
#pragma once

#include <cstdint>
#include <string>

#include "collectors/registry_collector.h"

class CVistrelRunItemsBootExecute : public CVistrelRegistryListCollector<std::u16string> {
  public:
    CVistrelRunItemsBootExecute();
    std::int32_t GetNameId() override { return 22318; }
    std::int32_t GetDescriptionId() override { return 22319; }

    std::u16string valueName;

  protected:
    // Replaces items with the strings of the value, whatever its type; failed when the key
    // can't be opened or the value can't be read whole.
    void ReadItems() override;
    // The entry without a leading "autocheck " (any case): the program the disk check runs is
    // what the user needs to see and what the details describe.
    std::u16string ItemText(std::size_t index) const override;
    std::int32_t ItemDetails(std::size_t index, LineCallback lineCallback, void* context) override;
    // Always the value, for an entry and for the category alike.
    void GoToItem(std::int32_t index) override;
    // Writes the value back as REG_MULTI_SZ with every other string, whole and in its order,
    // and the list's double NUL. Success empties the entry, which keeps its place.
    bool RemoveItem(std::size_t index, IElevatedHelper* helper) override;
    bool ItemIsEmpty(std::size_t index) const override { return items[index].empty(); }
    // Every entry is one item of the same value's list.
    void ItemPlace(std::size_t, ItemLocation& location) const override {
        location.isValue = true;
        location.valueName = valueName;
    }
};
