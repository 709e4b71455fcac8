// Processes concern: starting and ending processes, the system version and the token's elevation.
#pragma once

#include <cstdint>

#include "platform/types.h"

namespace platform {

// SHELLEXECUTEINFOW as 64-bit Windows lays it out (112 bytes), with wide text as char16_t.
struct ShellExecuteInfo {
    std::uint32_t cbSize = 0;
    std::uint32_t fMask = 0;
    void* hwnd = nullptr;
    const char16_t* lpVerb = nullptr;
    const char16_t* lpFile = nullptr;
    const char16_t* lpParameters = nullptr;
    const char16_t* lpDirectory = nullptr;
    std::int32_t nShow = 0;
    void* hInstApp = nullptr;
    void* lpIDList = nullptr;
    const char16_t* lpClass = nullptr;
    void* hkeyClass = nullptr;
    std::uint32_t dwHotKey = 0;
    void* hIconOrMonitor = nullptr;
    void* hProcess = nullptr;
};
static_assert(sizeof(ShellExecuteInfo) == 112);

inline constexpr std::uint32_t kSeeMaskNoCloseProcess = 0x40;

class Processes {
  public:
    virtual ~Processes() = default;

    // ShellExecuteExW. On success *processId is the new process's id (0 if none was started)
    // and any process handle is closed again. Failure gives the error code.
    virtual Status Start(const ShellExecuteInfo& info, std::uint32_t* processId) = 0;
    // OpenProcess(PROCESS_TERMINATE) + TerminateProcess(1).
    virtual Status Terminate(std::uint32_t processId) = 0;
    // Whether a process with this id runs now.
    virtual bool IsRunning(std::uint32_t processId) = 0;

    // GetVersionExW with the 276-byte structure. False when the call fails.
    virtual bool GetOsVersion(std::uint32_t* major, std::uint32_t* minor) = 0;
    // TokenElevation and TokenElevationType of the process token. False when not readable.
    virtual bool GetTokenElevation(bool* elevated, int* elevationType) = 0;
    // GetTickCount: milliseconds since the system started, wrapping after 49.7 days.
    virtual std::uint32_t TickCount() = 0;
};

}  // namespace platform
