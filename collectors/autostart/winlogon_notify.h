// Winlogon notify: the notification packages that the logon process loads, one sub-key of the
// "Notify" key each. An entry is a sub-key with a string "DllName"; Remove deletes the sub-key.
#pragma once

#include <cstdint>
#include <string>

#include "collectors/key_item.h"
#include "collectors/registry_collector.h"

// first: the sub-key's path under the root; second: "DllName" up to its first NUL, as stored;
// third: the sub-key's own name.
class CVistrelLoadItemsWinlogonNotify : public CVistrelRegistryListCollector<si_key_item> {
  public:
    CVistrelLoadItemsWinlogonNotify();
    std::int32_t GetNameId() override { return 22360; }
    std::int32_t GetDescriptionId() override { return 22361; }
    // As the pattern, but a failed read delivers nothing and gives -1 even when a Refresh has
    // filled the list since.
    std::int32_t EnumerateItems(EntryCallback callback, bool refresh, void* context) override;
    // Refresh reads the packages again but leaves failed as it was.
    bool DoAction(std::int32_t action, std::int32_t index, resultFlags* flags) override;

  protected:
    // failed only when the "Notify" key can't be opened for its sub-keys; a sub-key without a
    // string "DllName" is left out.
    void ReadItems() override;
    // The sub-key's name (the library's when the name is empty).
    std::u16string ItemText(std::size_t index) const override;
    // The library that "DllName" names.
    std::int32_t ItemDetails(std::size_t index, LineCallback lineCallback, void* context) override;
    // The package's sub-key for an entry, the "Notify" key for the category.
    void GoToItem(std::int32_t index) override;
    // Deletes the package's sub-key with everything under it; the library file stays.
    bool RemoveItem(std::size_t index, IElevatedHelper* helper) override;
    bool ItemIsEmpty(std::size_t index) const override { return items[index].first.empty(); }
    void ItemPlace(std::size_t index, ItemLocation& location) const override {
        location.keyPath = items[index].first;
    }
};
