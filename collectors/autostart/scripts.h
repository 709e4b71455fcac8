// Scripts: the startup and shutdown scripts that machine policy names, one sub-key with a
// string "Script" each. The tree shows the script; Go to and Remove aim at its sub-key.
#pragma once

#include <cstdint>
#include <string>

#include "collectors/autostart/run_items.h"
#include "collectors/registry_collector.h"

// name: the sub-key's own name; data: "Script" up to its first NUL, as stored.
class CVistrelScriptsBase : public CVistrelRegistryListCollector<si_value_info> {
  protected:
    explicit CVistrelScriptsBase(std::u16string path);

    // failed only when the policy key can't be opened for its sub-keys; a sub-key without a
    // string "Script" is left out.
    void ReadItems() override;
    std::u16string ItemText(std::size_t index) const override { return items[index].data; }
    std::int32_t ItemDetails(std::size_t index, LineCallback lineCallback, void* context) override;
    // The script's sub-key for an entry, the policy key for the category.
    void GoToItem(std::int32_t index) override;
    // Deletes the script's sub-key, chosen by its name and not by the script it names; the
    // script file stays.
    bool RemoveItem(std::size_t index, IElevatedHelper* helper) override;
    bool ItemIsEmpty(std::size_t index) const override { return items[index].name.empty(); }
    void ItemPlace(std::size_t index, ItemLocation& location) const override {
        location.keyPath = TargetKey(index);
    }

  private:
    std::u16string TargetKey(std::size_t index) const;
};

class CVistrelScriptsStartup : public CVistrelScriptsBase {
  public:
    CVistrelScriptsStartup();
    std::int32_t GetNameId() override { return 22382; }
    std::int32_t GetDescriptionId() override { return 22383; }
};

class CVistrelScriptsShutdown : public CVistrelScriptsBase {
  public:
    CVistrelScriptsShutdown();
    std::int32_t GetNameId() override { return 22384; }
    std::int32_t GetDescriptionId() override { return 22385; }
};
