// The environment concern on the process's own environment block.
#include "platform/environment.h"
#include "platform/win32/win32_concerns.h"
#include "platform/win32/windows_api.h"

namespace platform::win32 {
namespace {

class Win32Environment final : public Environment {
  public:
    std::uint32_t ExpandStrings(const char16_t* source, char16_t* dest,
                                std::uint32_t destChars) override {
        return ::ExpandEnvironmentStringsW(Wide(source), Wide(dest), destChars);
    }

    bool SetVariable(const char16_t* name, const char16_t* value) override {
        return ::SetEnvironmentVariableW(Wide(name), Wide(value)) != FALSE;
    }

    bool GetVariable(const char16_t* name, std::u16string* value) override {
        // A variable set to an empty text also reports 0 characters; only the error code tells
        // it from a missing one.
        ::SetLastError(ERROR_SUCCESS);
        DWORD needed = ::GetEnvironmentVariableW(Wide(name), nullptr, 0);
        if (needed == 0) {
            if (::GetLastError() == ERROR_ENVVAR_NOT_FOUND) return false;
            value->clear();
            return true;
        }
        // The variable may grow between the two calls; try again with the new size then.
        for (int attempt = 0; attempt < 4; ++attempt) {
            std::u16string buffer(needed, u'\0');
            DWORD got = ::GetEnvironmentVariableW(Wide(name), Wide(buffer.data()), needed);
            if (got == 0) {
                if (::GetLastError() == ERROR_ENVVAR_NOT_FOUND) return false;
                value->clear();
                return true;
            }
            if (got < needed) {
                buffer.resize(got);
                *value = std::move(buffer);
                return true;
            }
            needed = got;
        }
        return false;
    }
};

}  // namespace

Environment& EnvironmentBackend() {
    static Win32Environment instance;
    return instance;
}

}  // namespace platform::win32
