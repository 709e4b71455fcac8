// A profile section as the system's profile calls hand it over, and the lines of it that start
// programs. The buffer holds NUL-separated "key=value" lines; the count the call returns says
// how many characters are valid, and the closing second NUL may be missing (a section that the
// system maps to the registry comes that way on some systems), so nothing past the count is
// read.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// The lines of the first count characters of buffer, up to the first empty one.
std::vector<std::u16string_view> ProfileSectionLines(const char16_t* buffer, std::size_t count);

// The position in keys of the first key that line starts with, in exact case, followed by '='
// and at least one more character; *value is then what follows the '='. -1 when none does.
int MatchProfileKey(std::u16string_view line, const std::vector<std::u16string>& keys,
                    std::u16string_view* value);

// The words of a value, split on blanks and commas; runs of them give no empty word. Quotes
// mean nothing here: a path with a blank gives two words.
std::vector<std::u16string> SplitProfileWords(std::u16string_view value);
