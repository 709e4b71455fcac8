// Services and drivers as the registry holds them, read without the service control manager:
// every sub-key of the services key with an image of the wanted type is one entry.
#pragma once

#include <cstdint>
#include <string>

#include "collectors/registry_collector.h"

// One service. start is -1 when "Start" is absent or not a DWORD; displayName is empty when
// "DisplayName" is absent, too long or not plain REG_SZ. Texts end at their first NUL.
struct si_service_info {
    std::int32_t start = -1;
    std::uint32_t type = 0;
    std::u16string keyPath;  // relative to the root: the services key, "\", the sub-key's name
    std::u16string displayName;
    std::u16string imagePath;  // as stored: prefixes, variables and arguments stay
};

class CVistrelServices_Base : public CVistrelRegistryListCollector<si_service_info> {
  public:
    // A service is taken when its "Type" shares a bit with this mask.
    std::uint32_t typeMask;

  protected:
    explicit CVistrelServices_Base(std::uint32_t mask);

    // Replaces items with the services whose "ImagePath" is a string and whose "Type" is a
    // DWORD that meets typeMask; failed only when the services key can't be opened. A sub-key
    // whose name the NUL-terminated calls can't reach exactly is left out.
    void ReadItems() override;
    // The display name, or the image path when there is none.
    std::u16string ItemText(std::size_t index) const override;
    // The start mode line, then the image file's lines.
    std::int32_t ItemDetails(std::size_t index, LineCallback lineCallback, void* context) override;
    // The service's own key; the services key for the category.
    void GoToItem(std::int32_t index) override;
    // Deletes the service's key with its whole subtree; the image file stays.
    bool RemoveItem(std::size_t index, IElevatedHelper* helper) override;
    bool ItemIsEmpty(std::size_t index) const override { return items[index].keyPath.empty(); }
    void ItemPlace(std::size_t index, ItemLocation& location) const override {
        location.keyPath = items[index].keyPath;
    }

  private:
    static bool CollectService(platform::RegKey root, std::u16string_view path, void* context);
};

// Services that run as processes of their own or shared ones.
class CVistrelServices_Process : public CVistrelServices_Base {
  public:
    CVistrelServices_Process();
    std::int32_t GetNameId() override { return 22475; }
    std::int32_t GetDescriptionId() override { return 22477; }
};

// Kernel, file system and recognizer drivers.
class CVistrelServices_Driver : public CVistrelServices_Base {
  public:
    CVistrelServices_Driver();
    std::int32_t GetNameId() override { return 22474; }
    std::int32_t GetDescriptionId() override { return 22476; }
};
