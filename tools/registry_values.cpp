#include "tools/registry_values.h"

#include <array>
#include <cstring>

#include "platform/machine.h"
#include "platform/unique_handle.h"
#include "tools/registry_tools.h"

bool ReadRegValue(platform::RegKey key, const char16_t* valueName, RegValueBytes* out) {
    out->type = platform::kRegNone;
    out->bytes.clear();
    std::array<std::uint8_t, kRegToolDataBytes> buffer{};
    std::uint32_t type = platform::kRegNone;
    std::uint32_t size = kRegToolDataBytes;
    if (platform::machine().registry().QueryValue(key, valueName, &type, buffer.data(), &size) !=
        platform::kErrorSuccess)
        return false;
    if (size > buffer.size()) size = static_cast<std::uint32_t>(buffer.size());
    out->type = type;
    out->bytes.assign(buffer.begin(), buffer.begin() + size);
    return true;
}

bool ReadRegValue(platform::RegKey root, const char16_t* keyPath, const char16_t* valueName,
                  RegValueBytes* out) {
    out->type = platform::kRegNone;
    out->bytes.clear();
    platform::UniqueRegKey key;
    if (platform::machine().registry().OpenKey(root, keyPath, platform::kKeyQueryValue,
                                               key.put()) != platform::kErrorSuccess)
        return false;
    return ReadRegValue(key.get(), valueName, out);
}

std::u16string RegDataText(const void* data, std::uint32_t dataBytes) {
    if (data == nullptr) return {};
    const std::uint32_t count = dataBytes / 2;
    std::u16string text(count, u'\0');
    std::memcpy(text.data(), data, static_cast<std::size_t>(count) * 2);
    const std::size_t nul = text.find(u'\0');
    if (nul != std::u16string::npos) text.resize(nul);
    return text;
}

bool ReadRegText(platform::RegKey key, const char16_t* valueName, std::u16string* text,
                 std::uint32_t* type) {
    RegValueBytes value;
    const bool read = ReadRegValue(key, valueName, &value);
    *text = RegDataText(value);
    if (type) *type = value.type;
    return read;
}

bool ReadRegDword(platform::RegKey key, const char16_t* valueName, std::uint32_t* value) {
    *value = 0;
    std::uint8_t bytes[4] = {};
    std::uint32_t type = platform::kRegNone;
    std::uint32_t size = sizeof bytes;
    if (platform::machine().registry().QueryValue(key, valueName, &type, bytes, &size) !=
            platform::kErrorSuccess ||
        type != platform::kRegDword)
        return false;
    *value = static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
             static_cast<std::uint32_t>(bytes[2]) << 16 |
             static_cast<std::uint32_t>(bytes[3]) << 24;
    return true;
}

std::u16string VisibleRegName(std::u16string_view name) {
    std::u16string text;
    text.reserve(name.size());
    for (char16_t c : name) {
        if (c == u'\0')
            text += u"\\0";
        else
            text.push_back(c);
    }
    return text;
}
