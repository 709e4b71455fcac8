// The text catalogue: numeric text ids, their keys in the language file, and the two lookups.
#pragma once

#include <cstdint>
#include <string>

// The text of id: through the table's key from the language file, else the string resource.
// Never null; the pointer is valid until the next TextById that falls back to resources.
const char16_t* TextById(std::int32_t id);
// The text of key from the language file, else string resource id (unless id is 0); unescaped.
// Never null; valid until the next TextByKey.
const char16_t* TextByKey(std::int32_t id, const char16_t* key);
// The key of a catalogue id, or null when the table has no row for it.
const char16_t* CatalogueKey(std::int32_t id);
// Replaces \r, \n and \t (in three passes, in that order) by CR, LF and TAB.
void UnescapeCatalogueText(std::u16string& text);
