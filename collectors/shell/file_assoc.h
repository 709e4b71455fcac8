// File associations: the commands that Windows runs to open a file of an executable class. A
// hijacked command runs its program in front of every program the user starts; Restore writes
// the command that such a class holds by default.
#pragma once

#include <cstdint>
#include <string>

#include "collectors/registry_collector.h"
#include "platform/types.h"
#include "tools/regedit_navigation.h"

// One readable "shell\open\command" key of a class.
struct si_assoc_info {
    platform::RegKey root = nullptr;  // HKEY_CLASSES_ROOT or HKEY_LOCAL_MACHINE
    std::u16string keyPath;           // below root
    std::u16string command;           // the key's default value as text, up to its first NUL
};

// The command an executable class holds by default: the file itself with its arguments.
inline constexpr char16_t kDefaultOpenCommand[] = u"\"%1\" %*";

// Each entry carries its own root and key, so the collector's own root and keyPath stay empty.
// Reading never fails as a whole: a key that can't be read is no entry. The actions are
// Refresh (0), Go to (1) and Restore (3), which the third button shown runs; a valid entry
// offers all three, the category itself and any other index Refresh alone.
class CVistrelFileAssoc : public CVistrelRegistryListCollector<si_assoc_info> {
  public:
    CVistrelFileAssoc();
    std::int32_t GetNameId() override { return 22371; }
    std::int32_t GetDescriptionId() override { return 22372; }
    std::int32_t GetActionCount() override { return 4; }
    std::int32_t GetActionTextId(std::int32_t position) override;
    std::uint32_t GetActionMask(std::int32_t index) override;
    // Restore of a valid entry writes the default command as the key's REG_SZ default value,
    // through the raised-rights helper, and asks for a new population; the key must still
    // exist (it is never created). Failure clears succeeded and changes nothing. Other actions
    // as the base, with no Remove.
    bool DoAction(std::int32_t action, std::int32_t index, resultFlags* flags) override;

    static constexpr std::int32_t kActionRestore = 3;

  protected:
    void ReadItems() override;
    // The bare path: the same class may stand twice, once under each root.
    std::u16string ItemText(std::size_t index) const override { return items[index].keyPath; }
    // The key with its root's name, the current and the default command.
    std::int32_t ItemDetails(std::size_t index, LineCallback lineCallback, void* context) override;
    // Only an entry has a key to go to.
    void GoToItem(std::int32_t index) override;
    bool RemoveItem(std::size_t, IElevatedHelper*) override { return false; }
    bool ItemIsEmpty(std::size_t) const override { return false; }
    void ItemPlace(std::size_t index, ItemLocation& location) const override {
        location.root = RegistryRootName(items[index].root);
        location.keyPath = items[index].keyPath;
    }
    bool OffersRemove() const override { return false; }
};
