// Showing a registry key in the system's registry editor. On old Windows (95, 98, NT 4) the key
// is typed into a running editor's tree; elsewhere the running editor is ended, the key written
// to the editor's "LastKey" and the editor started anew.
#pragma once

#include <string>

#include "platform/types.h"

// root: a predefined root; keyPath: the key below it without leading backslash; valueName: the
// value to select, or null (it is selected only on the key-typing way). True when the editor was
// driven or started; false when no helper could be got, the start failed, or keyPath is null.
bool GoToKey(platform::RegKey root, const char16_t* keyPath, const char16_t* valueName);

// Types fullPath ("Computer\ROOT\key...") into the editor's tree and selects valueName in its
// list. False when fullPath has no backslash or nothing after its first one, or the editor has
// no tree; otherwise true.
bool GoToKey_Regedit(platform::WindowHandle editorWindow, const std::u16string& fullPath,
                     const char16_t* valueName);

// The editor's name of a predefined root ("HKEY_LOCAL_MACHINE", ...); empty for any other key.
const char16_t* RegistryRootName(platform::RegKey root);
