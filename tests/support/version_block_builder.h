// Builds VS_VERSIONINFO blocks for tests, laid out as resource compilers lay them out: a fixed
// file info, string tables per language and code page, and a translation table or none at all.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace testsupport {

struct VersionStringTable {
    std::uint16_t language = 0x0409;
    std::uint16_t codePage = 0x04B0;
    // Name and text, in the order they are written.
    std::vector<std::pair<std::u16string, std::u16string>> strings;
};

struct VersionBlockContents {
    std::array<std::uint16_t, 4> fileVersion{0, 0, 0, 0};     // most significant first
    std::array<std::uint16_t, 4> productVersion{0, 0, 0, 0};  // most significant first
    std::uint32_t fileFlagsMask = 0x3F;
    std::uint32_t fileFlags = 0;
    std::uint32_t fileOs = 0x00040004;  // VOS_NT_WINDOWS32
    std::uint32_t fileType = 1;         // VFT_APP
    std::uint32_t fileSubtype = 0;
    std::vector<VersionStringTable> tables;
    // Written as "\VarFileInfo\Translation" when withTranslations is set, even if empty.
    bool withTranslations = true;
    std::vector<std::pair<std::uint16_t, std::uint16_t>> translations;
};

// The whole block; its first word is its length.
std::string BuildVersionBlock(const VersionBlockContents& contents);

}  // namespace testsupport
