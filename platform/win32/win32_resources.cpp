// The resources concern: string resources of the process's module, then of this module.
#include "platform/resources.h"
#include "platform/win32/win32_concerns.h"
#include "platform/win32/windows_api.h"

namespace platform::win32 {
namespace {

// With a buffer size of 0, LoadStringW hands out a read-only pointer into the resource itself,
// so a string of any length comes back whole.
int LoadFrom(HMODULE module, std::uint32_t id, std::u16string* text) {
    if (module == nullptr) return 0;
    const wchar_t* found = nullptr;
    int length = ::LoadStringW(module, id, reinterpret_cast<LPWSTR>(&found), 0);
    if (length <= 0 || found == nullptr) return 0;
    text->assign(Utf16(found), static_cast<std::size_t>(length));
    return length;
}

HMODULE ModuleOfThisCode() {
    HMODULE module = nullptr;
    ::GetModuleHandleExW(
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
        reinterpret_cast<LPCWSTR>(&ModuleOfThisCode), &module);
    return module;
}

class Win32Resources final : public Resources {
  public:
    int LoadText(std::uint32_t id, std::u16string* text) override {
        HMODULE main = ::GetModuleHandleW(nullptr);
        int length = LoadFrom(main, id, text);
        if (length > 0) return length;
        HMODULE own = ModuleOfThisCode();
        if (own != main) length = LoadFrom(own, id, text);
        if (length > 0) return length;
        text->clear();
        return 0;
    }
};

}  // namespace

Resources& ResourcesBackend() {
    static Win32Resources instance;
    return instance;
}

}  // namespace platform::win32
