// The hosts file: the lines that tie a host name to an address. The category only looks; Go to
// opens the file in the text editor.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sources/plugin.h"

struct si_host_entry {
    std::u16string address;  // the line's first word, unchecked
    std::u16string host;     // the line's second word, never empty
};

class CVistrelHosts : public CVistrelPlugin {
  public:
    CVistrelHosts();
    std::int32_t GetNameId() override { return 22460; }
    std::int32_t GetDescriptionId() override { return 22461; }
    // Reads when refresh or needRead is set and sets failed from the read; delivers the host
    // names. -1 when the file is unknown or can't be read.
    std::int32_t EnumerateItems(EntryCallback callback, bool refresh, void* context) override;
    // Two lines, address and host; no line for a bad index. No file is looked at.
    std::int32_t GetItemDetails(std::int32_t index, LineCallback lineCallback,
                                void* context) override;
    std::int32_t GetActionCount() override { return 2; }
    std::uint32_t GetActionMask(std::int32_t) override { return failed ? 1 : 3; }
    std::int32_t GetDefaultAction() override { return 1; }
    // -1 and 1 open the file in the text editor (false); 0 reads again and leaves failed as it
    // was (true); anything else false. Index and flags are not used.
    bool DoAction(std::int32_t action, std::int32_t index, resultFlags* flags) override;
    // Every entry lives in the hosts file.
    bool GetItemLocation(std::int32_t index, ItemLocation* location) override {
        if (index < 0 || static_cast<std::size_t>(index) >= items.size()) return false;
        location->filePath = hostsPath;
        return true;
    }

    // Replaces items with the file's entries. False when the file is unknown or can't be read.
    bool EnumerateHostEntries();

    std::u16string hostsPath;  // empty when the system folder's lookup failed
    bool needRead = true;
    std::vector<si_host_entry> items;
};

inline constexpr std::int32_t kHostsTextAddress = 22219;  // IDS_VISTREL_IP
inline constexpr std::int32_t kHostsTextHost = 22220;     // IDS_VISTREL_HOST
