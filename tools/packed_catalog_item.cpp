#include "tools/packed_catalog_item.h"

bool ParsePackedCatalogItem(const std::uint8_t* bytes, std::size_t size, std::u16string* library,
                            std::u16string* protocol) {
    library->clear();
    protocol->clear();
    if (bytes == nullptr || size != kPackedCatalogItemBytes) return false;
    for (std::size_t at = 0; at < size && bytes[at] != 0; ++at)
        library->push_back(static_cast<char16_t>(bytes[at]));
    bool afterZero = false;
    for (std::size_t at = kPackedCatalogNameOffset; at < size; ++at) {
        if (bytes[at] != 0) {
            protocol->push_back(static_cast<char16_t>(bytes[at]));
            afterZero = false;
        } else if (afterZero) {
            break;
        } else {
            afterZero = true;
        }
    }
    return true;
}
