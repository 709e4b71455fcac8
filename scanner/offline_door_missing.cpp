#include "scanner/offline_door.h"

namespace scanner {

void OfferOffline(FrontDoor& door) {
    door.offlineMissing = true;
}

}  // namespace scanner
