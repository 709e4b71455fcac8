// The process enumeration concern: libraries and their exports found at run time, the toolhelp
// functions called through what was found, the version words, the ANSI conversion, and the
// process queries of the elevation helper.
#include <cstddef>

#include "platform/process_enumeration.h"
#include "platform/win32/win32_concerns.h"
#include "platform/win32/win32_handles.h"
#include "platform/win32/windows_api.h"
// After the wrapper: these headers need its types.
#include <psapi.h>
#include <tlhelp32.h>

namespace platform::win32 {
namespace {

// The portable entries must be the system's, field for field, since the system writes them.
static_assert(sizeof(ProcessEntry32W) == sizeof(PROCESSENTRY32W));
// With UNICODE the plain names stand for the wide structures: the ANSI ones go by their tags.
static_assert(sizeof(ProcessEntry32A) == sizeof(tagPROCESSENTRY32));
static_assert(sizeof(ModuleEntry32W) == sizeof(MODULEENTRY32W));
static_assert(sizeof(ModuleEntry32A) == sizeof(tagMODULEENTRY32));
static_assert(offsetof(ProcessEntry32W, th32ProcessID) == offsetof(PROCESSENTRY32W, th32ProcessID));
static_assert(offsetof(ProcessEntry32W, szExeFile) == offsetof(PROCESSENTRY32W, szExeFile));
static_assert(offsetof(ProcessEntry32A, szExeFile) == offsetof(tagPROCESSENTRY32, szExeFile));
static_assert(offsetof(ModuleEntry32W, szModule) == offsetof(MODULEENTRY32W, szModule));
static_assert(offsetof(ModuleEntry32W, szExePath) == offsetof(MODULEENTRY32W, szExePath));
static_assert(offsetof(ModuleEntry32A, szExePath) == offsetof(tagMODULEENTRY32, szExePath));

using CreateSnapshotFunction = HANDLE(WINAPI*)(DWORD, DWORD);
using WalkFunction = BOOL(WINAPI*)(HANDLE, void*);

// GetProcAddress gives a generic function pointer; the caller knows the real signature.
template <class Function>
Function As(FunctionHandle function) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(function));
}

class Win32ProcessEnumeration final : public ProcessEnumeration {
  public:
    ModuleHandle LoadSystemLibrary(const char16_t* name) override {
        return reinterpret_cast<ModuleHandle>(::LoadLibraryW(Wide(name)));
    }
    void FreeSystemLibrary(ModuleHandle module) override {
        if (module) ::FreeLibrary(reinterpret_cast<HMODULE>(module));
    }
    FunctionHandle FindFunction(ModuleHandle module, const char* name) override {
        if (module == nullptr) {
            ::SetLastError(ERROR_INVALID_HANDLE);
            return nullptr;
        }
        return reinterpret_cast<FunctionHandle>(
            reinterpret_cast<void*>(::GetProcAddress(reinterpret_cast<HMODULE>(module), name)));
    }

    std::uint32_t VersionWord() override { return ::GetVersion(); }
    bool VersionEx(OsVersionEx* version) override {
        OSVERSIONINFOW info = {};
        info.dwOSVersionInfoSize = sizeof(info);
        if (!::GetVersionExW(&info)) return false;
        version->major = info.dwMajorVersion;
        version->minor = info.dwMinorVersion;
        version->build = info.dwBuildNumber;
        version->platformId = info.dwPlatformId;
        return true;
    }

    SnapshotHandle CallCreateSnapshot(FunctionHandle create, std::uint32_t flags,
                                      std::uint32_t processId) override {
        HANDLE snapshot = As<CreateSnapshotFunction>(create)(flags, processId);
        return snapshot == INVALID_HANDLE_VALUE ? nullptr
                                                : reinterpret_cast<SnapshotHandle>(snapshot);
    }
    bool CallSnapshotWalk(FunctionHandle walk, SnapshotHandle snapshot, void* entry) override {
        return As<WalkFunction>(walk)(reinterpret_cast<HANDLE>(snapshot), entry) != FALSE;
    }
    void CloseSnapshot(SnapshotHandle snapshot) override {
        if (snapshot) ::CloseHandle(reinterpret_cast<HANDLE>(snapshot));
    }

    int LocaleInfoA(std::uint32_t lcType, char* buffer, int capacity) override {
        return ::GetLocaleInfoA(::GetThreadLocale(), lcType, buffer, capacity);
    }
    std::uint32_t AnsiCodePage() override { return ::GetACP(); }
    int ToWide(std::uint32_t codePage, std::uint32_t flags, const char* bytes, int byteCount,
               char16_t* out, int outChars) override {
        return ::MultiByteToWideChar(codePage, flags, bytes, byteCount, Wide(out), outChars);
    }

    Status ProcessIds(std::vector<std::uint32_t>* ids) override {
        ids->clear();
        // The call can't say how many there are: the buffer grows until it isn't full.
        std::vector<DWORD> buffer(1024);
        for (;;) {
            DWORD bytes = 0;
            const DWORD capacity = static_cast<DWORD>(buffer.size() * sizeof(DWORD));
            if (!::EnumProcesses(buffer.data(), capacity, &bytes))
                return static_cast<Status>(::GetLastError());
            if (bytes < capacity) {
                ids->assign(buffer.begin(), buffer.begin() + bytes / sizeof(DWORD));
                return kErrorSuccess;
            }
            buffer.resize(buffer.size() * 2);
        }
    }

    Status ProcessImagePath(std::uint32_t processId, std::u16string* path) override {
        path->clear();
        UniqueKernelHandle process(
            ::OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
        if (!process) return static_cast<Status>(::GetLastError());
        std::u16string buffer(32768, u'\0');
        DWORD chars = static_cast<DWORD>(buffer.size());
        if (!::QueryFullProcessImageNameW(process.get(), 0, Wide(buffer.data()), &chars))
            return static_cast<Status>(::GetLastError());
        buffer.resize(chars);
        *path = std::move(buffer);
        return kErrorSuccess;
    }

    Status ProcessModulePaths(std::uint32_t processId,
                              std::vector<std::u16string>* paths) override {
        paths->clear();
        UniqueKernelHandle process(
            ::OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, processId));
        if (!process) return static_cast<Status>(::GetLastError());
        std::vector<HMODULE> modules(256);
        for (;;) {
            DWORD bytes = 0;
            const DWORD capacity = static_cast<DWORD>(modules.size() * sizeof(HMODULE));
            if (!::EnumProcessModulesEx(process.get(), modules.data(), capacity, &bytes,
                                        LIST_MODULES_ALL))
                return static_cast<Status>(::GetLastError());
            if (bytes <= capacity) {
                modules.resize(bytes / sizeof(HMODULE));
                break;
            }
            modules.resize(bytes / sizeof(HMODULE) + 16);
        }
        std::u16string buffer(32768, u'\0');
        for (HMODULE module : modules) {
            const DWORD chars = ::GetModuleFileNameExW(process.get(), module, Wide(buffer.data()),
                                                       static_cast<DWORD>(buffer.size()));
            // A module unloaded since the list was taken has no name any more.
            if (chars != 0) paths->emplace_back(buffer.data(), chars);
        }
        return kErrorSuccess;
    }
};

}  // namespace

ProcessEnumeration& ProcessEnumerationBackend() {
    static Win32ProcessEnumeration instance;
    return instance;
}

}  // namespace platform::win32
