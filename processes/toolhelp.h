// The bindings of the process category to the system libraries, and the four toolhelp walkers
// that always give wide text, whichever variant of a function the system offers. Nothing here is
// imported statically: every function is looked up by name in the bound module at each use.
#pragma once

#include <cstdint>

#include "libs/talelev/elevated_helper.h"
#include "platform/process_enumeration.h"
#include "platform/unique_handle.h"

// "kernel32.dll", null when loading failed.
struct ToolhelpBinding {
    platform::ModuleHandle module = nullptr;
};

struct PsapiBinding {
    platform::ModuleHandle module = nullptr;  // "psapi.dll", loaded and held; nothing looked up
    IElevatedHelper* helper = nullptr;        // borrowed from the elevation support
    bool useElevated = false;                 // the flag of the list's last SetUseElevation
};

// How a process node reaches its list.
class si_process_info {
  public:
    // True when the lists come from the helper, not from toolhelp.
    virtual bool UseHelperEnumeration() = 0;
    virtual PsapiBinding* GetPsapiBinding() = 0;
    virtual ToolhelpBinding* GetToolhelpBinding() = 0;

  protected:
    ~si_process_info() = default;
};

// The walkers. The caller sets the entry's dwSize to the wide structure's size. On a system of
// the 9x line (top bit of GetVersion) the ANSI function is called and its text converted with
// the thread locale's ANSI code page; a text that fills its field is cut so that it ends in 0.
// False without a call when the module is null or the function is missing; otherwise the last
// error is what the system function left.
bool ThProcess32First(const ToolhelpBinding& binding, platform::SnapshotHandle snapshot,
                      platform::ProcessEntry32W* entry);
bool ThProcess32Next(const ToolhelpBinding& binding, platform::SnapshotHandle snapshot,
                     platform::ProcessEntry32W* entry);
bool ThModule32First(const ToolhelpBinding& binding, platform::SnapshotHandle snapshot,
                     platform::ModuleEntry32W* entry);
bool ThModule32Next(const ToolhelpBinding& binding, platform::SnapshotHandle snapshot,
                    platform::ModuleEntry32W* entry);

// CreateToolhelp32Snapshot, looked up anew in the binding's module. Null when the module is
// null, the function is missing or the snapshot fails; a snapshot is closed with
// CloseSnapshot by the caller (UniqueSnapshot does it).
platform::SnapshotHandle CreateToolhelpSnapshot(const ToolhelpBinding& binding, std::uint32_t flags,
                                                std::uint32_t processId);

// The code page of the ANSI conversion: the thread locale's default ANSI code page, or GetACP
// when the locale gives none or 0.
std::uint32_t ToolhelpCodePage();

// GetVersionExW: an NT system of major version 4 or less. False when the call fails.
bool IsNt4OrOlder();

struct SnapshotTraits {
    using Handle = platform::SnapshotHandle;
    static Handle Invalid() { return nullptr; }
    static void Close(Handle h);
};
using UniqueSnapshot = platform::UniqueHandle<SnapshotTraits>;
