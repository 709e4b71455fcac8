// The library's one export. vistrel.def names it, which keeps every other symbol out of the
// export table.
#include <cstdint>

#include "frame/plugin_entry.h"

extern "C" std::uint64_t process_data(std::uint32_t command, std::uintptr_t argument) {
    return ProcessData(command, argument);
}
