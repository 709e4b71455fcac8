// The host's commands, behind the export process_data.
#pragma once

#include <cstdint>

// Runs one host command (see include/vistrel/host.h); unknown commands give 0 and change
// nothing. Called on the host's user-interface thread only.
std::uint64_t ProcessData(std::uint32_t command, std::uintptr_t argument);
