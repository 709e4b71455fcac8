// The memory version resources: the VS_VERSIONINFO block stored with a file, handed out as
// GetFileVersionInfo does.
#include <algorithm>
#include <cstring>

#include "platform/memory/memory_state.h"
#include "platform/memory/memory_text.h"
#include "platform/version_block_reader.h"

namespace platform::memory::detail {

const std::string* MemoryVersion::Block(const char16_t* path) {
    Status status = kErrorSuccess;
    const FileNode* node = state_.files.Lookup(state_.files.Parse(WideView(path)), &status);
    if (node == nullptr) {
        state_.SetLastError(static_cast<std::uint32_t>(status));
        return nullptr;
    }
    if (node->folder || !node->versionBlock || node->versionBlock->empty()) {
        state_.SetLastError(static_cast<std::uint32_t>(kErrorResourceTypeNotFound));
        return nullptr;
    }
    return &*node->versionBlock;
}

std::uint32_t MemoryVersion::GetSize(const char16_t* path) {
    Lock lock(state_.mutex);
    const std::string* block = Block(path);
    return block == nullptr ? 0 : static_cast<std::uint32_t>(block->size());
}

bool MemoryVersion::Get(const char16_t* path, std::uint32_t size, void* out) {
    Lock lock(state_.mutex);
    const std::string* block = Block(path);
    if (block == nullptr) return false;
    if (out == nullptr) {
        state_.SetLastError(static_cast<std::uint32_t>(kErrorInvalidParameter));
        return false;
    }
    const auto copied = static_cast<std::uint32_t>(std::min<std::size_t>(size, block->size()));
    std::memcpy(out, block->data(), copied);
    filled_[out] = copied;
    return true;
}

bool MemoryVersion::Query(const void* block, const char16_t* subBlock, const void** buffer,
                          std::uint32_t* length) {
    if (block == nullptr || subBlock == nullptr || buffer == nullptr || length == nullptr)
        return false;
    Lock lock(state_.mutex);
    // A block Get filled is read within the bytes it really holds, as the system reads a file's
    // real block: one that claims more is refused. A block of the caller's own is read as its
    // first word says, as VerQueryValueW reads it.
    auto it = filled_.find(block);
    if (it == filled_.end()) return QueryVersionBlock(block, subBlock, buffer, length);
    return QueryVersionBlock(block, it->second, subBlock, buffer, length);
}

}  // namespace platform::memory::detail
