// The contract between a console host and vistrel.dll: one export, its commands and records.
//
// Lifecycle: load the library, command 0 with a HostContext, command 2, command 3 with the
// parent window object, any number of 5 (show) and 6 (hide), then 4, 1 and unload. Showing the
// page starts reading the machine in the background; hiding it stops that.
//
// Text is UTF-16 throughout (wchar_t on Windows, char16_t here; both are 16 bits wide there).
#pragma once

#include <cstddef>
#include <cstdint>

namespace vistrel {

// The host's service. The plug-in calls it with code 160 before it carries out an action and
// with answer pointing at a field set to 0; a field still 0 afterwards refuses the action.
using HostCallback = void (*)(std::uint32_t code, std::int32_t* answer);
inline constexpr std::uint32_t kHostCodeAllowAction = 160;

// Passed with command 0. Laid out for 64-bit pointers; the gaps belong to the host.
struct HostContext {
    const char16_t* install_path;  // folder that holds "Lang\l_vistrel.ini", no trailing '\'
    std::uint64_t reserved_8;
    std::int32_t trace_mode;  // 0: no log; otherwise "vistrel.log" in the current folder
    std::int32_t reserved_20;
    HostCallback host_callback;  // null: the host offers no page, command 0 gives 0
    std::uint64_t reserved_32[2];
    void* gdi_manager;  // the host's drawing resources; handed to the page, never dereferenced
};
static_assert(offsetof(HostContext, install_path) == 0);
static_assert(offsetof(HostContext, trace_mode) == 16);
static_assert(offsetof(HostContext, host_callback) == 24);
static_assert(offsetof(HostContext, gdi_manager) == 48);

// Read through command 2. Filled at load; command 3 replaces name with the catalogue's
// IDS_PLUGIN_NAME. Strings are NUL-terminated and cut to one character less than their field.
struct PluginDescriptor {
    char16_t name[32];         // "&Vistrel" until the page exists
    char16_t description[64];  // "System Information"
    char16_t version[32];      // "9. 0. 0. 0"
    std::uint32_t value_a;     // 180
    std::uint32_t reserved_260;
    std::uint64_t value_b;  // 0
    std::uint64_t reserved_272;
    std::uint64_t value_c;  // 0
    std::uint32_t reserved_288;
    std::uint32_t value_d;  // 0
};
static_assert(offsetof(PluginDescriptor, name) == 0);
static_assert(offsetof(PluginDescriptor, description) == 64);
static_assert(offsetof(PluginDescriptor, version) == 192);
static_assert(offsetof(PluginDescriptor, value_a) == 256);
static_assert(offsetof(PluginDescriptor, value_b) == 264);
static_assert(offsetof(PluginDescriptor, value_c) == 280);
static_assert(offsetof(PluginDescriptor, value_d) == 292);
static_assert(sizeof(PluginDescriptor) == 296);

// Read through command 8: 60300 and the address of the narrow text "bad allocation".
struct Command8Record {
    std::uint64_t first;
    std::uint64_t second;
};
static_assert(sizeof(Command8Record) == 16);

// The parent window object of command 3. The plug-in reads only the window handle at offset 8
// and calls nothing on the object; a host without a class library passes a record like this,
// whose first word may be anything (a class library puts its table pointer there).
struct ParentWindowObject {
    void* table;
    void* window;  // HWND of the window the page becomes a child of
};
static_assert(offsetof(ParentWindowObject, window) == 8);

enum Command : std::uint32_t {
    kCommandInitialise = 0,     // argument: HostContext*; result 1 if the page object exists
    kCommandTearDown = 1,       // result 1
    kCommandGetDescriptor = 2,  // result: address of PluginDescriptor
    kCommandCreatePage = 3,     // argument: ParentWindowObject*; result: page object or 0
    kCommandDestroyPage = 4,    // result 1
    kCommandShowPage = 5,       // result 1
    kCommandHidePage = 6,       // result 1
    kCommandGetRecord = 8,      // result: address of Command8Record
};

// The export: extern "C" std::uint64_t process_data(std::uint32_t command, std::uintptr_t arg).
using ProcessDataFunction = std::uint64_t (*)(std::uint32_t command, std::uintptr_t argument);
inline constexpr const char* kProcessDataName = "process_data";

}  // namespace vistrel
