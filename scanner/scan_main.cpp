// vistrel-scan on Linux: the autostarts of a Windows folder mounted on this system. The language
// file is read from this system's disk through a memory machine that holds it alone, since the
// scanned machine's files are the mounted folder's.
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "frame/module_objects.h"
#include "libs/talutils/tdfile.h"
#include "platform/memory/memory_machine.h"
#include "scanner/offline_door.h"
#include "scanner/scan_command.h"

namespace {

constexpr char16_t kLanguagePath[] = u"C:\\Lang\\l_vistrel.ini";

}  // namespace

int main(int argc, char** argv) {
    platform::memory::MemoryMachine host;
    platform::memory::ScopedMachine scoped(host);

    scanner::FrontDoor door;
    scanner::OfferOffline(door);
    door.loadLanguage = [&host](const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        if (!file) return false;
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        host.AddFolder(u"C:\\Lang");
        host.AddFile(kLanguagePath, bytes);
        if (g_textFile != nullptr) close_tdfile(g_textFile);
        g_textFile = load_tdfile(kLanguagePath);
        return g_textFile != nullptr;
    };
    std::error_code error;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    if (!error) door.defaultLanguage = (self.parent_path() / "Lang" / "l_vistrel.ini").string();
    door.progressTerminal = isatty(STDERR_FILENO) == 1;

    const int status = scanner::RunScanCommand(argc, argv, door, std::cout, std::cerr);
    if (g_textFile != nullptr) close_tdfile(g_textFile);
    g_textFile = nullptr;
    return status;
}
