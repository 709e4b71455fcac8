// Fields of bytes that came from a file or the registry, read as the system lays them out
// (little-endian) but never past the bytes that are really there; and the one ANSI code page the
// portable machines speak.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace platform::bytes {

// The width-byte little-endian number at `at`; nullopt when it doesn't lie wholly inside bytes.
inline std::optional<std::uint32_t> Read(std::string_view bytes, std::uint64_t at, int width) {
    if (at > bytes.size() || bytes.size() - at < static_cast<std::uint64_t>(width))
        return std::nullopt;
    std::uint32_t value = 0;
    for (int i = width - 1; i >= 0; --i)
        value = value << 8 | static_cast<unsigned char>(bytes[static_cast<std::size_t>(at) + i]);
    return value;
}
inline std::optional<std::uint32_t> Read16(std::string_view bytes, std::uint64_t at) {
    return Read(bytes, at, 2);
}
inline std::optional<std::uint32_t> Read32(std::string_view bytes, std::uint64_t at) {
    return Read(bytes, at, 4);
}

// 0x80 to 0x9F of code page 1252; the five holes map to the byte's own value, as the system's
// table does. The rest of the page is Latin-1.
inline constexpr char16_t kCp1252High[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

inline char16_t FromCp1252(unsigned char c) {
    return c >= 0x80 && c < 0xA0 ? kCp1252High[c - 0x80] : static_cast<char16_t>(c);
}

}  // namespace platform::bytes
