// Registry concern: the Win32 registry calls the program makes, with their exact contracts.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/types.h"

namespace platform {

class Registry {
  public:
    virtual ~Registry() = default;

    // RegOpenKeyExW. On success *result is an open key; on failure it is set to null.
    // A null or empty subKey opens parent itself again.
    virtual Status OpenKey(RegKey parent, const char16_t* subKey, std::uint32_t access,
                           RegKey* result) = 0;
    // RegCreateKeyExW without class or options: opens the key, creating every missing level.
    virtual Status CreateKey(RegKey parent, const char16_t* subKey, std::uint32_t access,
                             RegKey* result) = 0;
    // RegCloseKey. Closing a predefined root succeeds and does nothing.
    virtual Status CloseKey(RegKey key) = 0;

    // RegQueryValueExW. name null or empty is the default value. type and data may be null.
    // With data null, *dataBytes receives the size and the result is success. When *dataBytes is
    // too small the result is kErrorMoreData, *dataBytes holds the size needed and the buffer's
    // contents are undefined. Data comes back exactly as stored: no terminator is added.
    virtual Status QueryValue(RegKey key, const char16_t* name, std::uint32_t* type, void* data,
                              std::uint32_t* dataBytes) = 0;

    // RegEnumValueW. *nameChars is the buffer's size in characters on entry and the name's length
    // without terminator on success. A name that doesn't fit, or data that doesn't fit
    // *dataBytes, gives kErrorMoreData. Past the last value: kErrorNoMoreItems. type, data and
    // dataBytes may be null.
    virtual Status EnumValue(RegKey key, std::uint32_t index, char16_t* name,
                             std::uint32_t* nameChars, std::uint32_t* type, void* data,
                             std::uint32_t* dataBytes) = 0;

    // RegEnumKeyExW without class and time. Same size rules as EnumValue for the name.
    virtual Status EnumKey(RegKey key, std::uint32_t index, char16_t* name,
                           std::uint32_t* nameChars) = 0;

    // RegSetValueExW. name null or empty is the default value. Callers count a string's
    // terminator: Windows also stores one more character when the last counted one isn't null
    // and the caller's memory behind the bytes holds a null, which the memory machine never
    // reads, so it stores exactly dataBytes bytes.
    virtual Status SetValue(RegKey key, const char16_t* name, std::uint32_t type, const void* data,
                            std::uint32_t dataBytes) = 0;

    // RegDeleteValueW. A missing value gives kErrorFileNotFound.
    virtual Status DeleteValue(RegKey key, const char16_t* name) = 0;

    // The same two for a name with its counted length, as EnumValue reports it: an embedded NUL
    // is part of the name (the native API allows such names, and the calls above would reach the
    // value named by the part before the NUL). Empty is the default value. A name with a NUL
    // needs a key opened by handle: through a predefined root it gives kErrorInvalidHandle.
    virtual Status SetCountedValue(RegKey key, std::u16string_view name, std::uint32_t type,
                                   const void* data, std::uint32_t dataBytes) = 0;
    virtual Status DeleteCountedValue(RegKey key, std::u16string_view name) = 0;

    // RegDeleteTreeW followed by RegDeleteKeyW: removes parent\subKey with its whole subtree.
    virtual Status DeleteTree(RegKey parent, const char16_t* subKey) = 0;

    // Makes parent\subKey refuse every access (an empty DACL on Windows), so that later opens
    // give kErrorAccessDenied. For tests of both backends.
    virtual Status DenyAllAccess(RegKey parent, const char16_t* subKey) = 0;
    // Undoes DenyAllAccess so the key can be deleted again.
    virtual Status AllowAllAccess(RegKey parent, const char16_t* subKey) = 0;
};

}  // namespace platform
