// A shell link file for tests: the header, an optional item id list, link info with a local
// path, the relative path and arguments as Unicode counted strings, and the block that keeps
// the target as written.
#pragma once

#include <string>

namespace testsupport {

struct ShellLinkParts {
    std::string idList;                // its bytes; empty: none
    std::string localBasePath;         // ANSI; empty: no link info
    std::u16string relativePath;       // empty: left out
    std::u16string arguments;          // empty: left out
    std::u16string environmentTarget;  // empty: no block
};

// Where the link info starts when there is no item id list.
inline constexpr std::size_t kShellLinkInfoAt = 0x4C;

std::string BuildShellLink(const ShellLinkParts& parts);

}  // namespace testsupport
