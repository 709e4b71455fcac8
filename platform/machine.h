// The machine the program runs on: one object that hands out each platform concern, chosen at
// run time. The DLL installs the real Win32 machine at load; tests install a memory machine.
#pragma once

#include <cstdint>

#include "platform/environment.h"
#include "platform/files.h"
#include "platform/process_enumeration.h"
#include "platform/processes.h"
#include "platform/registry.h"
#include "platform/resources.h"
#include "platform/shell.h"
#include "platform/trace.h"
#include "platform/version.h"
#include "platform/window_messages.h"

namespace platform {

class Machine {
  public:
    virtual ~Machine() = default;

    virtual Registry& registry() = 0;
    virtual Environment& environment() = 0;
    virtual Files& files() = 0;
    virtual Shell& shell() = 0;
    virtual VersionInfo& version() = 0;
    virtual Processes& processes() = 0;
    virtual ProcessEnumeration& processEnumeration() = 0;
    virtual Windows& windows() = 0;
    virtual Resources& resources() = 0;
    virtual TraceSink& trace() = 0;

    // GetLastError of the calling thread, as the last failing call of this machine left it.
    virtual std::uint32_t LastError() = 0;
};

// The module-wide machine. Using it before one is installed is a programming error.
Machine& machine();
// Installs the machine; returns the one it replaces. Not owned.
Machine* SetMachine(Machine* m);

}  // namespace platform
