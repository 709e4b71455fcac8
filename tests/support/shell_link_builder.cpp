#include "tests/support/shell_link_builder.h"

#include <cstdint>

namespace testsupport {
namespace {

void Put(std::string& out, std::uint32_t value, int width) {
    for (int i = 0; i < width; ++i) out += static_cast<char>(value >> (8 * i) & 0xFF);
}

void PutCounted(std::string& out, const std::u16string& text) {
    if (text.empty()) return;
    Put(out, static_cast<std::uint32_t>(text.size()), 2);
    for (char16_t c : text) Put(out, c, 2);
}

}  // namespace

std::string BuildShellLink(const ShellLinkParts& parts) {
    const std::uint32_t flags =
        0x80 | (parts.idList.empty() ? 0 : 0x1) | (parts.localBasePath.empty() ? 0 : 0x2) |
        (parts.relativePath.empty() ? 0 : 0x8) | (parts.arguments.empty() ? 0 : 0x20) |
        (parts.environmentTarget.empty() ? 0 : 0x200);
    std::string out;
    Put(out, 0x4C, 4);
    out += std::string("\x01\x14\x02\0\0\0\0\0\xC0\0\0\0\0\0\0\x46", 16);
    Put(out, flags, 4);
    out.resize(0x4C, '\0');
    if (!parts.idList.empty()) {
        Put(out, static_cast<std::uint32_t>(parts.idList.size()), 2);
        out += parts.idList;
    }
    if (!parts.localBasePath.empty()) {
        // A fixed disk's volume id without a label, then the path and an empty suffix.
        const std::string volume("\x11\0\0\0\x03\0\0\0\0\0\0\0\x10\0\0\0\0", 17);
        const auto local = static_cast<std::uint32_t>(0x1C + volume.size());
        const auto suffix = static_cast<std::uint32_t>(local + parts.localBasePath.size() + 1);
        for (std::uint32_t field : {suffix + 1, 0x1Cu, 1u, 0x1Cu, local, 0u, suffix})
            Put(out, field, 4);
        out += volume + parts.localBasePath + std::string(2, '\0');
    }
    PutCounted(out, parts.relativePath);
    PutCounted(out, parts.arguments);
    if (!parts.environmentTarget.empty()) {
        Put(out, 0x314, 4);
        Put(out, 0xA0000001u, 4);
        std::string ansi(260, '\0'), wide(520, '\0');
        for (std::size_t i = 0; i < parts.environmentTarget.size() && i < 259; ++i) {
            ansi[i] = static_cast<char>(parts.environmentTarget[i]);
            wide[2 * i] = static_cast<char>(parts.environmentTarget[i] & 0xFF);
            wide[2 * i + 1] = static_cast<char>(parts.environmentTarget[i] >> 8);
        }
        out += ansi + wide;
    }
    Put(out, 0, 4);
    return out;
}

}  // namespace testsupport
