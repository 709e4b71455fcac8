// The host's screenshot encoder: checksums against known values and a stream that a reader of
// stored deflate blocks turns back into the rows.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "host/png_writer.h"

namespace {

std::uint32_t Big32(const std::vector<std::uint8_t>& bytes, std::size_t at) {
    return (std::uint32_t{bytes[at]} << 24) | (std::uint32_t{bytes[at + 1]} << 16) |
           (std::uint32_t{bytes[at + 2]} << 8) | bytes[at + 3];
}

TEST(HostPngTest, ChecksumsMatchKnownValues) {
    const std::string text = "Wikipedia";
    const auto* data = reinterpret_cast<const std::uint8_t*>(text.data());
    EXPECT_EQ(hostpng::Adler32(data, text.size()), 0x11E60398u);
    const std::string check = "123456789";
    EXPECT_EQ(hostpng::Crc32(reinterpret_cast<const std::uint8_t*>(check.data()), check.size()) ^
                  0xFFFFFFFFu,
              0xCBF43926u);
}

TEST(HostPngTest, ChunksAndStoredBlocksHoldTheRows) {
    // 200 x 120 RGB: 72,120 bytes of rows, more than one stored block.
    const std::uint32_t width = 200, height = 120;
    std::vector<std::uint8_t> rgb(std::size_t{width} * height * 3);
    for (std::size_t i = 0; i < rgb.size(); ++i) rgb[i] = static_cast<std::uint8_t>(i * 7);
    const auto png = hostpng::EncodePng(width, height, rgb);

    // The signature, then IHDR: 8 bits per channel, RGB.
    const std::vector<std::uint8_t> head = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0,
                                            0,    13,  'I', 'H', 'D',  'R',  0,    0,    0, 200,
                                            0,    0,   0,   120, 8,    2,    0,    0,    0};
    ASSERT_GT(png.size(), head.size() + 16);
    EXPECT_EQ(std::vector<std::uint8_t>(png.begin(), png.begin() + 29), head);
    // The last chunk is the empty IEND with its well-known CRC.
    const std::vector<std::uint8_t> iend(png.end() - 12, png.end());
    EXPECT_EQ(iend,
              (std::vector<std::uint8_t>{0, 0, 0, 0, 'I', 'E', 'N', 'D', 0xAE, 0x42, 0x60, 0x82}));

    // Walk the chunks, check each CRC, and inflate the stored blocks of IDAT.
    std::vector<std::uint8_t> zlib;
    for (std::size_t at = 8; at < png.size();) {
        const std::uint32_t length = Big32(png, at);
        const std::uint32_t crc = hostpng::Crc32(png.data() + at + 4, length + 4) ^ 0xFFFFFFFFu;
        EXPECT_EQ(Big32(png, at + 8 + length), crc);
        if (std::string(png.begin() + at + 4, png.begin() + at + 8) == "IDAT")
            zlib.insert(zlib.end(), png.begin() + at + 8, png.begin() + at + 8 + length);
        at += 12 + length;
    }
    ASSERT_GE(zlib.size(), 2u);
    EXPECT_EQ((zlib[0] * 256 + zlib[1]) % 31, 0);  // a valid zlib header
    std::vector<std::uint8_t> raw;
    std::size_t at = 2;
    int blocks = 0;
    for (bool last = false; !last;) {
        last = zlib.at(at) & 1;
        EXPECT_EQ(zlib[at] & 6, 0);  // stored
        const std::size_t length = zlib[at + 1] | (zlib[at + 2] << 8);
        const std::size_t negated = zlib[at + 3] | (zlib[at + 4] << 8);
        EXPECT_EQ(length ^ 0xFFFF, negated);
        raw.insert(raw.end(), zlib.begin() + at + 5, zlib.begin() + at + 5 + length);
        at += 5 + length;
        ++blocks;
    }
    EXPECT_EQ(blocks, 2);
    // The rows' checksum, large enough for its sums to wrap.
    EXPECT_EQ(Big32(zlib, at), 0x7E0117D5u);
    ASSERT_EQ(raw.size(), std::size_t{height} * (width * 3 + 1));
    for (std::uint32_t y = 0; y < height; ++y) {
        const std::size_t row = std::size_t{y} * (width * 3 + 1);
        ASSERT_EQ(raw[row], 0) << y;
        ASSERT_EQ(std::memcmp(&raw[row + 1], &rgb[std::size_t{y} * width * 3], width * 3), 0) << y;
    }
}

}  // namespace
