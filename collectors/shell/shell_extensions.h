// What the shell loads by class id from a list of values: the approved shell extensions and the
// hooks of its execute function. A value's name is the class id, its data a description; each
// entry is resolved to the class's in-process server, and kept even when the class is unknown.
#pragma once

#include <cstdint>
#include <string>

#include "collectors/registry_collector.h"
#include "collectors/shell/com_item.h"

// name: the value's data up to its first NUL; file: the class's server, empty when unknown;
// serverKey: the class's server key, whether it exists or not; entry: the value's whole name.
class CVistrelWEBase : public CVistrelRegistryListCollector<si_com_item> {
  public:
    bool EmptyNameIsDefault() override { return true; }
    // Go to stays offered after a failed read: 7 for a valid index, else 3.
    std::uint32_t GetActionMask(std::int32_t index) override { return IsValidIndex(index) ? 7 : 3; }

  protected:
    explicit CVistrelWEBase(const char16_t* path);

    void ReadItems() override;
    // The description, or the server when there is none.
    std::u16string ItemText(std::size_t index) const override;
    std::int32_t ItemDetails(std::size_t index, LineCallback lineCallback, void* context) override;
    // An entry's class server below HKEY_CLASSES_ROOT; the list's key for the category.
    void GoToItem(std::int32_t index) override;
    // Deletes the one value from the list; the class and its DLL stay.
    bool RemoveItem(std::size_t index, IElevatedHelper* helper) override;
    bool ItemIsEmpty(std::size_t index) const override { return items[index].serverKey.empty(); }
    void ItemPlace(std::size_t index, ItemLocation& location) const override {
        location.isValue = true;
        location.valueName = items[index].entry;
    }
};

class CVistrelWEShellExtensions : public CVistrelWEBase {
  public:
    CVistrelWEShellExtensions();
    std::int32_t GetNameId() override { return 22422; }
    std::int32_t GetDescriptionId() override { return 22423; }
};

class CVistrelWEShellExecHooks : public CVistrelWEBase {
  public:
    CVistrelWEShellExecHooks();
    std::int32_t GetNameId() override { return 22424; }
    std::int32_t GetDescriptionId() override { return 22425; }
};
