// The pattern that every registry collector follows: the read cycle with its needRead rule,
// delivery, the mask rule and the action order. A collector says only how it reads its list,
// what an entry shows and describes, and how Go to and Remove reach the registry.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/types.h"
#include "sources/plugin.h"
#include "tools/registry_tools.h"

class CVistrelRegistryCollector : public CVistrelPlugin {
  public:
    // Reads when refresh or needRead is set, then delivers every entry in list order with the
    // text of ItemText made visible (an embedded NUL shows as "\0"). A callback that says stop
    // at index i gives i + 1; otherwise -1 when failed is set, else the count.
    std::int32_t EnumerateItems(EntryCallback callback, bool refresh, void* context) override;
    // No line for a bad index; otherwise ItemDetails.
    std::int32_t GetItemDetails(std::int32_t index, LineCallback lineCallback,
                                void* context) override;
    // The collector's root and keyPath, then ItemPlace; false for a bad index.
    bool GetItemLocation(std::int32_t index, ItemLocation* location) override;
    std::int32_t GetActionCount() override { return OffersRemove() ? 3 : 2; }
    std::int32_t GetActionTextId(std::int32_t action) override;
    // failed: 1 (Refresh). Otherwise 3 (Refresh, Go to), and 7 (with Remove) for a valid index
    // of a collector that offers Remove.
    std::uint32_t GetActionMask(std::int32_t index) override;
    std::int32_t GetDefaultAction() override { return kActionGoTo; }
    // -1 and 1: GoToItem, false. 0: ReadItems, true. 2: for a valid index RemoveItem through the
    // helper that NeedsElevation selects; success sets deleteItem and localUpdate and gives
    // true, failure clears succeeded and gives false. A bad index or any other action: false,
    // flags untouched. The list stays as it is after a Remove, so other indexes stay right.
    bool DoAction(std::int32_t action, std::int32_t index, resultFlags* flags) override;

    static constexpr std::int32_t kActionRefresh = 0;
    static constexpr std::int32_t kActionGoTo = 1;
    static constexpr std::int32_t kActionRemove = 2;

    platform::RegKey root = nullptr;
    std::u16string keyPath;
    bool needRead = true;

  protected:
    CVistrelRegistryCollector(platform::RegKey rootKey, std::u16string path, bool elevation);

    // The read cycle: replaces the list and sets failed.
    virtual void ReadItems() = 0;
    virtual std::size_t ItemCount() const = 0;
    // The entry's text before it is made visible.
    virtual std::u16string ItemText(std::size_t index) const = 0;
    virtual std::int32_t ItemDetails(std::size_t index, LineCallback lineCallback,
                                     void* context) = 0;
    // Go to for an entry, or for the category itself when index is not a valid entry.
    virtual void GoToItem(std::int32_t index) = 0;
    // Remove of a valid entry through helper (which may be null). True when it was done.
    virtual bool RemoveItem(std::size_t index, IElevatedHelper* helper) = 0;
    // What the debug trace of Remove calls an empty entry.
    virtual bool ItemIsEmpty(std::size_t index) const = 0;
    virtual bool OffersRemove() const { return true; }
    // Narrows the collector's key to a valid entry's own key or value; by default the entry is
    // the collector's key itself.
    virtual void ItemPlace(std::size_t index, ItemLocation& location) const {
        (void)index, (void)location;
    }

    // The two read cycles: keyPath under root opened for this walk alone (KEY_QUERY_VALUE for
    // the values, KEY_ENUMERATE_SUB_KEYS for the sub-keys), each entry handed to callback.
    // failed is set when the key can't be opened or the callback stopped the walk.
    void WalkValues(RegValueCallback callback, void* context);
    void WalkSubKeys(RegKeyCallback callback, void* context);

    bool IsValidIndex(std::int32_t index) const {
        return index >= 0 && static_cast<std::size_t>(index) < ItemCount();
    }
};

// The same with the list as a vector of the collector's records.
template <typename Item>
class CVistrelRegistryListCollector : public CVistrelRegistryCollector {
  public:
    std::vector<Item> items;

  protected:
    using CVistrelRegistryCollector::CVistrelRegistryCollector;
    std::size_t ItemCount() const override { return items.size(); }
};
