// The language file reader: a Windows INI text of [sections] and KEY=text lines.
#pragma once

#include <cstdint>

struct _TDFILE;

// Opens and reads the file whole; null when it is missing or unreadable. UTF-8 with or without
// BOM and UTF-16LE with BOM are accepted; ';' starts a comment line; malformed lines are skipped.
// As with Windows' profile functions, a value loses its surrounding blanks and one pair of
// enclosing double quotes, and the first of duplicate keys wins.
_TDFILE* load_tdfile(const char16_t* path);
// Looks up key in section (both without regard to case) and writes the value to out as format
// says: "%s" copies the text, at most 1023 characters and a NUL (a longer value is cut there);
// "%d" stores an int. Returns how many values it wrote: 1 or 0.
int get_value(_TDFILE* file, const char16_t* section, const char16_t* key, void* out,
              const char16_t* format, int count);
void close_tdfile(_TDFILE* file);
