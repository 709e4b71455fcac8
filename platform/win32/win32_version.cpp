// The version resource concern through the system's version library.
#include "platform/version.h"
#include "platform/win32/win32_concerns.h"
#include "platform/win32/windows_api.h"

namespace platform::win32 {
namespace {

class Win32Version final : public VersionInfo {
  public:
    std::uint32_t GetSize(const char16_t* path) override {
        DWORD ignored = 0;
        return ::GetFileVersionInfoSizeW(Wide(path), &ignored);
    }

    bool Get(const char16_t* path, std::uint32_t size, void* block) override {
        return ::GetFileVersionInfoW(Wide(path), 0, size, block) != FALSE;
    }

    bool Query(const void* block, const char16_t* subBlock, const void** buffer,
               std::uint32_t* length) override {
        void* found = nullptr;
        UINT foundLength = 0;
        if (!::VerQueryValueW(block, Wide(subBlock), &found, &foundLength)) return false;
        *buffer = found;
        *length = foundLength;
        return true;
    }
};

}  // namespace

VersionInfo& VersionBackend() {
    static Win32Version instance;
    return instance;
}

}  // namespace platform::win32
