// A shell link file for tests: the header, an item id list, link info with an ANSI local path,
// the relative path as a Unicode counted string, and the block that keeps the target as
// written; each part left out when empty.
#pragma once

#include <cstdint>
#include <string>

namespace testsupport {

inline void PutLinkField(std::string& out, std::uint64_t value, int width) {
    for (int i = 0; i < width; ++i) out += static_cast<char>(value >> (8 * i) & 0xFF);
}

inline std::string BuildShellLink(const std::string& localPath, const std::u16string& relative = {},
                                  const std::u16string& asWritten = {},
                                  const std::string& idList = {}) {
    std::string out("\x4C\0\0\0\x01\x14\x02\0\0\0\0\0\xC0\0\0\0\0\0\0\x46", 20);
    PutLinkField(out,
                 0x80 | (idList.empty() ? 0 : 0x1) | (localPath.empty() ? 0 : 0x2) |
                     (relative.empty() ? 0 : 0x8) | (asWritten.empty() ? 0 : 0x200),
                 4);
    out.resize(0x4C, '\0');
    if (!idList.empty()) PutLinkField(out, idList.size(), 2);
    out += idList;
    if (!localPath.empty()) {
        // A fixed disk's volume id without a label, then the path and an empty suffix.
        const std::string volume("\x11\0\0\0\x03\0\0\0\0\0\0\0\x10\0\0\0\0", 17);
        const auto local = static_cast<std::uint32_t>(0x1C + volume.size());
        const auto suffix = static_cast<std::uint32_t>(local + localPath.size() + 1);
        for (std::uint32_t field : {suffix + 1, 0x1Cu, 1u, 0x1Cu, local, 0u, suffix})
            PutLinkField(out, field, 4);
        out += volume + localPath + std::string(2, '\0');
    }
    if (!relative.empty()) PutLinkField(out, relative.size(), 2);
    for (char16_t c : relative) PutLinkField(out, c, 2);
    if (!asWritten.empty()) {
        PutLinkField(out, 0xA0000001'00000314ull, 8);
        std::string wide;
        for (char16_t c : asWritten) PutLinkField(wide, c, 2);
        out += std::string(260, '\0') + wide + std::string(520 - wide.size(), '\0');
    }
    PutLinkField(out, 0, 4);
    return out;
}

}  // namespace testsupport
