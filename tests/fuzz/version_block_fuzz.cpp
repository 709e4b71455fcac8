// Version blocks of any shape: the block reader's queries, and the details pane built from a file
// that carries such a block.
#include <string>

#include "platform/version_block_reader.h"
#include "tests/fuzz/fuzz_support.h"
#include "tools/file_details.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::u16string query = input.Text();
    const std::string block = input.Rest();
    const void* buffer = nullptr;
    std::uint32_t length = 0;
    for (const char16_t* q : {query.c_str(), u"\\", u"\\VarFileInfo\\Translation",
                              u"\\StringFileInfo\\040904B0\\CompanyName"}) {
        if (platform::QueryVersionBlock(block.data(), static_cast<std::uint32_t>(block.size()), q,
                                        &buffer, &length) &&
            length > 0) {
            // What the reader hands out must lie inside the block.
            const auto* at = static_cast<const char*>(buffer);
            if (at < block.data() || at >= block.data() + block.size()) __builtin_trap();
        }
    }
    fuzz::Machine m;
    m.machine.AddFile(u"C:\\app\\tool.exe", "MZ");
    m.machine.SetVersionBlock(u"C:\\app\\tool.exe", block);
    GetFileDetails(u"C:\\app\\tool.exe /quiet", 0, &fuzz::Ignore, nullptr, false);
    return 0;
}
