// Run items: the values of the registry keys from which Windows starts programs at logon and at
// boot, one leaf per key. CVistrelRunItemsBase is also the pattern every registry collector
// follows: the read cycle, delivery, the mask rule and the action order.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/types.h"
#include "sources/plugin.h"

// One listed value: its name (empty for the key's default value) and its data up to the first
// NUL, as stored: variables unexpanded, arguments not split off.
struct si_value_info {
    std::u16string name;
    std::u16string data;
};

class CVistrelRunItemsBase : public CVistrelPlugin {
  public:
    ~CVistrelRunItemsBase() override = default;

    const char16_t* GetName() override { return nullptr; }
    bool IsProcessList() override { return false; }
    std::int32_t EnumerateItems(EntryCallback callback, bool refresh, void* context) override;
    std::int32_t GetItemDetails(std::int32_t index, LineCallback lineCallback,
                                void* context) override;
    std::int32_t GetActionCount() override { return 3; }
    std::int32_t GetActionTextId(std::int32_t action) override;
    std::uint32_t GetActionMask(std::int32_t index) override;
    std::int32_t GetDefaultAction() override { return kActionGoTo; }
    bool DoAction(std::int32_t action, std::int32_t index, resultFlags* flags) override;
    bool EmptyNameIsDefault() override { return true; }

    static constexpr std::int32_t kActionRefresh = 0;
    static constexpr std::int32_t kActionGoTo = 1;
    static constexpr std::int32_t kActionRemove = 2;

    platform::RegKey root = nullptr;
    std::u16string keyPath;
    bool needRead = true;
    std::vector<si_value_info> items;

  protected:
    CVistrelRunItemsBase(platform::RegKey rootKey, std::u16string path, bool elevation);

    // The read cycle: replaces items with the key's string values; failed tells whether the
    // key could not be opened or walked.
    void ReadItems();
    bool IsValidIndex(std::int32_t index) const;
    // Go to: the registry editor at the key, with the entry's value when index is valid.
    void GoToEntry(std::int32_t index);
    // Remove: deletes exactly the entry's value through the helper the source's elevation
    // selects. Leaves items as they are, so the other entries keep their indexes.
    bool RemoveEntry(std::int32_t index, resultFlags* flags);
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
