// Version resource concern: a file's VS_VERSIONINFO block and queries into it.
#pragma once

#include <cstdint>

namespace platform {

class VersionInfo {
  public:
    virtual ~VersionInfo() = default;

    // GetFileVersionInfoSizeW: 0 when the file has no block or can't be read.
    virtual std::uint32_t GetSize(const char16_t* path) = 0;
    // GetFileVersionInfoW: copies at most size bytes of the block into block.
    virtual bool Get(const char16_t* path, std::uint32_t size, void* block) = 0;
    // VerQueryValueW on a block that Get filled: "\" gives the VS_FIXEDFILEINFO,
    // "\VarFileInfo\Translation" the array of language/code page pairs,
    // "\StringFileInfo\LLLLCCCC\Name" a string, *length then counting characters.
    virtual bool Query(const void* block, const char16_t* subBlock, const void** buffer,
                       std::uint32_t* length) = 0;
};

}  // namespace platform
