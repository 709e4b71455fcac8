// The version block is found in a PE file's resource section, and every damaged structure on the
// way gives no block rather than bytes from outside the image.
#include "platform/pe_version_resource.h"

#include <gtest/gtest.h>

#include <functional>

#include "tests/support/pe_image_builder.h"
#include "tests/support/version_block_builder.h"

namespace {

using namespace testsupport;
using platform::FindVersionResource;

void Put32(std::string& bytes, std::size_t at, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) bytes[at + i] = static_cast<char>(value >> (8 * i) & 0xFF);
}

std::string Block() {
    VersionBlockContents contents;
    contents.fileVersion = {1, 2, 3, 4};
    contents.tables.push_back({0x0409, 0x04B0, {{u"CompanyName", u"Example"}}});
    contents.translations = {{0x0409, 0x04B0}};
    return BuildVersionBlock(contents);
}

TEST(PeVersionResource, FindsTheBlockWhereverTheSectionLies) {
    const std::string block = Block();
    for (std::uint32_t rva : {0x1000u, 0x3000u, 0x7FFF0000u}) {
        SCOPED_TRACE(rva);
        const std::string image = BuildPeImage(block, {rva, 0x200});
        const std::string_view found = FindVersionResource(image);
        EXPECT_EQ(std::string(found), block);
        EXPECT_EQ(found.data(), image.data() + kPeResourcesAt + kPeBlockAt);
    }
}

TEST(PeVersionResource, DamagedStructuresGiveNoBlock) {
    const std::size_t tree = kPeResourcesAt;
    const std::size_t optional = kPeHeaderAt + 24;
    const struct {
        const char* what;
        std::function<void(std::string&)> damage;
    } cases[] = {
        {"not MZ", [](std::string& s) { s[0] = 'X'; }},
        {"PE header beyond the end", [](std::string& s) { Put32(s, 0x3C, 0xFFFFFFF0u); }},
        {"no PE signature", [](std::string& s) { s[kPeHeaderAt] = 'N'; }},
        {"unknown optional magic", [=](std::string& s) { Put32(s, optional, 0x999); }},
        {"too few directories", [=](std::string& s) { Put32(s, optional + 108, 2); }},
        {"optional header too short for the directory",
         [](std::string& s) { s[kPeHeaderAt + 4 + 16] = 100; }},
        {"resource directory empty", [=](std::string& s) { Put32(s, optional + 128, 0); }},
        {"resources in no section", [=](std::string& s) { Put32(s, optional + 128, 0x90000); }},
        {"section raw data beyond the end",
         [](std::string& s) { Put32(s, kPeSectionTableAt + 20, 0x7FFFFFF0u); }},
        {"no version type", [=](std::string& s) { Put32(s, tree + 16, 3); }},
        {"type entry count runs past the end",
         [=](std::string& s) {
             s[tree + 14] = '\xFF', s[tree + 15] = '\xFF';
             Put32(s, tree + 16, 3);
         }},
        {"type leads to data, not a directory", [=](std::string& s) { Put32(s, tree + 20, 0x18); }},
        {"language leads to a directory",
         [=](std::string& s) { Put32(s, tree + 0x30 + 20, 0x80000000u | 0x30); }},
        {"name directory beyond the end",
         [=](std::string& s) { Put32(s, tree + 20, 0x80000000u | 0x7FFFFF00u); }},
        {"block address outside every section",
         [=](std::string& s) { Put32(s, tree + kPeDataEntryAt, 0x100); }},
        {"block size past the end",
         [=](std::string& s) { Put32(s, tree + kPeDataEntryAt + 4, 0xFFFFFF00u); }},
        // Smaller than the file, but one byte past its end from where the block starts.
        {"block one byte past the end",
         [=](std::string& s) {
             Put32(s, tree + kPeDataEntryAt + 4,
                   static_cast<std::uint32_t>(s.size() - tree - kPeBlockAt + 1));
         }},
    };
    const std::string good = BuildPeImage(Block());
    ASSERT_FALSE(FindVersionResource(good).empty());
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::string image = good;
        c.damage(image);
        EXPECT_TRUE(FindVersionResource(image).empty());
    }
}

}  // namespace
