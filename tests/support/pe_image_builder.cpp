#include "tests/support/pe_image_builder.h"

namespace testsupport {
namespace {
void Put(std::string& bytes, std::size_t at, std::uint32_t value, int width) {
    for (int i = 0; i < width; ++i) bytes[at + i] = static_cast<char>(value >> (8 * i) & 0xFF);
}
}  // namespace

std::string BuildPeImage(const std::string& block, const PeLayout& layout) {
    // The resource tree: three directories of one entry each, the data entry, then the block.
    std::string tree(kPeBlockAt, '\0');
    const auto directory = [&tree](std::size_t at, std::uint32_t id, std::uint32_t target) {
        Put(tree, at + 14, 1, 2);  // one id entry
        Put(tree, at + 16, id, 4);
        Put(tree, at + 20, target, 4);
    };
    directory(0x00, 16, 0x80000000u | 0x18);
    directory(0x18, 1, 0x80000000u | 0x30);
    directory(0x30, 0x409, kPeDataEntryAt);
    Put(tree, kPeDataEntryAt, layout.sectionRva + kPeBlockAt, 4);
    Put(tree, kPeDataEntryAt + 4, static_cast<std::uint32_t>(block.size()), 4);
    tree += block;
    const std::size_t raw =
        (tree.size() + layout.fileAlignment - 1) / layout.fileAlignment * layout.fileAlignment;
    tree.resize(raw, '\0');

    std::string image(kPeResourcesAt, '\0');
    image[0] = 'M';
    image[1] = 'Z';
    Put(image, 0x3C, kPeHeaderAt, 4);
    image.replace(kPeHeaderAt, 4, std::string("PE\0\0", 4));
    const std::size_t coff = kPeHeaderAt + 4;
    Put(image, coff, 0x8664, 2);
    Put(image, coff + 2, 1, 2);     // one section
    Put(image, coff + 16, 240, 2);  // optional header of a 64-bit image with 16 directories
    Put(image, coff + 18, 0x2022, 2);
    const std::size_t optional = coff + 20;
    Put(image, optional, 0x20B, 2);
    Put(image, optional + 36, layout.fileAlignment, 4);
    Put(image, optional + 108, 16, 4);
    Put(image, optional + 112 + 8 * 2, layout.sectionRva, 4);
    Put(image, optional + 112 + 8 * 2 + 4, static_cast<std::uint32_t>(raw), 4);
    const std::size_t section = kPeSectionTableAt;
    image.replace(section, 5, ".rsrc");
    Put(image, section + 8, static_cast<std::uint32_t>(raw), 4);
    Put(image, section + 12, layout.sectionRva, 4);
    Put(image, section + 16, static_cast<std::uint32_t>(raw), 4);
    Put(image, section + 20, kPeResourcesAt, 4);
    return image + tree;
}

}  // namespace testsupport
