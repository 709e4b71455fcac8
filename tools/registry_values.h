// Reading single registry values into text and numbers. Registry data is untrusted: a value may
// be of any type, hold an odd number of bytes, lack its terminator or carry NULs inside. Every
// result here is built only from the bytes the registry returned for that one read, so nothing
// of an earlier read can show through and nothing is read past the value.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/types.h"

// The data of one value as the registry returned it.
struct RegValueBytes {
    std::uint32_t type = platform::kRegNone;
    std::vector<std::uint8_t> bytes;
};

// RegQueryValueExW of valueName (null or empty: the default value) on an open key, offering
// kRegToolDataBytes bytes. False when the value is absent, unreadable or longer than that; out is
// then empty with type kRegNone.
bool ReadRegValue(platform::RegKey key, const char16_t* valueName, RegValueBytes* out);
// The same on root\keyPath, opened with KEY_QUERY_VALUE for this one read.
bool ReadRegValue(platform::RegKey root, const char16_t* keyPath, const char16_t* valueName,
                  RegValueBytes* out);

// String data as text: up to its first NUL, or up to its last whole character when it holds
// none (an odd last byte is dropped).
std::u16string RegDataText(const void* data, std::uint32_t dataBytes);
inline std::u16string RegDataText(const RegValueBytes& value) {
    return RegDataText(value.bytes.data(), static_cast<std::uint32_t>(value.bytes.size()));
}

// A value read as text, whatever its type (*type tells it; may be null). False as ReadRegValue,
// with *text empty.
bool ReadRegText(platform::RegKey key, const char16_t* valueName, std::u16string* text,
                 std::uint32_t* type = nullptr);

// A value read through a 4-byte buffer: false when the read fails (longer data too) or the type
// isn't REG_DWORD. Shorter data leaves the upper bytes zero. *value is 0 on failure.
bool ReadRegDword(platform::RegKey key, const char16_t* valueName, std::uint32_t* value);

// A registry name as the page shows it: an embedded NUL becomes the two characters "\0", so a
// name hidden behind a NUL can't pass for the name in front of it.
std::u16string VisibleRegName(std::u16string_view name);
// Whether a name or path reaches the registry unchanged through the NUL-terminated calls.
inline bool IsPlainRegName(std::u16string_view name) {
    return name.find(u'\0') == std::u16string_view::npos;
}
