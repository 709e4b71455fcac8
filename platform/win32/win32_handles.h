// Owners for the Win32 handle kinds the backend acquires: kernel handles, registry keys of its
// own and COM interface pointers. Each is released on every way out of the acquiring function.
#pragma once

#include "platform/unique_handle.h"
#include "platform/win32/windows_api.h"

namespace platform::win32 {

// CreateFileW reports failure as INVALID_HANDLE_VALUE.
struct FileHandleTraits {
    using Handle = HANDLE;
    static Handle Invalid() { return INVALID_HANDLE_VALUE; }
    static void Close(Handle h) { ::CloseHandle(h); }
};
using UniqueFile = UniqueHandle<FileHandleTraits>;

// OpenProcess and OpenProcessToken report failure as null.
struct KernelHandleTraits {
    using Handle = HANDLE;
    static Handle Invalid() { return nullptr; }
    static void Close(Handle h) { ::CloseHandle(h); }
};
using UniqueKernelHandle = UniqueHandle<KernelHandleTraits>;

// A key the backend opens for itself; closed directly, not through the module-wide machine.
struct HkeyTraits {
    using Handle = HKEY;
    static Handle Invalid() { return nullptr; }
    static void Close(Handle h) { ::RegCloseKey(h); }
};
using UniqueHkey = UniqueHandle<HkeyTraits>;

template <class Interface>
class ComPtr {
  public:
    ComPtr() = default;
    ~ComPtr() { Reset(); }
    ComPtr(const ComPtr&) = delete;
    ComPtr& operator=(const ComPtr&) = delete;

    Interface* get() const { return pointer_; }
    Interface* operator->() const { return pointer_; }
    void** put() {
        Reset();
        return reinterpret_cast<void**>(&pointer_);
    }
    void Reset() {
        if (pointer_ != nullptr) pointer_->Release();
        pointer_ = nullptr;
    }

  private:
    Interface* pointer_ = nullptr;
};

inline HKEY ToHkey(RegKey key) {
    return reinterpret_cast<HKEY>(key);
}
inline RegKey FromHkey(HKEY key) {
    return reinterpret_cast<RegKey>(key);
}

}  // namespace platform::win32
