// The processes concern: starting through the shell, ending, the system version and the token.
#include "platform/processes.h"
#include "platform/win32/win32_concerns.h"
#include "platform/win32/win32_handles.h"
#include "platform/win32/windows_api.h"

namespace platform::win32 {
namespace {

class Win32Processes final : public Processes {
  public:
    Status Start(const ShellExecuteInfo& info, std::uint32_t* processId) override {
        SHELLEXECUTEINFOW request = {};
        request.cbSize = sizeof(request);
        // The process handle is always asked for so that the id can be read; it is closed here.
        request.fMask = info.fMask | SEE_MASK_NOCLOSEPROCESS;
        request.hwnd = static_cast<HWND>(info.hwnd);
        request.lpVerb = Wide(info.lpVerb);
        request.lpFile = Wide(info.lpFile);
        request.lpParameters = Wide(info.lpParameters);
        request.lpDirectory = Wide(info.lpDirectory);
        request.nShow = info.nShow;
        request.lpIDList = info.lpIDList;
        request.lpClass = Wide(info.lpClass);
        request.hkeyClass = static_cast<HKEY>(info.hkeyClass);
        request.dwHotKey = info.dwHotKey;
        request.hIcon = static_cast<HANDLE>(info.hIconOrMonitor);
        if (!::ShellExecuteExW(&request)) return static_cast<Status>(::GetLastError());
        UniqueKernelHandle process(request.hProcess);
        *processId = process ? ::GetProcessId(process.get()) : 0;
        return kErrorSuccess;
    }

    Status Terminate(std::uint32_t processId) override {
        UniqueKernelHandle process(::OpenProcess(PROCESS_TERMINATE, FALSE, processId));
        if (!process) return static_cast<Status>(::GetLastError());
        if (!::TerminateProcess(process.get(), 1)) return static_cast<Status>(::GetLastError());
        return kErrorSuccess;
    }

    bool IsRunning(std::uint32_t processId) override {
        UniqueKernelHandle process(
            ::OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
        // A process of someone else that refuses us still runs.
        if (!process) return ::GetLastError() == ERROR_ACCESS_DENIED;
        return ::WaitForSingleObject(process.get(), 0) == WAIT_TIMEOUT;
    }

    bool GetOsVersion(std::uint32_t* major, std::uint32_t* minor) override {
        OSVERSIONINFOW version = {};
        version.dwOSVersionInfoSize = sizeof(version);
        if (!::GetVersionExW(&version)) return false;
        *major = version.dwMajorVersion;
        *minor = version.dwMinorVersion;
        return true;
    }

    bool GetTokenElevation(bool* elevated, int* elevationType) override {
        UniqueKernelHandle token;
        if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, token.put())) return false;
        TOKEN_ELEVATION elevation = {};
        DWORD size = 0;
        if (!::GetTokenInformation(token.get(), TokenElevation, &elevation, sizeof(elevation),
                                   &size)) {
            return false;
        }
        TOKEN_ELEVATION_TYPE type = TokenElevationTypeDefault;
        if (!::GetTokenInformation(token.get(), TokenElevationType, &type, sizeof(type), &size)) {
            return false;
        }
        *elevated = elevation.TokenIsElevated != 0;
        *elevationType = static_cast<int>(type);
        return true;
    }

    std::uint32_t TickCount() override { return ::GetTickCount(); }
};

}  // namespace

Processes& ProcessesBackend() {
    static Win32Processes instance;
    return instance;
}

}  // namespace platform::win32
