// A minimal PNG writer for the host's screenshots: 8-bit RGB, no filtering, and a zlib stream of
// stored (uncompressed) deflate blocks, so it needs no compression library.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace hostpng {

inline std::uint32_t Crc32(const std::uint8_t* data, std::size_t size,
                           std::uint32_t crc = 0xFFFFFFFFu) {
    static const std::array<std::uint32_t, 256> table = [] {
        std::array<std::uint32_t, 256> t{};
        for (std::uint32_t n = 0; n < 256; ++n) {
            std::uint32_t c = n;
            for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            t[n] = c;
        }
        return t;
    }();
    for (std::size_t i = 0; i < size; ++i) crc = table[(crc ^ data[i]) & 0xFF] ^ (crc >> 8);
    return crc;
}

inline std::uint32_t Adler32(const std::uint8_t* data, std::size_t size) {
    constexpr std::uint32_t kMod = 65521;
    std::uint32_t a = 1, b = 0;
    for (std::size_t i = 0; i < size; ++i) {
        a = (a + data[i]) % kMod;
        b = (b + a) % kMod;
    }
    return (b << 16) | a;
}

inline void PutBig32(std::vector<std::uint8_t>& out, std::uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8)
        out.push_back(static_cast<std::uint8_t>(value >> shift));
}

inline void PutChunk(std::vector<std::uint8_t>& out, std::string_view type,
                     const std::vector<std::uint8_t>& body) {
    PutBig32(out, static_cast<std::uint32_t>(body.size()));
    const std::size_t typeAt = out.size();
    out.insert(out.end(), type.begin(), type.end());
    out.insert(out.end(), body.begin(), body.end());
    const std::uint32_t crc = Crc32(out.data() + typeAt, out.size() - typeAt) ^ 0xFFFFFFFFu;
    PutBig32(out, crc);
}

// A zlib stream of stored blocks of at most 65535 bytes each.
inline std::vector<std::uint8_t> StoredZlib(const std::vector<std::uint8_t>& raw) {
    std::vector<std::uint8_t> out = {0x78, 0x01};
    std::size_t at = 0;
    do {
        const std::size_t length = std::min<std::size_t>(65535, raw.size() - at);
        const bool last = at + length == raw.size();
        out.push_back(last ? 1 : 0);
        out.push_back(static_cast<std::uint8_t>(length & 0xFF));
        out.push_back(static_cast<std::uint8_t>(length >> 8));
        out.push_back(static_cast<std::uint8_t>(~length & 0xFF));
        out.push_back(static_cast<std::uint8_t>((~length >> 8) & 0xFF));
        out.insert(out.end(), raw.begin() + static_cast<std::ptrdiff_t>(at),
                   raw.begin() + static_cast<std::ptrdiff_t>(at + length));
        at += length;
    } while (at < raw.size());
    PutBig32(out, Adler32(raw.data(), raw.size()));
    return out;
}

// rgb holds height rows of width pixels, 3 bytes each, top row first.
inline std::vector<std::uint8_t> EncodePng(std::uint32_t width, std::uint32_t height,
                                           const std::vector<std::uint8_t>& rgb) {
    std::vector<std::uint8_t> out = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    std::vector<std::uint8_t> header;
    PutBig32(header, width);
    PutBig32(header, height);
    header.insert(header.end(), {8, 2, 0, 0, 0});  // depth 8, RGB, deflate, no filter, no interlace
    PutChunk(out, "IHDR", header);
    std::vector<std::uint8_t> raw;
    raw.reserve((static_cast<std::size_t>(width) * 3 + 1) * height);
    for (std::uint32_t y = 0; y < height; ++y) {
        raw.push_back(0);  // filter type None
        const std::size_t row = static_cast<std::size_t>(y) * width * 3;
        raw.insert(raw.end(), rgb.begin() + static_cast<std::ptrdiff_t>(row),
                   rgb.begin() + static_cast<std::ptrdiff_t>(row + std::size_t{width} * 3));
    }
    PutChunk(out, "IDAT", StoredZlib(raw));
    PutChunk(out, "IEND", {});
    return out;
}

}  // namespace hostpng
