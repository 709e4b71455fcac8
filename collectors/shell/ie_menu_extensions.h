// The entries the current user has added to the browser's context menu: one sub-key each,
// named by the menu text, whose default value names what the entry runs.
#pragma once

#include <cstdint>

#include "collectors/key_item.h"
#include "collectors/registry_collector.h"

// first: the menu text (the sub-key's name); second: its default value, as stored; third: the
// sub-key's path below root.
class CVistrelIEMenuExt : public CVistrelRegistryListCollector<si_key_item> {
  public:
    CVistrelIEMenuExt();
    std::int32_t GetNameId() override { return 22404; }
    std::int32_t GetDescriptionId() override { return 22405; }

  protected:
    void ReadItems() override;
    std::u16string ItemText(std::size_t index) const override { return items[index].first; }
    std::int32_t ItemDetails(std::size_t index, LineCallback lineCallback, void* context) override;
    void GoToItem(std::int32_t index) override;
    // Deletes the entry's sub-key and nothing else.
    bool RemoveItem(std::size_t index, IElevatedHelper* helper) override;
    bool ItemIsEmpty(std::size_t index) const override { return items[index].third.empty(); }
    void ItemPlace(std::size_t index, ItemLocation& location) const override {
        location.keyPath = items[index].third;
    }
};
