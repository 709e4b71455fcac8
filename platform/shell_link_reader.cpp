// Walks a link's structures in the order the file lays them out: the header, the item id list
// (skipped: only a running shell can turn it into a path), the link info, the counted strings,
// then the extra blocks.
#include "platform/shell_link_reader.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "platform/untrusted_bytes.h"

namespace platform {
namespace {

constexpr std::uint32_t kHeaderSize = 0x4C;
constexpr char kLinkClassId[] = "\x01\x14\x02\x00\x00\x00\x00\x00\xC0\x00\x00\x00\x00\x00\x00\x46";

// Link flags: which optional structures follow the header, and how their text is kept.
constexpr std::uint32_t kHasIdList = 0x1;
constexpr std::uint32_t kHasLinkInfo = 0x2;
constexpr std::uint32_t kHasName = 0x4;
constexpr std::uint32_t kHasRelativePath = 0x8;
constexpr std::uint32_t kHasWorkingDir = 0x10;
constexpr std::uint32_t kHasArguments = 0x20;
constexpr std::uint32_t kHasIconLocation = 0x40;
constexpr std::uint32_t kIsUnicode = 0x80;
constexpr std::uint32_t kForceNoLinkInfo = 0x100;
constexpr std::uint32_t kHasExpString = 0x200;

// The link info: its fixed header, and where the local and the network parts are.
constexpr std::uint32_t kLinkInfoHeaderSize = 0x1C;
// From this header size on, the offsets of Unicode copies of the paths follow.
constexpr std::uint32_t kLinkInfoUnicodeHeaderSize = 0x24;
constexpr std::uint32_t kVolumeIdAndLocalBasePath = 0x1;

// The block that keeps the target as written, in a 260-byte ANSI and a 520-byte Unicode field.
constexpr std::uint32_t kEnvironmentSignature = 0xA0000001u;
constexpr std::uint32_t kEnvironmentBlockSize = 0x314;
constexpr std::size_t kEnvironmentAnsiBytes = 260;
constexpr std::size_t kEnvironmentUnicodeBytes = 520;

using bytes::Read16;
using bytes::Read32;

// Text up to its first NUL, as the link object hands it out; an odd last byte is no character.
std::u16string FromAnsi(std::string_view bytes) {
    std::u16string text;
    for (unsigned char c : bytes) {
        if (c == 0) break;
        text.push_back(bytes::FromCp1252(c));
    }
    return text;
}
std::u16string FromUtf16(std::string_view bytes) {
    std::u16string text;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const auto c = static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                             static_cast<unsigned char>(bytes[i + 1]) << 8);
        if (c == 0) break;
        text.push_back(c);
    }
    return text;
}

// A NUL-terminated text at an offset of a structure; its terminator must lie within it too.
std::optional<std::u16string> TerminatedText(std::string_view bytes, std::uint64_t at, bool wide) {
    if (at >= bytes.size()) return std::nullopt;
    const std::string_view rest = bytes.substr(static_cast<std::size_t>(at));
    if (!wide) {
        if (rest.find('\0') == std::string_view::npos) return std::nullopt;
        return FromAnsi(rest);
    }
    for (std::size_t i = 0; i + 1 < rest.size(); i += 2)
        if (rest[i] == 0 && rest[i + 1] == 0) return FromUtf16(rest);
    return std::nullopt;
}

// The link info's local path: the base path, then the common suffix. A target on a share
// has no local path; the relative path leads to it.
std::optional<std::u16string> LinkInfoPath(std::string_view info) {
    const auto headerSize = Read32(info, 4);
    const auto flags = Read32(info, 8);
    const auto localOffset = Read32(info, 16);
    const auto suffixOffset = Read32(info, 24);
    if (!headerSize || !flags || !localOffset || !suffixOffset ||
        *headerSize < kLinkInfoHeaderSize || *headerSize > info.size())
        return std::nullopt;
    // A Unicode copy's offset of 0 would point at the structure's own size: there is none.
    const bool unicode = *headerSize >= kLinkInfoUnicodeHeaderSize;
    const std::uint32_t wideLocal = unicode ? *Read32(info, 28) : 0;
    const std::uint32_t wideSuffix = unicode ? *Read32(info, 32) : 0;
    if (!(*flags & kVolumeIdAndLocalBasePath)) return u"";
    std::optional<std::u16string> base = wideLocal != 0 ? TerminatedText(info, wideLocal, true)
                                                        : TerminatedText(info, *localOffset, false);
    const std::optional<std::u16string> suffix = wideSuffix != 0
                                                     ? TerminatedText(info, wideSuffix, true)
                                                     : TerminatedText(info, *suffixOffset, false);
    if (!base || !suffix) return std::nullopt;
    if (!base->empty() && !suffix->empty() && base->back() != u'\\') *base += u'\\';
    return *base + *suffix;
}

// Steps of a path between backslashes (or slashes), without the empty ones.
void AddSteps(std::u16string_view path, std::vector<std::u16string_view>* steps) {
    while (!path.empty()) {
        const std::size_t cut = std::min(path.find_first_of(u"\\/"), path.size());
        const std::u16string_view step = path.substr(0, cut);
        path.remove_prefix(std::min(cut + 1, path.size()));
        if (step.empty() || step == u".") continue;
        // The first step, the drive, is never left.
        if (step == u"..") {
            if (steps->size() > 1) steps->pop_back();
            continue;
        }
        steps->push_back(step);
    }
}

}  // namespace

std::optional<ShellLinkData> ReadShellLink(std::string_view bytes) {
    if (bytes.size() < kHeaderSize || Read32(bytes, 0) != kHeaderSize ||
        bytes.substr(4, 16) != std::string_view(kLinkClassId, 16))
        return std::nullopt;
    const std::uint32_t flags = *Read32(bytes, 20);
    std::uint64_t at = kHeaderSize;
    if (flags & kHasIdList) {
        const auto size = Read16(bytes, at);
        if (!size || *size > bytes.size() - at - 2) return std::nullopt;
        at += 2 + *size;
    }
    ShellLinkData link;
    if (flags & kHasLinkInfo) {
        const auto size = Read32(bytes, at);
        if (!size || *size < kLinkInfoHeaderSize || *size > bytes.size() - at) return std::nullopt;
        if (!(flags & kForceNoLinkInfo)) {
            auto path = LinkInfoPath(bytes.substr(static_cast<std::size_t>(at), *size));
            if (!path) return std::nullopt;
            link.basePath = std::move(*path);
        }
        at += *size;
    }
    const bool wide = (flags & kIsUnicode) != 0;
    std::u16string unused;
    const std::pair<std::uint32_t, std::u16string*> strings[] = {
        {kHasName, &unused},
        {kHasRelativePath, &link.relativePath},
        {kHasWorkingDir, &link.workingDirectory},
        {kHasArguments, &link.arguments},
        {kHasIconLocation, &unused}};
    for (const auto& [flag, text] : strings) {
        if (!(flags & flag)) continue;
        const auto count = Read16(bytes, at);
        if (!count) return std::nullopt;
        at += 2;
        const std::uint64_t length = std::uint64_t{*count} * (wide ? 2 : 1);
        if (length > bytes.size() - at) return std::nullopt;
        const std::string_view stored = bytes.substr(static_cast<std::size_t>(at), length);
        *text = wide ? FromUtf16(stored) : FromAnsi(stored);
        at += length;
    }
    // Each extra block holds at least its size and signature and is skipped as a whole; a
    // smaller size ends the list (the terminal block), and so does one that runs past the end.
    while (const auto size = Read32(bytes, at)) {
        if (*size < 8 || *size > bytes.size() - at) break;
        const std::string_view block = bytes.substr(static_cast<std::size_t>(at), *size);
        if ((flags & kHasExpString) && *size >= kEnvironmentBlockSize &&
            Read32(block, 4) == kEnvironmentSignature) {
            link.environmentTarget =
                FromUtf16(block.substr(8 + kEnvironmentAnsiBytes, kEnvironmentUnicodeBytes));
            if (link.environmentTarget.empty())
                link.environmentTarget = FromAnsi(block.substr(8, kEnvironmentAnsiBytes));
        }
        at += *size;
    }
    return link;
}

std::u16string LinkTargetPath(const ShellLinkData& link, std::u16string_view linkPath,
                              std::size_t maxChars) {
    std::u16string path = link.environmentTarget.empty() ? link.basePath : link.environmentTarget;
    if (path.empty() && !link.relativePath.empty()) {
        std::vector<std::u16string_view> steps;
        const std::u16string_view relative = link.relativePath;
        if (relative.size() < 2 || relative[1] != u':')
            AddSteps(linkPath.substr(0, linkPath.find_last_of(u"\\/") + 1), &steps);
        AddSteps(relative, &steps);
        for (std::size_t i = 0; i < steps.size(); ++i) {
            if (i > 0) path += u'\\';
            path += steps[i];
        }
    }
    path.resize(std::min(path.size(), maxChars));
    return path;
}

}  // namespace platform
