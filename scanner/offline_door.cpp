#include "scanner/offline_door.h"

#include "platform/offline/offline_machine.h"

namespace scanner {

void OfferOffline(FrontDoor& door) {
    door.openOffline = [](const std::string& root, const std::string& user, std::string* error) {
        return platform::offline::OpenOfflineMachine({root, user}, error);
    };
}

}  // namespace scanner
