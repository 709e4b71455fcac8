// Startup folders: the files from which the shell starts programs at logon, one leaf for the
// user's folder and one for the folder common to all users.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sources/plugin.h"

// Walks the files directly in folder (no sub-folders, no descent), in the file system's order,
// handing each one's full path to callback until it says stop. A folder that can't be read
// looks like an empty one; the result is always true.
bool EnumFolderFiles(const std::u16string& folder,
                     bool (*callback)(const std::u16string& path, void* context), void* context);

class CVistrelStartupItemsBase : public CVistrelPlugin {
  public:
    // Reads when refresh or needRead is set; delivers the full paths. -1 when the folder is
    // unknown.
    std::int32_t EnumerateItems(EntryCallback callback, bool refresh, void* context) override;
    // The file's details (a shortcut is followed); no line for a bad index.
    std::int32_t GetItemDetails(std::int32_t index, LineCallback lineCallback,
                                void* context) override;
    std::int32_t GetActionCount() override { return 3; }
    // 1 when failed; 7 for a valid index (a removed entry too); 3 otherwise.
    std::uint32_t GetActionMask(std::int32_t index) override;
    std::int32_t GetDefaultAction() override { return 1; }
    // -1 and 1 open the folder (false); 0 reads again (true); 2 deletes exactly the entry's file
    // through the helper that NeedsElevation selects and empties the entry, so the other indexes
    // hold. A bad index or an emptied entry: false, flags untouched; no helper or a failed
    // deletion: succeeded cleared, false.
    bool DoAction(std::int32_t action, std::int32_t index, resultFlags* flags) override;
    // The entry's file; nothing for a bad index or a removed entry.
    bool GetItemLocation(std::int32_t index, ItemLocation* location) override {
        if (!IsValidIndex(index) || items[static_cast<std::size_t>(index)].empty()) return false;
        location->filePath = items[static_cast<std::size_t>(index)];
        return true;
    }

    std::u16string folder;  // empty when the lookup failed
    bool needRead = true;
    std::vector<std::u16string> items;  // full paths; a removed entry's text is empty

  protected:
    CVistrelStartupItemsBase(int csidl, bool elevation);

  private:
    void ReadItems();
    bool IsValidIndex(std::int32_t index) const {
        return index >= 0 && static_cast<std::size_t>(index) < items.size();
    }
};

class CVistrelStartupItemsCurrentUser : public CVistrelStartupItemsBase {
  public:
    CVistrelStartupItemsCurrentUser();
    std::int32_t GetNameId() override { return 22332; }
    std::int32_t GetDescriptionId() override { return 22333; }
};

class CVistrelStartupItemsAllUsers : public CVistrelStartupItemsBase {
  public:
    CVistrelStartupItemsAllUsers();
    std::int32_t GetNameId() override { return 22334; }
    std::int32_t GetDescriptionId() override { return 22335; }
};
