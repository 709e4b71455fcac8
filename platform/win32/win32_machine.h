// The real Win32 machine (portable header: declares, includes nothing of Windows).
#pragma once

#include "platform/machine.h"

namespace platform::win32 {

// The process-wide Win32 machine; lives until the module is unloaded.
Machine& Win32Machine();
// Installs Win32Machine() as the module-wide machine.
void InstallWin32Machine();

}  // namespace platform::win32
