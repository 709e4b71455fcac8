// The plug-in's way to a helper process: vistrel-elevator.exe, installed beside the module that
// holds this code, started with raised rights where the system asks for consent and plainly
// where it has no such verb, and reached over a named pipe whose name only the two processes
// know.
#pragma once

#include "libs/talelev/elevated_helper.h"

namespace talelev::win32 {

inline constexpr const char16_t* kElevatorFileName = u"vistrel-elevator.exe";

// An ElevatedHelperCreateFunction: an elevated request gets a helper whose operations run in a
// helper process; a direct request the in-process helper. Fails (null helper) when the helper
// process can't be started or reached, or the user declines the consent prompt.
std::int32_t CreateElevatorHelper(const ElevatedHelperRequest& request, IElevatedHelper** helper);

// The id of the process that serves helper, or 0 when it acts in this process.
std::uint32_t HelperProcessId(IElevatedHelper* helper);

}  // namespace talelev::win32
