// The record of the collectors that list registry sub-keys: three texts whose meaning each
// collector states where it fills them.
#pragma once

#include <string>

struct si_key_item {
    std::u16string first;
    std::u16string second;
    std::u16string third;
};
