// Reading a shell shortcut (.lnk) for the path that it points at.
#pragma once

#include <cstdint>
#include <string>

// True: out is the link's stored target, environment variables unexpanded. False (COM can't be
// initialised, or any step of reading the link fails): out is untouched. linkPath is cut at
// 259 characters before it is loaded; null gives false.
bool ResolveLink(const char16_t* linkPath, std::u16string& out);
