// Text helpers of the offline machine: hive names come as UTF-8 from the hive library and are
// compared the way the system compares registry and file names.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace platform::offline {

std::u16string FromUtf8(std::string_view text);
void AppendUtf8(std::string_view text, std::u16string* to);
std::string ToUtf8(std::u16string_view text);

// Upper case for name comparison (ASCII and Latin-1; other characters compare as they are).
std::u16string Fold(std::u16string_view text);
bool EqualNoCase(std::u16string_view a, std::u16string_view b);

// Splits at backslashes (and, for file paths, slashes), dropping empty pieces.
std::vector<std::u16string> SplitPath(std::u16string_view path, bool slashesToo = false);

std::u16string_view WideView(const char16_t* text);

}  // namespace platform::offline
