// vistrel-scan.exe: the autostarts and processes of the machine it runs on, read through the
// real machine as the library installs it at load. The scan writes nothing, so no helper for
// raised rights is set up.
#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <iostream>

#include "frame/module_objects.h"
#include "libs/talutils/tdfile.h"
#include "libs/talutils/text_utils.h"
#include "platform/win32/win32_machine.h"
#include "platform/win32/windows_api.h"
#include "scanner/scan_command.h"

namespace {

// The folder of this program, in UTF-8, with its trailing backslash.
std::string ProgramFolder() {
    wchar_t path[32768];
    const DWORD length = GetModuleFileNameW(nullptr, path, static_cast<DWORD>(std::size(path)));
    if (length == 0 || length >= std::size(path)) return {};
    std::u16string text(reinterpret_cast<const char16_t*>(path), length);
    text.erase(text.find_last_of(u'\\') + 1);
    return talutils::ToUtf8(text);
}

}  // namespace

int main(int argc, char** argv) {
    g_moduleHandle = GetModuleHandleW(nullptr);
    platform::win32::InstallWin32Machine();
    // Records carry their own line ends; the C runtime must not add a CR to each.
    _setmode(_fileno(stdout), _O_BINARY);

    scanner::FrontDoor door;
    door.loadLanguage = [](const std::string& path) {
        if (g_textFile != nullptr) close_tdfile(g_textFile);
        g_textFile = load_tdfile(talutils::FromUtf8(path).c_str());
        return g_textFile != nullptr;
    };
    const std::string folder = ProgramFolder();
    if (!folder.empty()) door.defaultLanguage = folder + "Lang\\l_vistrel.ini";
    door.progressTerminal = _isatty(_fileno(stderr)) != 0;

    const int status = scanner::RunScanCommand(argc, argv, door, std::cout, std::cerr);
    if (g_textFile != nullptr) close_tdfile(g_textFile);
    g_textFile = nullptr;
    return status;
}
