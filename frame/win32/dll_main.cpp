// The library's entry: at attach it installs the real machine, the helper process for raised
// rights and the page's Win32 view. There is no class library to register with, so detach has
// nothing to undo.
#include "console/win32/install.h"
#include "frame/module_objects.h"
#include "libs/talelev/win32/elevator_client.h"
#include "platform/win32/win32_machine.h"
#include "platform/win32/windows_api.h"

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved) {
    (void)reserved;
    if (reason == DLL_PROCESS_ATTACH) {
        g_moduleHandle = instance;
        platform::win32::InstallWin32Machine();
        // Writes that need raised rights go to the helper process beside this module.
        CElevatedHelperFactory::SetCreateFunction(&talelev::win32::CreateElevatorHelper);
        // The page's dialog templates are in this module's resources, not the host's.
        console::win32::InstallWin32Console(instance);
    }
    return TRUE;
}
