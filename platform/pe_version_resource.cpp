// Reads the PE headers and the resource directory just far enough to find the version block.
#include "platform/pe_version_resource.h"

#include <cstdint>
#include <optional>

#include "platform/untrusted_bytes.h"

namespace platform {
namespace {

constexpr std::uint32_t kResourceDirectoryIndex = 2;
constexpr std::uint32_t kVersionResourceType = 16;
constexpr std::uint32_t kSubdirectoryFlag = 0x80000000u;

using bytes::Read16;
using bytes::Read32;

struct Section {
    std::uint32_t virtualAddress = 0;
    std::uint32_t virtualSize = 0;
    std::uint32_t rawSize = 0;
    std::uint32_t rawOffset = 0;
};

// Where a relative virtual address lies in the file, given the section table; nullopt when no
// section holds it in its raw data.
std::optional<std::uint64_t> FileOffset(std::string_view image, std::uint64_t sections,
                                        std::uint32_t count, std::uint32_t rva) {
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint64_t at = sections + 40ull * i;
        const auto va = Read32(image, at + 12);
        const auto raw = Read32(image, at + 16);
        const auto offset = Read32(image, at + 20);
        if (!va || !raw || !offset) return std::nullopt;
        if (rva >= *va && rva - *va < *raw) return std::uint64_t{*offset} + (rva - *va);
    }
    return std::nullopt;
}

// The entry of one resource directory level: the one with the given id, or the first one when
// id is empty. Answers the entry's offset field.
std::optional<std::uint32_t> DirectoryEntry(std::string_view tree, std::uint64_t directory,
                                            std::optional<std::uint32_t> id) {
    const auto named = Read16(tree, directory + 12);
    const auto ids = Read16(tree, directory + 14);
    if (!named || !ids) return std::nullopt;
    const std::uint32_t total = *named + *ids;
    for (std::uint32_t i = 0; i < total; ++i) {
        const std::uint64_t entry = directory + 16 + 8ull * i;
        const auto name = Read32(tree, entry);
        const auto offset = Read32(tree, entry + 4);
        if (!name || !offset) return std::nullopt;
        if (!id || (!(*name & kSubdirectoryFlag) && *name == *id)) return offset;
    }
    return std::nullopt;
}

}  // namespace

std::string_view FindVersionResource(std::string_view image) {
    if (image.size() < 64 || image[0] != 'M' || image[1] != 'Z') return {};
    const auto peAt = Read32(image, 0x3C);
    if (!peAt || *peAt > image.size() || image.substr(*peAt, 4) != std::string_view("PE\0\0", 4))
        return {};
    const std::uint64_t coff = std::uint64_t{*peAt} + 4;
    const auto sectionCount = Read16(image, coff + 2);
    const auto optionalSize = Read16(image, coff + 16);
    const std::uint64_t optional = coff + 20;
    const auto magic = Read16(image, optional);
    if (!sectionCount || !optionalSize || !magic) return {};
    // The data directories follow the fields that differ between 32- and 64-bit images.
    std::uint64_t directoryCountAt = 0;
    if (*magic == 0x10B)
        directoryCountAt = optional + 92;
    else if (*magic == 0x20B)
        directoryCountAt = optional + 108;
    else
        return {};
    const auto directoryCount = Read32(image, directoryCountAt);
    if (!directoryCount || *directoryCount <= kResourceDirectoryIndex) return {};
    const std::uint64_t directoryAt = directoryCountAt + 4 + 8 * kResourceDirectoryIndex;
    if (directoryAt + 8 > optional + *optionalSize) return {};
    const auto resourceRva = Read32(image, directoryAt);
    if (!resourceRva || *resourceRva == 0) return {};
    const std::uint64_t sections = optional + *optionalSize;
    const auto treeAt = FileOffset(image, sections, *sectionCount, *resourceRva);
    if (!treeAt || *treeAt >= image.size()) return {};
    // Offsets inside the tree count from its start; only the data entry holds an address.
    const std::string_view tree = image.substr(static_cast<std::size_t>(*treeAt));

    std::uint64_t directory = 0;
    const std::optional<std::uint32_t> wanted[] = {kVersionResourceType, std::nullopt,
                                                   std::nullopt};
    for (int level = 0; level < 3; ++level) {
        const auto offset = DirectoryEntry(tree, directory, wanted[level]);
        if (!offset) return {};
        const bool subdirectory = (*offset & kSubdirectoryFlag) != 0;
        // The first two levels lead to directories, the last one to the data entry.
        if (subdirectory != (level < 2)) return {};
        directory = *offset & ~kSubdirectoryFlag;
    }
    const auto dataRva = Read32(tree, directory);
    const auto dataSize = Read32(tree, directory + 4);
    if (!dataRva || !dataSize) return {};
    const auto dataAt = FileOffset(image, sections, *sectionCount, *dataRva);
    if (!dataAt || *dataAt > image.size() || image.size() - *dataAt < *dataSize) return {};
    return image.substr(static_cast<std::size_t>(*dataAt), *dataSize);
}

}  // namespace platform
