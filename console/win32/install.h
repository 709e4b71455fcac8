// Makes the Win32 view of the page available to CVistrelDlg (portable header).
#pragma once

namespace console::win32 {

// Called once at DLL attach with the module handle (HINSTANCE) whose resources hold the dialog
// templates 22000 and 22036.
void InstallWin32Console(void* moduleHandle);

}  // namespace console::win32
