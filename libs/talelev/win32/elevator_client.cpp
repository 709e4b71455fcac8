#include "libs/talelev/win32/elevator_client.h"

#include <memory>
#include <new>
#include <string>

#include "libs/talelev/remote_helper.h"
#include "libs/talelev/win32/pipe_frames.h"
#include "platform/win32/win32_handles.h"
// After the wrapper: the random generator needs its types.
#include <bcrypt.h>

namespace talelev::win32 {
namespace {

using platform::win32::UniqueFile;
using platform::win32::UniqueKernelHandle;
using platform::win32::Wide;

constexpr DWORD kConnectMilliseconds = 15000;
constexpr DWORD kExitMilliseconds = 3000;

class PipeChannel : public IHelperChannel {
  public:
    PipeChannel(UniqueFile pipe, UniqueKernelHandle process)
        : pipe_(std::move(pipe)), process_(std::move(process)) {}
    ~PipeChannel() override {
        // Closing the pipe ends the helper; it is given a moment so that no helper outlives a
        // page that was closed.
        pipe_.reset();
        if (process_) ::WaitForSingleObject(process_.get(), kExitMilliseconds);
    }
    bool Exchange(const std::string& request, std::string* answer) override {
        if (!pipe_) return false;
        if (WriteFrame(pipe_.get(), request) && ReadFrame(pipe_.get(), answer)) return true;
        pipe_.reset();
        return false;
    }
    std::uint32_t PeerProcessId() const override { return ::GetProcessId(process_.get()); }

  private:
    UniqueFile pipe_;
    UniqueKernelHandle process_;
};

// The folder of the module (DLL or program) that holds this code, with a trailing backslash.
std::wstring OwnFolder() {
    HMODULE module = nullptr;
    if (!::GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<LPCWSTR>(&CreateElevatorHelper), &module))
        return {};
    wchar_t path[MAX_PATH + 1] = {};
    const DWORD length = ::GetModuleFileNameW(module, path, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) return {};
    std::wstring folder(path, length);
    folder.resize(folder.find_last_of(L'\\') + 1);
    return folder;
}

// A pipe name that no other process can guess: the console's id and 128 random bits.
bool MakePipeName(std::wstring* name) {
    unsigned char random[16];
    if (!BCRYPT_SUCCESS(
            ::BCryptGenRandom(nullptr, random, sizeof random, BCRYPT_USE_SYSTEM_PREFERRED_RNG)))
        return false;
    *name = L"\\\\.\\pipe\\vistrel-elevator-" + std::to_wstring(::GetCurrentProcessId()) + L"-";
    static constexpr wchar_t kHex[] = L"0123456789abcdef";
    for (unsigned char byte : random) {
        name->push_back(kHex[byte >> 4]);
        name->push_back(kHex[byte & 15]);
    }
    return true;
}

// ShellExecuteExW of the helper: "runas" first; where the system has no such verb, plainly.
// A declined consent prompt is a refusal, not a reason to start it without rights.
bool StartHelper(const std::wstring& file, const std::wstring& parameters, HWND parent,
                 UniqueKernelHandle* process) {
    for (const wchar_t* verb : {L"runas", static_cast<const wchar_t*>(nullptr)}) {
        SHELLEXECUTEINFOW info{};
        info.cbSize = sizeof info;
        info.fMask = SEE_MASK_NOCLOSEPROCESS | SEE_MASK_FLAG_NO_UI | SEE_MASK_NOASYNC;
        info.hwnd = parent;
        info.lpVerb = verb;
        info.lpFile = file.c_str();
        info.lpParameters = parameters.c_str();
        info.nShow = SW_HIDE;
        if (::ShellExecuteExW(&info) && info.hProcess != nullptr) {
            process->reset(info.hProcess);
            return true;
        }
        if (::GetLastError() == ERROR_CANCELLED) return false;
    }
    return false;
}

// Opens the helper's end of the pipe once the helper has made it; gives up when the helper ends
// or the time is over.
bool Connect(const std::wstring& name, HANDLE process, UniqueFile* pipe) {
    const ULONGLONG deadline = ::GetTickCount64() + kConnectMilliseconds;
    while (::GetTickCount64() < deadline) {
        pipe->reset(::CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                  OPEN_EXISTING, SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION,
                                  nullptr));
        if (*pipe) return true;
        if (::WaitForSingleObject(process, 0) == WAIT_OBJECT_0) return false;
        if (::GetLastError() == ERROR_PIPE_BUSY)
            ::WaitNamedPipeW(name.c_str(), 200);
        else
            ::Sleep(20);
    }
    return false;
}

}  // namespace

std::int32_t CreateElevatorHelper(const ElevatedHelperRequest& request, IElevatedHelper** helper) {
    if (helper == nullptr) return platform::kEInvalidArg;
    *helper = nullptr;
    if (!request.elevated) return CElevatedHelperFactory::CreateInProcessHelper(request, helper);

    const std::wstring folder = OwnFolder();
    std::wstring pipeName;
    if (folder.empty() || !MakePipeName(&pipeName)) return platform::kEFail;
    const std::wstring file = folder + Wide(kElevatorFileName);
    const std::wstring parameters =
        L"--pipe " + pipeName + L" --parent " + std::to_wstring(::GetCurrentProcessId());
    UniqueKernelHandle process;
    if (!StartHelper(file, parameters, reinterpret_cast<HWND>(request.parentWindow), &process))
        return platform::HResultFromWin32(static_cast<platform::Status>(::GetLastError()));
    UniqueFile pipe;
    if (!Connect(pipeName, process.get(), &pipe)) {
        ::TerminateProcess(process.get(), 1);
        return platform::HResultFromWin32(platform::kErrorFileNotFound);
    }
    *helper = new (std::nothrow)
        CRemoteHelper(std::make_unique<PipeChannel>(std::move(pipe), std::move(process)));
    return *helper ? platform::kSOk : platform::kEOutOfMemory;
}

std::uint32_t HelperProcessId(IElevatedHelper* helper) {
    auto* remote = dynamic_cast<CRemoteHelper*>(helper);
    return remote ? remote->PeerProcessId() : 0;
}

}  // namespace talelev::win32
