// Text helpers of the memory machine: the case folding Windows applies to registry, file and
// environment names, and the path splitting the memory registry and file system share.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace platform::memory::detail {

// One character upper-cased as the object manager does it for names (ASCII, Latin-1, Greek and
// Cyrillic; other characters compare as they are).
char16_t FoldChar(char16_t c);
std::u16string Fold(std::u16string_view text);
bool EqualNoCase(std::u16string_view a, std::u16string_view b);

// Splits at backslashes, dropping empty pieces.
std::vector<std::u16string> SplitKeyPath(std::u16string_view path);

// UTF-16 to UTF-8 for log lines and call logs; unpaired surrogates become U+FFFD.
std::string ToUtf8(std::u16string_view text);

// Length of a NUL-terminated wide string; 0 for null.
std::size_t WideLength(const char16_t* text);
std::u16string_view WideView(const char16_t* text);

}  // namespace platform::memory::detail
