// vistrel-elevator.exe: the helper process. The console starts it with the name of a pipe and
// its own process id; the helper makes that pipe, serves the one client that is the console,
// and runs each request with its own (raised) rights through the in-process helper. It ends
// when the console releases it, when the pipe closes, and when the console's process ends.
#include <cwchar>
#include <string>

#include "libs/talelev/helper_protocol.h"
#include "libs/talelev/win32/pipe_frames.h"
#include "platform/win32/win32_handles.h"
#include "platform/win32/win32_machine.h"

namespace {

using platform::win32::UniqueFile;
using platform::win32::UniqueKernelHandle;

// Requests run under this lock; the watcher takes it before it ends the process, so that the
// console's death never cuts a registry change in half.
CRITICAL_SECTION g_serving;

DWORD WINAPI WatchConsole(void* process) {
    ::WaitForSingleObject(process, INFINITE);
    ::EnterCriticalSection(&g_serving);
    ::ExitProcess(0);
}

bool ParseArguments(std::wstring* pipeName, DWORD* parentId) {
    int count = 0;
    LPWSTR* args = ::CommandLineToArgvW(::GetCommandLineW(), &count);
    if (args == nullptr) return false;
    for (int i = 1; i + 1 < count; i += 2) {
        if (std::wcscmp(args[i], L"--pipe") == 0) *pipeName = args[i + 1];
        if (std::wcscmp(args[i], L"--parent") == 0)
            *parentId = std::wcstoul(args[i + 1], nullptr, 10);
    }
    ::LocalFree(args);
    return pipeName->rfind(L"\\\\.\\pipe\\vistrel-elevator-", 0) == 0 && *parentId != 0;
}

// Waits for the console to connect; any other client is dropped and the wait goes on.
bool AcceptConsole(HANDLE pipe, DWORD parentId) {
    for (;;) {
        if (!::ConnectNamedPipe(pipe, nullptr) && ::GetLastError() != ERROR_PIPE_CONNECTED)
            return false;
        ULONG clientId = 0;
        if (::GetNamedPipeClientProcessId(pipe, &clientId) && clientId == parentId) return true;
        ::DisconnectNamedPipe(pipe);
    }
}

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR, int) {
    std::wstring pipeName;
    DWORD parentId = 0;
    if (!ParseArguments(&pipeName, &parentId)) return 2;
    UniqueKernelHandle console(::OpenProcess(SYNCHRONIZE, FALSE, parentId));
    if (!console) return 3;
    ::InitializeCriticalSection(&g_serving);
    UniqueKernelHandle watcher(
        ::CreateThread(nullptr, 0, &WatchConsole, console.get(), 0, nullptr));
    if (!watcher) return 4;

    // The first instance only, so that a process that made the pipe before us can't pose as us;
    // one instance, and no clients from other machines.
    UniqueFile pipe(::CreateNamedPipeW(
        pipeName.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_FIRST_PIPE_INSTANCE,
        PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, 1, 65536,
        65536, 0, nullptr));
    if (!pipe) return 5;
    if (!AcceptConsole(pipe.get(), parentId)) return 6;

    platform::win32::InstallWin32Machine();
    IElevatedHelper* helper = nullptr;
    if (CElevatedHelperFactory::CreateInProcessHelper({}, &helper) < 0) return 7;
    std::string request;
    bool release = false;
    while (!release && talelev::win32::ReadFrame(pipe.get(), &request)) {
        ::EnterCriticalSection(&g_serving);
        const std::string answer = talelev::ServeHelperRequest(*helper, request, &release);
        ::LeaveCriticalSection(&g_serving);
        if (!talelev::win32::WriteFrame(pipe.get(), answer)) break;
    }
    ::FlushFileBuffers(pipe.get());
    helper->Release();
    return 0;
}
