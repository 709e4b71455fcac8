// The module-wide objects: one of each per loaded library, reached directly by every layer.
#pragma once

#include <atomic>
#include <cstddef>

#include "include/vistrel/host.h"
#include "libs/talutils/tal_debug.h"
#include "libs/talutils/tdfile.h"
#include "platform/types.h"

class CVistrelMainPlugin;
class CVistrelDlg;

// The library's own module handle (an HINSTANCE on Windows), stored at attach; never freed.
extern void* g_moduleHandle;
// The trace object: made at load with mode 0; command 0 sets its mode and file.
extern CTalDebug g_trace;
// The root of the category tree: command 0 makes it, command 1 deletes it.
extern CVistrelMainPlugin* g_rootSource;
// The open language file, null when it could not be read.
extern _TDFILE* g_textFile;
// The host's service, copied by command 0; never cleared.
extern vistrel::HostCallback g_hostService;
// The page object: command 0 makes it when the host has a service, command 1 deletes it.
extern CVistrelDlg* g_dialog;
// The page's window while it exists, null otherwise: the owner of the elevation prompt. The page
// sets it on the dialog's thread; workers that ask for the elevated helper read it.
extern std::atomic<platform::WindowHandle> g_pageWindow;
// The descriptor the host reads through command 2.
extern vistrel::PluginDescriptor g_descriptor;
// The record the host reads through command 8.
extern const vistrel::Command8Record g_command8Record;

// Copies source into a field of capacity characters: at most capacity - 1 of them and a NUL, so
// a source that fills the field loses its last character. Null copies as empty.
void CopyBounded(char16_t* field, std::size_t capacity, const char16_t* source);
