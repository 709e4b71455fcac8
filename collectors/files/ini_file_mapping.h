// Where Windows keeps an INI file's lines in the registry. Below the mapping key lies one key per
// file; in it a section is a value or a sub-key, and that value (or a default value) names the
// registry key that really holds the section. Every call reads the registry afresh.
#pragma once

#include <string>

#include "platform/types.h"

// What IniMappingLookup found for a section; only 1 to 4 count as found.
enum IniMappingOutcome : int {
    kIniMappingNothing = 0,
    kIniMappingSectionValue = 1,    // the section is a value of the file's key
    kIniMappingKeyValue = 2,        // the section is a sub-key, the key name a value in it
    kIniMappingSectionDefault = 3,  // the section is a sub-key with a default value
    kIniMappingFileDefault = 4,     // neither; the file's key has a default value
};

// Opens the registry editor at the place of fileName's section and key name (null: the file's
// own mapping key). True when the editor was asked for, whatever came of it; false when the
// file, or the section, has no mapping and the caller is to open the file instead.
bool IniFileMapping(const char16_t* fileName, const char16_t* section, const char16_t* keyName);

// The tests in their order of fallback; reference gets the text that was found.
int IniMappingLookup(platform::RegKey fileKey, const char16_t* section, const char16_t* keyName,
                     std::u16string& reference);

// True when reference names a key of the current user or of the machine's software that can be
// opened; root and path then say which. A reference with another prefix, or a key that isn't
// there, gives false with a trace; an empty reference or one of marks only gives false quietly.
bool ParseMappingReference(const std::u16string& reference, platform::RegKey& root,
                           std::u16string& path);

// A REG_SZ or REG_EXPAND_SZ value of any length (name null: the default value), up to its first
// NUL and unexpanded. False for another type, an odd size or a last character that isn't NUL;
// text is then empty.
bool QueryRegString(platform::RegKey key, const char16_t* name, std::u16string& text);
