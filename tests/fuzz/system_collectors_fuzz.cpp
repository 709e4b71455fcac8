// Service keys and catalogue entries of any values through the services and Winsock collectors:
// delivery, the details of every entry, Go to, and Remove of one service.
#include <string>

#include "collectors/autostart/services.h"
#include "collectors/autostart/winsock.h"
#include "tests/fuzz/fuzz_support.h"
#include "tools/elevation_support.h"

namespace {

constexpr char16_t kServices[] = u"SYSTEM\\CurrentControlSet\\Services";
constexpr char16_t kEntries[] =
    u"SYSTEM\\CurrentControlSet\\Services\\WinSock2\\Parameters\\Protocol_Catalog9\\"
    u"Catalog_Entries";
const char16_t* const kNames[] = {u"ImagePath", u"Type", u"DisplayName", u"Start",
                                  u"PackedCatalogItem"};

bool Ignore(std::int32_t, std::int32_t, const char16_t*, std::int32_t, void*) {
    return true;
}

bool CountEntry(std::int32_t, const char16_t* name, CVistrelPlugin*, CVistrelPlugin*, void*) {
    return name != nullptr;
}

void Exercise(CVistrelPlugin& source, std::uint8_t removeAt) {
    const std::int32_t count = source.EnumerateItems(&CountEntry, true, nullptr);
    for (std::int32_t i = -1; i <= count; ++i) source.GetItemDetails(i, &Ignore, nullptr);
    resultFlags flags;
    source.DoAction(2, removeAt % (count + 2) - 1, &flags);
}

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
    CreateElevatedHelperSupport();
    CVistrelServices_Process processes;
    CVistrelServices_Driver drivers;
    CVistrelWinsock winsock;
    Exercise(processes, removeAt);
    Exercise(drivers, removeAt);
    Exercise(winsock, removeAt);
    DestroyElevatedHelperSupport();
    return 0;
}
