// The packed catalogue item's parser over any bytes, and over the same bytes cut or padded to the
// one size it reads: never a read outside the bytes it is given, and texts that fit the item.
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/fuzz/fuzz_support.h"
#include "tools/packed_catalog_item.h"

namespace {

void Check(const std::vector<std::uint8_t>& bytes) {
    std::u16string library, protocol;
    const bool parsed = ParsePackedCatalogItem(bytes.data(), bytes.size(), &library, &protocol);
    if (parsed != (bytes.size() == kPackedCatalogItemBytes)) std::abort();
    if (!parsed && (!library.empty() || !protocol.empty())) std::abort();
    if (library.size() > kPackedCatalogItemBytes ||
        protocol.size() > kPackedCatalogItemBytes - kPackedCatalogNameOffset)
        std::abort();
    if (library.find(u'\0') != std::u16string::npos || protocol.find(u'\0') != std::u16string::npos)
        std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Heap copies of exactly their length, so that the sanitizer sees any read past the end.
    std::vector<std::uint8_t> bytes(data, data + size);
    Check(bytes);
    bytes.resize(kPackedCatalogItemBytes, 0);
    Check(bytes);
    return 0;
}
