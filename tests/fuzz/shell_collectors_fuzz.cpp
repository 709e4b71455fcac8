// Classes, helper objects, menu entries, downloaded units, approved extensions and execute hooks
// of any names, types and bytes through the five browser and shell collectors: delivery, details
// of every entry, and Remove.
#include <memory>
#include <string>

#include "collectors/shell/ie_downloaded_activex.h"
#include "collectors/shell/ie_helper_objects.h"
#include "collectors/shell/ie_menu_extensions.h"
#include "collectors/shell/shell_extensions.h"
#include "tests/fuzz/fuzz_support.h"

namespace {

using platform::kHkeyClassesRoot;
using platform::kHkeyCurrentUser;
using platform::kHkeyLocalMachine;

constexpr char16_t kBho[] =
    u"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Browser Helper Objects\\";
constexpr char16_t kMenuExt[] = u"Software\\Microsoft\\Internet Explorer\\MenuExt\\";
constexpr char16_t kUnits[] = u"SOFTWARE\\Microsoft\\Code Store Database\\Distribution Units\\";
constexpr char16_t kApproved[] =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\Approved";
constexpr char16_t kHooks[] =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\ShellExecuteHooks";
// Where a unit keeps its values, and their names.
constexpr const char16_t* kUnitPlaces[][2] = {{u"", u""},
                                              {u"\\DownloadInformation", u"CODEBASE"},
                                              {u"\\DownloadInformation", u"INF"},
                                              {u"\\DownloadInformation", u"OSD"},
                                              {u"\\InstalledVersion", u"LastModified"}};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    fuzz::Machine m;
    const std::uint8_t removeAt = input.Byte();
    while (!input.Empty()) {
        const std::uint8_t kind = input.Byte() % 7;
        const std::u16string name = input.Text();
        const std::uint32_t type = input.Byte() % 5;
        const std::string bytes = input.Bytes(4);
        switch (kind) {
            case 0:
                m.machine.SetRaw(kHkeyClassesRoot, u"CLSID\\" + name, u"", type, bytes);
                break;
            case 1:
                m.machine.SetRaw(kHkeyClassesRoot, u"CLSID\\" + name + u"\\InprocServer32", u"",
                                 type, bytes);
                break;
            case 2:
                m.machine.AddKey(kHkeyLocalMachine, kBho + name);
                break;
            case 3:
                m.machine.SetRaw(kHkeyCurrentUser, kMenuExt + name, u"", type, bytes);
                break;
            case 4: {
                const auto& place = kUnitPlaces[bytes.size() % std::size(kUnitPlaces)];
                m.machine.SetRaw(kHkeyLocalMachine, kUnits + name + place[0], place[1], type,
                                 bytes);
                m.machine.SetRaw(kHkeyLocalMachine, kUnits + name + u"\\Contains\\Files",
                                 input.Text(), type, {});
                break;
            }
            default:
                m.machine.SetRaw(kHkeyLocalMachine, kind == 5 ? kApproved : kHooks, name, type,
                                 bytes);
        }
    }
    // Remove reaches the registry through the plug-in's helper support, as on the page.
    std::unique_ptr<CVistrelPlugin> sources[] = {std::make_unique<CVistrelIEBHO>(),
                                                 std::make_unique<CVistrelIEMenuExt>(),
                                                 std::make_unique<CVistrelIEDownloadedActiveX>(),
                                                 std::make_unique<CVistrelWEShellExtensions>(),
                                                 std::make_unique<CVistrelWEShellExecHooks>()};
    for (auto& source : sources)
        fuzz::Exercise(*source, removeAt, {CVistrelRegistryCollector::kActionRemove});
    return 0;
}
