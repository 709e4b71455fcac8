// Splitting the lists that some registry values hold: a string of entries separated by
// delimiters, and the strings of a REG_MULTI_SZ. Both work on the value's raw bytes, which are
// untrusted: any byte count (odd ones too), missing terminators, NULs anywhere. Nothing is read
// at or past data + dataBytes.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// One entry of a delimited list and the delimiters that follow it in the value, so that a
// rewrite can tell how two neighbours were separated.
struct ValueListToken {
    std::u16string text;
    // The run of delimiters right behind text; empty when the text ends the value.
    std::u16string separator;
};

// Reads the data as wide text up to its first NUL, or up to its last whole character when it
// holds none, and splits it as wcstok_s does: a run of any of the delimiters separates two
// tokens, delimiters at the start or at the end give no token, quotes mean nothing. Null data
// gives none; an empty delimiter set leaves the text one token.
std::vector<ValueListToken> SplitValueList(const void* data, std::size_t dataBytes,
                                           std::u16string_view delimiters);

// The strings of REG_MULTI_SZ data: from the start, each one up to its NUL, until an empty
// string or the end of the data. A last string without its NUL ends with the data; an odd last
// byte is dropped. Data that begins with a NUL, and null data, give none.
std::vector<std::u16string> SplitMultiString(const void* data, std::size_t dataBytes);
