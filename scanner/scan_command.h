// The command line of the scanner, shared by its two programs: a live scan of the running
// machine, and an offline scan of a Windows folder mounted on this system.
#pragma once

#include <functional>
#include <iosfwd>
#include <memory>
#include <string>

#include "platform/machine.h"

namespace scanner {

// What a program brings to the shared command line.
struct FrontDoor {
    // Opens the installation under root (the profile user, empty for the first) for an offline
    // scan; null with *error set when it can't. Unset: the program scans the machine installed
    // at start and offers no --offline option.
    std::function<std::unique_ptr<platform::Machine>(const std::string& root,
                                                     const std::string& user, std::string* error)>
        openOffline;
    // Set with openOffline unset in a program that offers --offline but was built without it.
    bool offlineMissing = false;
    // Opens the language file at path (UTF-8) as the module's text file; false when it can't.
    std::function<bool(const std::string& path)> loadLanguage;
    // The language file the program uses without --lang; a missing one leaves resource texts.
    std::string defaultLanguage;
    // Progress lines go to standard error, which is a terminal.
    bool progressTerminal = false;
};

// Exit statuses.
inline constexpr int kExitComplete = 0;    // a scan read every category; a diff found nothing
inline constexpr int kExitIncomplete = 1;  // some category failed or was denied; a diff differs
inline constexpr int kExitUsage = 2;       // bad arguments or unreadable input: nothing written

// Parses argv and runs the scan or the diff. Records go to out unless --output names a file;
// messages and progress go to err.
int RunScanCommand(int argc, const char* const* argv, const FrontDoor& door, std::ostream& out,
                   std::ostream& err);

}  // namespace scanner
