// A minimal 64-bit PE image for tests: headers, one resource section whose tree holds a single
// version resource (type 16, id 1, language 0x409) with the given block.
#pragma once

#include <cstdint>
#include <string>

namespace testsupport {

struct PeLayout {
    std::uint32_t sectionRva = 0x1000;  // where the resource section lies in memory
    std::uint32_t fileAlignment = 0x200;
};

// Offsets of the structures in the image BuildPeImage returns, for tests that damage them.
inline constexpr std::size_t kPeHeaderAt = 0x80;
inline constexpr std::size_t kPeSectionTableAt = kPeHeaderAt + 4 + 20 + 240;
inline constexpr std::size_t kPeResourcesAt = 0x200;
// The data entry of the version resource, and the block itself, relative to kPeResourcesAt.
inline constexpr std::size_t kPeDataEntryAt = 0x48;
inline constexpr std::size_t kPeBlockAt = 0x58;

std::string BuildPeImage(const std::string& versionBlock, const PeLayout& layout = {});

}  // namespace testsupport
