// Reads a shell link (.lnk) file from its bytes, for machines that have no link object of their
// own. The file is untrusted: every size and offset in it is checked against the bytes that are
// really there, each structure is read only within the size it claims, and the list of extra
// blocks ends at the file's end whatever the blocks say.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace platform {

struct ShellLinkData {
    // The target as the link info keeps it: the local base path with the common path suffix.
    // Empty when the link has no link info, ignores it, or its target has no local path.
    std::u16string basePath;
    std::u16string relativePath;
    std::u16string workingDirectory;
    std::u16string arguments;
    // The target as it was written, variables unexpanded; empty when the link keeps none.
    std::u16string environmentTarget;
};

// The link's data, or nullopt when the bytes are not a shell link or a structure that must be
// read lies outside them. Text kept in the ANSI code page is read as code page 1252.
std::optional<ShellLinkData> ReadShellLink(std::string_view bytes);

// The path the link object hands out with the raw-path flag: the target with variables as
// written, else the link info's path, else the relative path taken from the link's own folder;
// at most maxChars characters, as the caller's buffer would cut it.
std::u16string LinkTargetPath(const ShellLinkData& link, std::u16string_view linkPath,
                              std::size_t maxChars);

}  // namespace platform
