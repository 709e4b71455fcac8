// The record of the collectors whose entries are sub-keys: three texts whose meaning each
// collector gives (a key path, a library, a display text).
#pragma once

#include <string>

struct si_key_item {
    std::u16string first;
    std::u16string second;
    std::u16string third;
};
