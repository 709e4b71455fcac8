// An in-memory Windows machine for tests: registry, files, environment, special folders, links,
// version blocks, processes and windows, with fault injection. It answers every call with the
// status codes, sizes and terminators that Win32 gives (the contract suite proves it).
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/machine.h"

namespace platform::memory {

// What the machine recorded of a started process.
struct StartedProcess {
    std::u16string file;
    std::u16string parameters;
    std::uint32_t mask = 0;
    int show = 0;
    std::uint32_t processId = 0;
};

// A running process of the machine as the process queries and the toolhelp snapshots see it.
struct MemoryProcess {
    std::u16string exeName;               // szExeFile of the process snapshot
    std::u16string imagePath;             // what the image-path query gives
    std::vector<std::u16string> modules;  // full paths, the image first, in load order
    // Faults: the module snapshot fails with access denied, or opens empty; the image-path
    // query or the module query fails with access denied.
    bool moduleSnapshotDenied = false;
    bool moduleSnapshotEmpty = false;
    bool imagePathDenied = false;
    bool moduleQueryDenied = false;
};

class MemoryMachine : public Machine {
  public:
    // A fresh machine: the predefined roots exist and are empty; the drive C:\ exists and is
    // the current folder; no environment variable, special folder or window is set. The system
    // is version 10.0 and the token is not elevated, of type 1 (default: no split token).
    // A special folder that isn't set answers locationResult 0x80070002.
    MemoryMachine();
    ~MemoryMachine() override;

    Registry& registry() override;
    Environment& environment() override;
    Files& files() override;
    Shell& shell() override;
    VersionInfo& version() override;
    Processes& processes() override;
    ProcessEnumeration& processEnumeration() override;
    Windows& windows() override;
    Resources& resources() override;
    TraceSink& trace() override;
    std::uint32_t LastError() override;

    // --- registry set-up; paths are relative to root, levels created as needed ---
    void AddKey(RegKey root, std::u16string_view path);
    // Stores the text with its terminator (2 x length + 2 bytes).
    void SetString(RegKey root, std::u16string_view path, std::u16string_view name,
                   std::u16string_view value, std::uint32_t type = kRegSz);
    // Stores exactly these bytes (for odd sizes, missing terminators, binary data).
    void SetRaw(RegKey root, std::u16string_view path, std::u16string_view name, std::uint32_t type,
                std::string_view bytes);
    void SetDword(RegKey root, std::u16string_view path, std::u16string_view name,
                  std::uint32_t value);
    bool HasKey(RegKey root, std::u16string_view path) const;
    bool HasValue(RegKey root, std::u16string_view path, std::u16string_view name) const;
    // The value's bytes read as text up to the first NUL; nullopt when there is no value.
    std::optional<std::u16string> GetString(RegKey root, std::u16string_view path,
                                            std::u16string_view name) const;
    // Names of the values of a key in their order.
    std::vector<std::u16string> ValueNames(RegKey root, std::u16string_view path) const;

    // --- registry faults (each creates the key when it is missing) ---
    // Opening the key (with any access) gives kErrorAccessDenied.
    void DenyOpen(RegKey root, std::u16string_view path);
    // Enumerating values or sub-keys of the key gives status from the first index on.
    void FailEnumeration(RegKey root, std::u16string_view path, Status status = kErrorGenFailure);
    // Writing or deleting under the key gives status.
    void FailWrites(RegKey root, std::u16string_view path, Status status = kErrorAccessDenied);
    // How often OpenKey reached this key since the machine was made.
    int OpenCount(RegKey root, std::u16string_view path) const;

    // --- files; paths are absolute, with a drive letter or \\server\share ---
    void AddFolder(std::u16string_view path);
    // Creates missing folders too.
    void AddFile(std::u16string_view path, std::string_view bytes = {});
    bool HasFile(std::u16string_view path) const;
    // GetFileVersionInfo of the file gives this block (see tests/support for a builder).
    void SetVersionBlock(std::u16string_view path, std::string block);
    // Deleting the file gives status.
    void FailDelete(std::u16string_view path, Status status = kErrorAccessDenied);
    void SetCurrentDirectory(std::u16string_view path);
    // How many FindFirst calls the machine answered.
    int FindFirstCount() const;

    // --- shell ---
    void SetSpecialFolder(int csidl, std::u16string_view path);
    void FailSpecialFolderLocation(int csidl, HResult result);
    void FailSpecialFolderPath(int csidl);
    // A .lnk file (created as a file too) whose stored raw target is target.
    void AddLink(std::u16string_view linkPath, std::u16string_view target);
    // A .lnk file whose reading stops at step.
    void AddBrokenLink(std::u16string_view linkPath, LinkStep step);
    void FailComInitialize(HResult result);

    // --- environment, resources ---
    void SetEnv(std::u16string_view name, std::u16string_view value);
    void SetStringResource(std::uint32_t id, std::u16string_view text);

    // --- trace: every line written, per log file name ---
    std::vector<std::string> TraceLines() const;
    // Lines without their time stamp and thread prefix.
    std::vector<std::string> TraceMessages() const;
    void ClearTrace();

    // --- processes and system ---
    void SetOsVersion(std::uint32_t major, std::uint32_t minor);
    void FailOsVersion();
    void SetTokenElevation(bool elevated, int elevationType);
    // TickCount gives start, then each reading step milliseconds more (wrapping). Fresh: 0, 0.
    void SetTickCount(std::uint32_t start, std::uint32_t step);
    // A process whose exe name is imageName's file name, with imageName as its image path and
    // only module.
    void AddProcess(std::uint32_t processId, std::u16string_view imageName);
    void AddProcess(std::uint32_t processId, MemoryProcess process);
    void RemoveProcess(std::uint32_t processId);

    // --- process enumeration: "kernel32.dll" exports the toolhelp functions, wide and ANSI,
    // "psapi.dll" loads; other libraries don't. GetVersion follows SetOsVersion unless set. ---
    void FailLibraryLoad(std::u16string_view name);
    void RemoveExport(std::u16string_view library, std::string_view function);
    // CreateToolhelp32Snapshot of the process list fails with status.
    void FailProcessSnapshot(Status status = kErrorAccessDenied);
    // EnumProcesses fails with status.
    void FailProcessIds(Status status = kErrorAccessDenied);
    void SetVersionWord(std::uint32_t versionWord);
    void SetPlatformId(std::uint32_t platformId);
    // The thread locale's default ANSI code page (0: the locale answers nothing) and GetACP.
    // Code pages 1252 and 65001 convert; the default is 1252 for both.
    void SetAnsiCodePages(std::uint32_t localeCodePage, std::uint32_t acp);
    // Calls of the process enumeration concern since the machine was made.
    int ProcessEnumerationCalls() const;
    // Libraries loaded and not freed, snapshots made and not closed.
    int LoadedLibraries() const;
    int OpenSnapshots() const;
    void FailStart(Status status);
    void FailTerminate(std::uint32_t processId, Status status);
    const std::vector<StartedProcess>& Started() const;
    std::vector<std::uint32_t> Terminated() const;

    // --- windows; every call of the Windows concern is logged as text, in order ---
    WindowHandle AddWindow(std::u16string_view className, std::u16string_view title,
                           std::uint32_t processId, WindowHandle parent = nullptr);
    void SetShowCommand(WindowHandle window, std::uint32_t showCmd);
    void FailSetFocus(WindowHandle window);
    // For example "Send 0x1 256 37 0", "Sleep 100", "SetFocus 0x2", "Show 0x1 5". The other
    // lines: "Find <class> <title>", "FindChild <parent> <after> <class> <title>" (a null text
    // shows as "(null)"), "IsWindow <w>", "GetProcessId <w>", "GetShowCommand <w>",
    // "SetForeground <w>". Handles are "0x" and lower-case hex; numbers are decimal.
    const std::vector<std::string>& WindowCalls() const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

// Installs a machine as the module-wide one for its lifetime and puts the old one back after.
class ScopedMachine {
  public:
    explicit ScopedMachine(Machine& m) : previous_(SetMachine(&m)) {}
    ~ScopedMachine() { SetMachine(previous_); }
    ScopedMachine(const ScopedMachine&) = delete;
    ScopedMachine& operator=(const ScopedMachine&) = delete;

  private:
    Machine* previous_;
};

}  // namespace platform::memory
