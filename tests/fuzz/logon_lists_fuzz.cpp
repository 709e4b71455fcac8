// Boot execute and AppInit_DLLs over a value of any type and bytes: a read, the details of every
// entry, and one Remove. A Remove that was carried out must leave exactly the other entries when
// the value is read again; one that was refused must leave the value's bytes as they were.
#include <cstdlib>
#include <string>
#include <vector>

#include "collectors/autostart/boot_execute.h"
#include "collectors/autostart/load_items.h"
#include "tests/fuzz/fuzz_support.h"
#include "tools/elevation_support.h"
#include "tools/registry_values.h"

namespace {

template <typename Collector, typename Text>
void RemoveAndReread(Collector& collector, std::uint8_t removeAt, Text text) {
    const std::int32_t count = collector.EnumerateItems(nullptr, true, nullptr);
    fuzz::AllDetails(collector, count);
    if (count <= 0) return;
    const std::int32_t index = removeAt % count;
    std::vector<std::u16string> kept;
    for (std::size_t i = 0; i < collector.items.size(); ++i)
        if (static_cast<std::int32_t>(i) != index) kept.push_back(text(collector.items[i]));
    RegValueBytes before;
    ReadRegValue(collector.root, collector.keyPath.c_str(), collector.valueName.c_str(), &before);
    resultFlags flags;
    const bool removed = collector.DoAction(2, index, &flags);
    RegValueBytes after;
    ReadRegValue(collector.root, collector.keyPath.c_str(), collector.valueName.c_str(), &after);
    if (!removed) {
        if (after.bytes != before.bytes || after.type != before.type) std::abort();
        return;
    }
    collector.EnumerateItems(nullptr, true, nullptr);
    std::vector<std::u16string> reread;
    for (const auto& item : collector.items) reread.push_back(text(item));
    if (reread != kept) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    fuzz::Machine m;
    const std::uint8_t removeAt = input.Byte();
    const std::uint32_t type = input.Byte() % 12;
    // Kept well below the 4096 bytes a read takes, so that a rewrite, which may widen a single
    // comma to ", ", still reads back.
    const std::string bytes = input.Rest().substr(0, 2048);
    m.machine.SetRaw(platform::kHkeyLocalMachine,
                     u"SYSTEM\\CurrentControlSet\\Control\\Session Manager", u"BootExecute", type,
                     bytes);
    m.machine.SetRaw(platform::kHkeyLocalMachine,
                     u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Windows", u"AppInit_DLLs",
                     type, bytes);
    CreateElevatedHelperSupport();
    CVistrelRunItemsBootExecute boot;
    RemoveAndReread(boot, removeAt, [](const std::u16string& s) { return s; });
    CVistrelLoadItemAppInitDLLs appInit;
    RemoveAndReread(appInit, removeAt, [](const ValueListToken& t) { return t.text; });
    DestroyElevatedHelperSupport();
    return 0;
}
