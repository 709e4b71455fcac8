// The binary item of one entry of the Winsock protocol catalogue. Its bytes come from the
// registry and are untrusted: the parser reads only the bytes it is given and decides on their
// count alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// The one size of item that is read; any other is not a catalogue item this program knows.
inline constexpr std::size_t kPackedCatalogItemBytes = 888;
// Where the protocol's name begins; the library path begins at 0.
inline constexpr std::size_t kPackedCatalogNameOffset = 376;

// Reads the provider's library path and the protocol's name from an item of exactly
// kPackedCatalogItemBytes bytes. Each byte stands for one character (no code page). The path runs
// from byte 0 to the first NUL byte, or to the item's end when there is none (it then takes in
// the name's field). The name runs from kPackedCatalogNameOffset: a non-zero byte is a character,
// a zero byte is skipped, and a zero byte right after a zero byte of the name ends it; so a name
// stored as 16-bit Latin text comes out as written. False for any other size (or null bytes);
// both texts are then empty.
bool ParsePackedCatalogItem(const std::uint8_t* bytes, std::size_t size, std::u16string* library,
                            std::u16string* protocol);
