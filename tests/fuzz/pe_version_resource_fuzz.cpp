// PE images of any shape: finding the version resource never reads outside the image, and what
// it finds goes on to the block reader.
#include <string>

#include "platform/pe_version_resource.h"
#include "platform/version_block_reader.h"
#include "tests/fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string image(reinterpret_cast<const char*>(data), size);
    const std::string_view block = platform::FindVersionResource(image);
    if (block.empty()) return 0;
    if (block.data() < image.data() || block.data() + block.size() > image.data() + image.size())
        __builtin_trap();
    const void* buffer = nullptr;
    std::uint32_t length = 0;
    platform::QueryVersionBlock(block.data(), static_cast<std::uint32_t>(block.size()),
                                u"\\StringFileInfo\\040904B0\\CompanyName", &buffer, &length);
    return 0;
}
