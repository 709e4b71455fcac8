// Environment concern: expansion of %VARIABLE% references and the variables themselves.
#pragma once

#include <cstdint>
#include <string>

namespace platform {

class Environment {
  public:
    virtual ~Environment() = default;

    // ExpandEnvironmentStringsW. Returns the characters needed including the terminator, or 0
    // on failure. When the result is larger than destChars the buffer's contents are undefined.
    // Names are matched without regard to case; an unknown %NAME% stays as written.
    virtual std::uint32_t ExpandStrings(const char16_t* source, char16_t* dest,
                                        std::uint32_t destChars) = 0;

    // SetEnvironmentVariableW for this process; a null value removes the variable.
    virtual bool SetVariable(const char16_t* name, const char16_t* value) = 0;
    // GetEnvironmentVariableW: false when the variable isn't set.
    virtual bool GetVariable(const char16_t* name, std::u16string* value) = 0;
};

}  // namespace platform
