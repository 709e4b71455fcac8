// The answer of the profile-section calls from an INI file's bytes, for the machines that read
// INI files themselves: sections matched without regard to case, blanks around keys and values
// dropped, comments and blank lines left out, and the system's buffer rules.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace platform {

// What GetPrivateProfileSectionW writes into buffer (chars characters) and returns, for a file
// of these bytes, or for no file at all when fileBytes is null. ANSI bytes are taken byte for
// byte; a UTF-16 file announces itself by its BOM.
std::uint32_t AnswerProfileSection(const std::string* fileBytes, std::u16string_view section,
                                   char16_t* buffer, std::uint32_t chars);

}  // namespace platform
