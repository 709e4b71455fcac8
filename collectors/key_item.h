// The record of a collector whose entry is described by three texts; each collector says what
// they hold.
#pragma once

#include <string>

struct si_key_item {
    std::u16string first;
    std::u16string second;
    std::u16string third;
};
