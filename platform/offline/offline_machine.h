// A machine over a Windows installation that is not running: its disk mounted as a folder on
// this system. The registry comes from the hive files under Windows\System32\config (and one
// user's NTUSER.DAT and UsrClass.dat), files from the mounted tree; nothing can be written.
#pragma once

#include <memory>
#include <string>

#include "platform/machine.h"

namespace platform::offline {

struct OfflineOptions {
    std::string root;  // the mounted folder that holds Windows\ (and Users\)
    std::string user;  // the profile whose NTUSER.DAT is HKEY_CURRENT_USER; empty: the first found
};

// Opens the installation read-only. Null with *error set to a message for the user when the
// folder is not a Windows root, a hive is missing, truncated or of the wrong kind, or the user
// has no profile.
std::unique_ptr<Machine> OpenOfflineMachine(const OfflineOptions& options, std::string* error);

}  // namespace platform::offline
