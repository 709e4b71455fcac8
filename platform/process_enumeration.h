// Process enumeration concern: the system libraries loaded and searched by name at run time, the
// toolhelp snapshot functions called through what the search found, the system's version words,
// the ANSI code page and its conversion, and the process queries of the elevation helper.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/types.h"

namespace platform {

struct ModuleTag;
using ModuleHandle = ModuleTag*;  // HMODULE of LoadLibraryW
struct FunctionTag;
using FunctionHandle = FunctionTag*;  // what GetProcAddress found
struct SnapshotTag;
using SnapshotHandle = SnapshotTag*;  // a toolhelp snapshot; null stands for INVALID_HANDLE_VALUE

inline constexpr std::uint32_t kTh32csSnapProcess = 2;
inline constexpr std::uint32_t kTh32csSnapModule = 8;
inline constexpr std::uint32_t kVerPlatformWin32Nt = 2;
inline constexpr std::uint32_t kLocaleIDefaultAnsiCodePage = 4100;
inline constexpr Status kErrorBadLength = 24;
inline constexpr Status kErrorModNotFound = 126;
inline constexpr Status kErrorProcNotFound = 127;

// The toolhelp entries as 64-bit Windows lays them out; the wide and the ANSI form of each
// share their numeric fields, in the same places, before the text.
struct ProcessEntry32W {
    std::uint32_t dwSize = 0;
    std::uint32_t cntUsage = 0;
    std::uint32_t th32ProcessID = 0;
    std::uint64_t th32DefaultHeapID = 0;
    std::uint32_t th32ModuleID = 0;
    std::uint32_t cntThreads = 0;
    std::uint32_t th32ParentProcessID = 0;
    std::int32_t pcPriClassBase = 0;
    std::uint32_t dwFlags = 0;
    char16_t szExeFile[260] = {};
};
struct ProcessEntry32A {
    std::uint32_t dwSize = 0;
    std::uint32_t cntUsage = 0;
    std::uint32_t th32ProcessID = 0;
    std::uint64_t th32DefaultHeapID = 0;
    std::uint32_t th32ModuleID = 0;
    std::uint32_t cntThreads = 0;
    std::uint32_t th32ParentProcessID = 0;
    std::int32_t pcPriClassBase = 0;
    std::uint32_t dwFlags = 0;
    char szExeFile[260] = {};
};
struct ModuleEntry32W {
    std::uint32_t dwSize = 0;
    std::uint32_t th32ModuleID = 0;
    std::uint32_t th32ProcessID = 0;
    std::uint32_t GlblcntUsage = 0;
    std::uint32_t ProccntUsage = 0;
    std::uint8_t* modBaseAddr = nullptr;
    std::uint32_t modBaseSize = 0;
    void* hModule = nullptr;
    char16_t szModule[256] = {};
    char16_t szExePath[260] = {};
};
struct ModuleEntry32A {
    std::uint32_t dwSize = 0;
    std::uint32_t th32ModuleID = 0;
    std::uint32_t th32ProcessID = 0;
    std::uint32_t GlblcntUsage = 0;
    std::uint32_t ProccntUsage = 0;
    std::uint8_t* modBaseAddr = nullptr;
    std::uint32_t modBaseSize = 0;
    void* hModule = nullptr;
    char szModule[256] = {};
    char szExePath[260] = {};
};
static_assert(sizeof(ProcessEntry32W) == 568 && sizeof(ProcessEntry32A) == 304);
static_assert(sizeof(ModuleEntry32W) == 1080 && sizeof(ModuleEntry32A) == 568);

// What GetVersionExW reports.
struct OsVersionEx {
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    std::uint32_t build = 0;
    std::uint32_t platformId = 0;
};

class ProcessEnumeration {
  public:
    virtual ~ProcessEnumeration() = default;

    // LoadLibraryW: null on failure, with the last error set. Every success is paired with one
    // FreeSystemLibrary.
    virtual ModuleHandle LoadSystemLibrary(const char16_t* name) = 0;
    virtual void FreeSystemLibrary(ModuleHandle module) = 0;
    // GetProcAddress: null (last error 127) when the module doesn't export the name.
    virtual FunctionHandle FindFunction(ModuleHandle module, const char* name) = 0;

    // GetVersion: major in the low byte, minor in the next; the top bit is set on the 9x line.
    virtual std::uint32_t VersionWord() = 0;
    // GetVersionExW with the 276-byte structure. False when the call fails.
    virtual bool VersionEx(OsVersionEx* version) = 0;

    // Calls a found CreateToolhelp32Snapshot. Null (INVALID_HANDLE_VALUE) on failure, with the
    // last error set; a snapshot is closed with CloseSnapshot by whoever made it.
    virtual SnapshotHandle CallCreateSnapshot(FunctionHandle create, std::uint32_t flags,
                                              std::uint32_t processId) = 0;
    // Calls a found Process32First/Next or Module32First/Next, wide or ANSI; entry is the
    // structure that the function expects, with its dwSize set. False when the function gives
    // 0; the last error is what it left (18 at the end of the snapshot).
    virtual bool CallSnapshotWalk(FunctionHandle walk, SnapshotHandle snapshot, void* entry) = 0;
    virtual void CloseSnapshot(SnapshotHandle snapshot) = 0;

    // GetLocaleInfoA of the thread's locale: characters written with the terminator, 0 on
    // failure.
    virtual int LocaleInfoA(std::uint32_t lcType, char* buffer, int capacity) = 0;
    // GetACP.
    virtual std::uint32_t AnsiCodePage() = 0;
    // MultiByteToWideChar. byteCount -1 converts up to and with the terminator. outChars 0 asks
    // for the size; too small a buffer gives 0 with last error 122.
    virtual int ToWide(std::uint32_t codePage, std::uint32_t flags, const char* bytes,
                       int byteCount, char16_t* out, int outChars) = 0;

    // EnumProcesses: the ids of all running processes, in the system's order.
    virtual Status ProcessIds(std::vector<std::uint32_t>* ids) = 0;
    // OpenProcess with limited query rights and QueryFullProcessImageNameW. path is empty on
    // failure.
    virtual Status ProcessImagePath(std::uint32_t processId, std::u16string* path) = 0;
    // OpenProcess with query and read rights, EnumProcessModulesEx and GetModuleFileNameExW:
    // the full paths of the process's modules, the image first. paths is empty on failure.
    virtual Status ProcessModulePaths(std::uint32_t processId,
                                      std::vector<std::u16string>* paths) = 0;
};

}  // namespace platform
