// Installed components: the Active Setup components that carry a command which Windows runs
// once for every user at that user's first logon.
#pragma once

#include <cstdint>
#include <string>

#include "collectors/key_item.h"
#include "collectors/registry_collector.h"

// One sub-key of the components key with a non-empty "StubPath" is one entry:
//   first  - the component's name, its key's default value; empty when that can't be read
//   second - "StubPath" up to its first NUL, as stored: a command line, not a path
//   third  - the component's key path below root
// Remove deletes the component's whole key; the program its command names stays.
class CVistrelWEInstallededComponents : public CVistrelRegistryListCollector<si_key_item> {
  public:
    CVistrelWEInstallededComponents();
    std::int32_t GetNameId() override { return 22426; }
    std::int32_t GetDescriptionId() override { return 22427; }

  protected:
    // failed only when the components key can't be opened or walked; a component that can't
    // be read is left out without a trace.
    void ReadItems() override;
    // The name, or the command line for a component without one.
    std::u16string ItemText(std::size_t index) const override;
    std::int32_t ItemDetails(std::size_t index, LineCallback lineCallback, void* context) override;
    void GoToItem(std::int32_t index) override;
    bool RemoveItem(std::size_t index, IElevatedHelper* helper) override;
    bool ItemIsEmpty(std::size_t index) const override { return items[index].third.empty(); }
    void ItemPlace(std::size_t index, ItemLocation& location) const override {
        location.keyPath = items[index].third;
    }
};
