// Shell link files of any shape: reading one never reads outside its bytes, and the path made
// of what was read fits the caller's buffer.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/shell_link_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The input itself, not a copy: its allocation ends where it does, so any read past the end
    // is caught.
    const auto link = platform::ReadShellLink({reinterpret_cast<const char*>(data), size});
    if (!link) return 0;
    if (platform::LinkTargetPath(*link, u"C:\\Links\\a.lnk", 259).size() > 259) __builtin_trap();
    return 0;
}
