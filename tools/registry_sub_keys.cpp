#include "tools/registry_sub_keys.h"

#include "tools/registry_values.h"

std::u16string_view SubKeyName(std::u16string_view path) {
    const std::size_t slash = path.rfind(u'\\');
    return slash == std::u16string_view::npos ? path : path.substr(slash + 1);
}

bool ReadSubKeyString(platform::RegKey root, std::u16string_view path, const char16_t* valueName,
                      std::u16string* text) {
    text->clear();
    if (!IsPlainRegName(path)) return false;
    RegValueBytes value;
    const std::u16string keyPath(path);
    if (!ReadRegValue(root, keyPath.c_str(), valueName, &value)) return false;
    if (value.type != platform::kRegSz && value.type != platform::kRegExpandSz) return false;
    *text = RegDataText(value);
    return true;
}
