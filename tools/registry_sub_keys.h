// Reading the sub-keys that collectors list one by one: a sub-key stands for an entry when one
// of its values holds a string.
#pragma once

#include <string>
#include <string_view>

#include "platform/types.h"

// The sub-key's own name: the text behind the last backslash of path, or path whole.
std::u16string_view SubKeyName(std::u16string_view path);

// Opens root\path for querying values and reads valueName (at most 4096 bytes) into *text, up
// to its first NUL. False, with *text empty, when the key can't be opened, the value can't be
// read or is neither REG_SZ nor REG_EXPAND_SZ, or when path holds a NUL: such a key can't be
// reached by name, and what the name before the NUL reaches is another key.
bool ReadSubKeyString(platform::RegKey root, std::u16string_view path, const char16_t* valueName,
                      std::u16string* text);
