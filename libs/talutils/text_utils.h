// Small helpers for wide (UTF-16) text: conversions and comparisons without regard to case.
#pragma once

#include <string>
#include <string_view>

namespace talutils {

std::string ToUtf8(std::u16string_view text);
// Accepts malformed input: a byte that starts no valid sequence becomes U+FFFD.
std::u16string FromUtf8(std::string_view text);

// Upper case as towupper does for the characters file and registry names use (ASCII, Latin-1,
// Latin Extended-A, Greek and Cyrillic); others come back unchanged.
char16_t ToUpper(char16_t c);
char16_t ToLower(char16_t c);
bool EqualsNoCase(std::u16string_view a, std::u16string_view b);
bool StartsWithNoCase(std::u16string_view text, std::u16string_view prefix);
bool EndsWithNoCase(std::u16string_view text, std::u16string_view suffix);
std::u16string ToUpperCopy(std::u16string_view text);

// Length of a NUL-terminated wide string; 0 for null.
std::size_t Length(const char16_t* text);
// The text of a NUL-terminated wide string; empty for null.
inline std::u16string_view View(const char16_t* text) {
    return text ? std::u16string_view(text, Length(text)) : std::u16string_view();
}

// Decimal form of a signed number, as "%d" writes it.
std::u16string Decimal(long long value);
// _wtoi: optional blanks, optional sign, digits; 0 when there are none.
int ParseInt(std::u16string_view text);

}  // namespace talutils
