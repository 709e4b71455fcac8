// What the collectors of folders and text files share: the folder lookup of their constructors,
// the delivery of their lists, and opening a file or folder through the shell.
#pragma once

#include <cstdint>
#include <string>

#include "sources/plugin.h"

// SHGetSpecialFolderLocation + SHGetPathFromIDListW of csidl, without a trailing backslash.
// Empty when either step fails; the failure goes to the trace.
std::u16string LookUpSpecialFolder(int csidl);

// ShellExecuteW(null, "open", file, parameters, null, show); the outcome is not looked at, as
// no collector reports it.
void OpenWithShell(const char16_t* file, const char16_t* parameters, int show);

// Delivers count entries in list order with textOf(index) as the name. A callback that says
// stop at index i gives i + 1; otherwise -1 when owner->failed is set, else count. A null
// callback only counts.
template <typename TextOf>
std::int32_t DeliverListItems(CVistrelPlugin* owner, std::size_t count, TextOf textOf,
                              EntryCallback callback, void* context) {
    const auto total = static_cast<std::int32_t>(count);
    for (std::int32_t index = 0; index < total && callback != nullptr; ++index) {
        const std::u16string& text = textOf(static_cast<std::size_t>(index));
        if (!callback(index, text.c_str(), nullptr, owner, context)) return index + 1;
    }
    return owner->failed ? kEnumNotFound : total;
}
