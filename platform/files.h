// Files concern: finding, reading, writing and deleting files and folders by wide path.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/types.h"

namespace platform {

struct FindData {
    std::uint32_t attributes = 0;
    std::uint64_t size = 0;
    std::u16string name;  // the entry's name without its folder
};

class Files {
  public:
    virtual ~Files() = default;

    // FindFirstFileW: null when nothing matches (LastError then tells why). The pattern's last
    // component may hold the wildcards * and ?. A relative path is taken from the current folder.
    virtual FindHandle FindFirst(const char16_t* pattern, FindData* data) = 0;
    // FindNextFileW: false at the end (LastError kErrorNoMoreFiles).
    virtual bool FindNext(FindHandle handle, FindData* data) = 0;
    virtual void FindClose(FindHandle handle) = 0;

    // Reads a whole file into bytes. kErrorFileNotFound, kErrorPathNotFound, kErrorAccessDenied.
    virtual Status ReadAll(const char16_t* path, std::string* bytes) = 0;
    // Creates or replaces a file with bytes. The folder must exist.
    virtual Status WriteAll(const char16_t* path, std::string_view bytes) = 0;
    // Appends bytes to a file, creating it if needed.
    virtual Status Append(const char16_t* path, std::string_view bytes) = 0;
    // DeleteFileW. (Member names avoid the macros of windows.h.)
    virtual Status RemoveFile(const char16_t* path) = 0;
    // CreateDirectoryW (one level). kErrorAlreadyExists when it is there.
    virtual Status MakeDirectory(const char16_t* path) = 0;
    // RemoveDirectoryW: the folder must be empty.
    virtual Status RemoveEmptyDirectory(const char16_t* path) = 0;
    // GetFileAttributesW; false when the path doesn't exist.
    virtual bool GetAttributes(const char16_t* path, std::uint32_t* attributes) = 0;
    // GetCurrentDirectoryW, without trailing backslash.
    virtual std::u16string CurrentDirectory() = 0;

    // GetPrivateProfileSectionW of fileName, or GetProfileSectionW (win.ini) when fileName is
    // null. A bare name is looked for in the Windows folder. The section's lines go into buffer
    // as "key=value" (or the line as it stands without '='), each closed by a NUL, then one more
    // NUL; comments and blank lines are left out. Returns the characters written without the last
    // NUL: 0 for a missing file or section, chars - 2 when the lines don't fit. The system may
    // leave the last NUL out for a section it keeps in the registry: read only the count.
    virtual std::uint32_t ReadProfileSection(const char16_t* fileName, const char16_t* section,
                                             char16_t* buffer, std::uint32_t chars) = 0;
};

}  // namespace platform
