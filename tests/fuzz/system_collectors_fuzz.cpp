// Service keys and catalogue entries of any values through the services and Winsock collectors:
// delivery, the details of every entry, Go to, and Remove of one service.
#include <string>

#include "collectors/autostart/services.h"
#include "collectors/autostart/winsock.h"
#include "tests/fuzz/fuzz_support.h"

namespace {

constexpr char16_t kServices[] = u"SYSTEM\\CurrentControlSet\\Services";
constexpr char16_t kEntries[] =
    u"SYSTEM\\CurrentControlSet\\Services\\WinSock2\\Parameters\\Protocol_Catalog9\\"
    u"Catalog_Entries";
const char16_t* const kNames[] = {u"ImagePath", u"Type", u"DisplayName", u"Start",
                                  u"PackedCatalogItem"};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    fuzz::Machine m;
    const std::uint8_t removeAt = input.Byte();
    while (!input.Empty()) {
        // A sub-key of either key (its name of any content), then one value of a known name.
        const bool entry = input.Byte() & 1;
        const std::u16string key =
            std::u16string(entry ? kEntries : kServices) + u"\\" + input.Text();
        const char16_t* name = kNames[input.Byte() % 5];
        const std::uint32_t type = input.Byte() % 5;
        m.machine.SetRaw(platform::kHkeyLocalMachine, key, name, type, input.Bytes(4));
    }
    CVistrelServices_Process processes;
    CVistrelServices_Driver drivers;
    CVistrelWinsock winsock;
    for (CVistrelPlugin* source :
         {static_cast<CVistrelPlugin*>(&processes), static_cast<CVistrelPlugin*>(&drivers),
          static_cast<CVistrelPlugin*>(&winsock)})
        fuzz::Exercise(*source, removeAt, {CVistrelRegistryCollector::kActionRemove});
    return 0;
}
