// INI items: the words of the lines of win.ini and system.ini that start programs. They can't
// be removed here; Go to shows where Windows keeps the line, in the registry or in the file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sources/plugin.h"

// One word of a matching line, and the position in keys of the key whose line gave it.
struct si_ini_item {
    std::u16string text;
    std::int32_t keyIndex = 0;
};

class CVistrelINIBase : public CVistrelPlugin {
  public:
    // Reads when refresh or needRead is set; delivers the words. -1 when the section is absent,
    // empty or unreadable.
    std::int32_t EnumerateItems(EntryCallback callback, bool refresh, void* context) override;
    // The details of the file the word names; no line for a bad index.
    std::int32_t GetItemDetails(std::int32_t index, LineCallback lineCallback,
                                void* context) override;
    std::int32_t GetActionCount() override { return 2; }
    // 1 when failed, otherwise 3: there is no Remove.
    std::uint32_t GetActionMask(std::int32_t) override { return failed ? 1 : 3; }
    std::int32_t GetDefaultAction() override { return 1; }
    // -1 and 1: the line's place in the registry editor through the file's mapping, or the file
    // itself when it has none (false). 0 reads again (true). Anything else: false. The flags are
    // never touched.
    bool DoAction(std::int32_t action, std::int32_t index, resultFlags* flags) override;
    // The INI file whose line holds the entry.
    bool GetItemLocation(std::int32_t index, ItemLocation* location) override {
        if (index < 0 || static_cast<std::size_t>(index) >= items.size()) return false;
        location->filePath = fileName;
        return true;
    }

    std::u16string fileName;
    bool needRead = true;
    std::vector<si_ini_item> items;
    const char16_t* section = nullptr;
    std::vector<std::u16string> keys;

  protected:
    CVistrelINIBase(const char16_t* file, const char16_t* sectionName,
                    std::vector<std::u16string> keyNames);

  private:
    void ReadItems();
};

class CVistrelWinINI : public CVistrelINIBase {
  public:
    CVistrelWinINI();
    std::int32_t GetNameId() override { return 22442; }
    std::int32_t GetDescriptionId() override { return 22443; }
};

class CVistrelSysINI : public CVistrelINIBase {
  public:
    CVistrelSysINI();
    std::int32_t GetNameId() override { return 22444; }
    std::int32_t GetDescriptionId() override { return 22445; }
};
