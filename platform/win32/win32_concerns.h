// The concern objects of the Win32 machine, one per source file of this folder. Each lives for
// the life of the module.
#pragma once

#include "platform/machine.h"

namespace platform::win32 {

Registry& RegistryBackend();
Environment& EnvironmentBackend();
Files& FilesBackend();
Shell& ShellBackend();
VersionInfo& VersionBackend();
Processes& ProcessesBackend();
ProcessEnumeration& ProcessEnumerationBackend();
Windows& WindowsBackend();
Resources& ResourcesBackend();
TraceSink& TraceBackend();

}  // namespace platform::win32
