// How the native program reaches the offline machine, if it was built with one.
#pragma once

#include "scanner/scan_command.h"

namespace scanner {

// Sets door's offline entry, or marks it missing in a build without the offline backend.
void OfferOffline(FrontDoor& door);

}  // namespace scanner
