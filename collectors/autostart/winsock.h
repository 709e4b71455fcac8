// The Winsock protocol catalogue as the registry holds it: every sub-key of the entries key with
// a readable packed item is one provider. The category only shows them: Refresh and Go to.
#pragma once

#include <cstdint>

#include "collectors/key_item.h"
#include "collectors/registry_collector.h"

// Items: first the protocol's name, second the provider's library path, third the entry's
// sub-key relative to the root.
class CVistrelWinsock : public CVistrelRegistryListCollector<si_key_item> {
  public:
    CVistrelWinsock();
    std::int32_t GetNameId() override { return 22470; }
    std::int32_t GetDescriptionId() override { return 22471; }

  protected:
    // Replaces items with the entries whose "PackedCatalogItem" is binary and of the item's one
    // size; failed only when the entries key can't be opened. A sub-key whose name the
    // NUL-terminated calls can't reach exactly is left out.
    void ReadItems() override;
    std::u16string ItemText(std::size_t index) const override { return items[index].first; }
    // The library's lines.
    std::int32_t ItemDetails(std::size_t index, LineCallback lineCallback, void* context) override;
    // The entry's own sub-key; the entries key for the category.
    void GoToItem(std::int32_t index) override;
    bool RemoveItem(std::size_t, IElevatedHelper*) override { return false; }
    bool ItemIsEmpty(std::size_t index) const override { return items[index].first.empty(); }
    void ItemPlace(std::size_t index, ItemLocation& location) const override {
        location.keyPath = items[index].third;
    }
    bool OffersRemove() const override { return false; }

  private:
    static bool CollectEntry(platform::RegKey root, std::u16string_view path, void* context);
};
