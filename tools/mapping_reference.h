// The text of a reference under the INI file mapping key, which says where Windows keeps an
// INI file's section in the registry: "#USR:Software\x", "!SYS:y\z", ... Registry text is
// untrusted; this only takes it apart and opens nothing.
#pragma once

#include <string>
#include <string_view>

enum class MappingReferenceRoot {
    kNoToken,   // empty, or nothing but the marks "!@#": not a reference at all
    kUser,      // "USR:" in any case: a path under HKEY_CURRENT_USER
    kSystem,    // "SYS:" in any case: a path under HKEY_LOCAL_MACHINE\SOFTWARE
    kUnparsed,  // a token of 4 characters or fewer, or another prefix
};

struct MappingReferenceParts {
    MappingReferenceRoot root = MappingReferenceRoot::kNoToken;
    std::u16string token;  // the first run of characters between the marks "!@#"
    std::u16string rest;   // the token behind its prefix (kUser, kSystem only)
};

// The reference is taken as a C string: it ends at its first NUL. Leading marks are skipped and
// the token ends at the next mark, so a '#' inside a path cuts it there.
MappingReferenceParts SplitMappingReference(std::u16string_view reference);
