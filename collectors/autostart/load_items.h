// Load items: values that hold a whole list of programs or libraries in one string, split on
// blanks and commas. One entry is one token; Remove rewrites the value without it.
#pragma once

#include <cstdint>
#include <string>

#include "collectors/registry_collector.h"
#include "tools/value_lists.h"

// An entry is a token with the delimiters that followed it in the value; a removed entry's text
// becomes empty and keeps its place.
class CVistrelLoadItemsValueBase : public CVistrelRegistryListCollector<ValueListToken> {
  public:
    // Refresh reads the list again but leaves failed as it was.
    bool DoAction(std::int32_t action, std::int32_t index, resultFlags* flags) override;

    std::u16string valueName;

  protected:
    CVistrelLoadItemsValueBase(platform::RegKey rootKey, std::u16string path, std::u16string value,
                               bool elevation);

    // Replaces items with the tokens of the value's text, whatever its type; failed when the
    // key can't be opened or the value can't be read whole. No token is no failure.
    void ReadItems() override;
    std::u16string ItemText(std::size_t index) const override { return items[index].text; }
    std::int32_t ItemDetails(std::size_t index, LineCallback lineCallback, void* context) override;
    // The value that holds the list, for an entry; the key for the category.
    void GoToItem(std::int32_t index) override;
    // Writes the other entries joined by ", " as REG_SZ. Refused, with the value left as it is,
    // when two entries that would stand side by side were separated by blanks alone: they may
    // be one path with a blank, which the comma would cut in two.
    bool RemoveItem(std::size_t index, IElevatedHelper* helper) override;
    bool ItemIsEmpty(std::size_t index) const override { return items[index].text.empty(); }
    // Every entry is one item of the same value's list.
    void ItemPlace(std::size_t, ItemLocation& location) const override {
        location.isValue = true;
        location.valueName = valueName;
    }
};

// The programs that logon runs; listed and shown, never rewritten.
class CVistrelLoadItemUserInit : public CVistrelLoadItemsValueBase {
  public:
    CVistrelLoadItemUserInit();
    std::int32_t GetNameId() override { return 22352; }
    std::int32_t GetDescriptionId() override { return 22353; }
    // Refresh and Go to only (Refresh alone after a failed read).
    std::uint32_t GetActionMask(std::int32_t index) override;
    // Remove is never carried out: false with the flags untouched, as for an unknown action.
    bool DoAction(std::int32_t action, std::int32_t index, resultFlags* flags) override;
};

class CVistrelLoadItemCUShell : public CVistrelLoadItemsValueBase {
  public:
    CVistrelLoadItemCUShell();
    std::int32_t GetNameId() override { return 22354; }
    std::int32_t GetDescriptionId() override { return 22355; }
};

class CVistrelLoadItemLMShell : public CVistrelLoadItemsValueBase {
  public:
    CVistrelLoadItemLMShell();
    std::int32_t GetNameId() override { return 22356; }
    std::int32_t GetDescriptionId() override { return 22357; }
};

class CVistrelLoadItemAppInitDLLs : public CVistrelLoadItemsValueBase {
  public:
    CVistrelLoadItemAppInitDLLs();
    std::int32_t GetNameId() override { return 22358; }
    std::int32_t GetDescriptionId() override { return 22359; }
};
