// Run items: the values of the registry keys from which Windows starts programs at logon and at
// boot, one leaf per key.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "collectors/registry_collector.h"
#include "platform/types.h"

// One listed value: its whole counted name (empty for the key's default value) and its data up
// to the first NUL, as stored: variables unexpanded, arguments not split off.
struct si_value_info {
    std::u16string name;
    std::u16string data;
};

class CVistrelRunItemsBase : public CVistrelRegistryListCollector<si_value_info> {
  public:
    bool EmptyNameIsDefault() override { return true; }

  protected:
    CVistrelRunItemsBase(platform::RegKey rootKey, std::u16string path, bool elevation);

    // Replaces items with the key's string values; failed tells whether the key could not be
    // opened or walked.
    void ReadItems() override;
    std::u16string ItemText(std::size_t index) const override { return items[index].name; }
    std::int32_t ItemDetails(std::size_t index, LineCallback lineCallback, void* context) override;
    // The registry editor at the key, with the entry's value when index is valid.
    void GoToItem(std::int32_t index) override;
    // Deletes exactly the entry's value, its whole counted name.
    bool RemoveItem(std::size_t index, IElevatedHelper* helper) override;
    bool ItemIsEmpty(std::size_t index) const override { return items[index].name.empty(); }
    void ItemPlace(std::size_t index, ItemLocation& location) const override {
        location.isValue = true;
        location.valueName = items[index].name;
    }
};

// The eight run keys, in the order the category shows them.
class CVistrelRunItemCurrentUserRun : public CVistrelRunItemsBase {
  public:
    CVistrelRunItemCurrentUserRun();
    std::int32_t GetNameId() override { return 22302; }
    std::int32_t GetDescriptionId() override { return 22303; }
};

class CVistrelRunItemCurrentUserRunOnce : public CVistrelRunItemsBase {
  public:
    CVistrelRunItemCurrentUserRunOnce();
    std::int32_t GetNameId() override { return 22304; }
    std::int32_t GetDescriptionId() override { return 22305; }
};

class CVistrelRunItemCurrentUserRunOnceEx : public CVistrelRunItemsBase {
  public:
    CVistrelRunItemCurrentUserRunOnceEx();
    std::int32_t GetNameId() override { return 22306; }
    std::int32_t GetDescriptionId() override { return 22307; }
};

class CVistrelRunItemLocalMachineRun : public CVistrelRunItemsBase {
  public:
    CVistrelRunItemLocalMachineRun();
    std::int32_t GetNameId() override { return 22308; }
    std::int32_t GetDescriptionId() override { return 22309; }
};

class CVistrelRunItemLocalMachineRunOnce : public CVistrelRunItemsBase {
  public:
    CVistrelRunItemLocalMachineRunOnce();
    std::int32_t GetNameId() override { return 22310; }
    std::int32_t GetDescriptionId() override { return 22311; }
};

class CVistrelRunItemLocalMachineRunOnceEx : public CVistrelRunItemsBase {
  public:
    CVistrelRunItemLocalMachineRunOnceEx();
    std::int32_t GetNameId() override { return 22312; }
    std::int32_t GetDescriptionId() override { return 22313; }
};

class CVistrelRunItemRunServices : public CVistrelRunItemsBase {
  public:
    CVistrelRunItemRunServices();
    std::int32_t GetNameId() override { return 22314; }
    std::int32_t GetDescriptionId() override { return 22315; }
};

class CVistrelRunItemRunServicesOnce : public CVistrelRunItemsBase {
  public:
    CVistrelRunItemRunServicesOnce();
    std::int32_t GetNameId() override { return 22316; }
    std::int32_t GetDescriptionId() override { return 22317; }
};

// Appends the eight leaves, in order, to a container's children.
void AppendRunItemLeaves(std::vector<CVistrelPlugin*>& children);
