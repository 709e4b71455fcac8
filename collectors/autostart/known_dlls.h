// Known DLLs: the string values of the session manager's "KnownDLLs" key, read as the run keys
// are read. The category only shows them: Refresh and Go to, never Remove.
#pragma once

#include <cstdint>

#include "collectors/autostart/run_items.h"

class CVistrelKnownDLLs : public CVistrelRunItemsBase {
  public:
    CVistrelKnownDLLs();
    std::int32_t GetNameId() override { return 22450; }
    std::int32_t GetDescriptionId() override { return 22451; }

  protected:
    // "DllDirectory" (in any case) names the folder the libraries come from: one path line.
    // Any other value names a library: the file's lines.
    std::int32_t ItemDetails(std::size_t index, LineCallback lineCallback, void* context) override;
    bool OffersRemove() const override { return false; }
};
