// The registry walkers and writers that all collectors share. Reading goes directly through
// platform::machine().registry(); writing always goes through an IElevatedHelper.
//
// The walkers work in process-wide static buffers of kRegToolBufferChars wide characters. Text
// and data handed to a callback are valid only during the call. Each walker owns its buffers,
// so a key callback may run EnumRegValues, but no walker may be started from its own callback
// or on two threads at once.
#pragma once

#include <cstdint>
#include <string_view>

#include "libs/talelev/elevated_helper.h"
#include "platform/types.h"

inline constexpr std::uint32_t kRegToolBufferChars = 4096;
// A single value read offers this many bytes; a longer value counts as unreadable.
inline constexpr std::uint32_t kRegToolDataBytes = 4096;

// name: the value's name with the length the registry counted, so a name with an embedded NUL
// (which the native API allows) arrives whole and can't pass for the name before its NUL. data:
// its raw bytes, to be read as wide text for the string types; REG_SZ and REG_EXPAND_SZ data is
// always NUL-terminated, REG_MULTI_SZ data always ends in two NULs, other types get no
// terminator. dataBytes: the size as the registry returned it. Return true to go on, false to
// stop the walk.
using RegValueCallback = bool (*)(std::u16string_view name, const void* data,
                                  std::uint32_t dataBytes, std::uint32_t type, void* context);
// root: as the caller of EnumRegKeys gave it. path: parentPath + "\" + the sub-key's name, the
// name with its counted length (an embedded NUL stays in it, and DeleteRegKey refuses it).
using RegKeyCallback = bool (*)(platform::RegKey root, std::u16string_view path, void* context);
// One token of ForEachValueToken.
using RegTokenCallback = bool (*)(const char16_t* token, void* context);

// Walks the values of the open key (it must allow querying values). Any non-zero status of the
// registry ends the walk with true: the end of the list, a failure, and a value whose name or
// data doesn't fit the buffers (so the values behind it aren't delivered). False only when the
// callback stopped the walk. A null callback gives true without reading.
bool EnumRegValues(platform::RegKey key, RegValueCallback callback, void* context);

// Walks the sub-keys of key, the open handle of parentPath under root (opened with
// KEY_ENUMERATE_SUB_KEYS). root and parentPath only build what the callback gets; a null
// parentPath counts as empty, so the path then begins with a backslash. Result as for
// EnumRegValues.
bool EnumRegKeys(platform::RegKey root, const char16_t* parentPath, platform::RegKey key,
                 RegKeyCallback callback, void* context);

// Reads root\subKey's value (at most 4096 bytes, whatever its type) and splits it on any of
// delimiters as wcstok_s does: runs of delimiters separate, empty tokens don't exist. Returns
// the number of tokens delivered, the one at which the callback said stop included; 0 for a
// value without tokens; -1 when the key can't be opened or the value can't be read, or when
// delimiters or callback is null.
std::int32_t ForEachValueToken(platform::RegKey root, const char16_t* subKey,
                               const char16_t* valueName, const char16_t* delimiters,
                               RegTokenCallback callback, void* context);

// The token buffer (kRegToolBufferChars characters, zeroed at load): ForEachValueToken reads into
// it (at most kRegToolDataBytes bytes, ended right after what was read), and so may the list
// readers of the logon values.
char16_t* RegTokenStringBuffer();

// The writers return true when the helper's status is not negative. With a null helper or a
// null keyPath (DeleteRegValue: or a null valueName) they return false without any call or log
// line. A negative status is logged and gives false. root is passed on unchanged.
bool DeleteRegKey(IElevatedHelper* helper, platform::RegKey root, const char16_t* keyPath);
// The same for a path with its counted length, as EnumRegKeys delivers it: a path with an
// embedded NUL reaches the helper whole, which refuses it, so no other key is deleted.
bool DeleteRegKey(IElevatedHelper* helper, platform::RegKey root, std::u16string_view keyPath);
bool DeleteRegValue(IElevatedHelper* helper, platform::RegKey root, const char16_t* keyPath,
                    const char16_t* valueName);
// The same for a name with its counted length: an embedded NUL stays part of the name.
bool DeleteRegValue(IElevatedHelper* helper, platform::RegKey root, const char16_t* keyPath,
                    std::u16string_view valueName);
// valueName null is the key's default value and reaches the helper as an empty string.
// sizeInBytes is sign-extended to 64 bits; flag reaches Reg_SetValue unchanged (1 creates
// missing keys).
bool SetRegValue(IElevatedHelper* helper, platform::RegKey root, const char16_t* keyPath,
                 const char16_t* valueName, const void* data, std::uint32_t type,
                 std::int32_t sizeInBytes, std::uint8_t flag);
