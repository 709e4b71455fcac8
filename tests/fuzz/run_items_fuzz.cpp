// A run key of any values through the whole collector: delivery, details of every entry, Go to
// and Remove.
#include <string>

#include "collectors/autostart/run_items.h"
#include "tests/fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    fuzz::Machine m;
    const std::uint8_t removeAt = input.Byte();
    while (!input.Empty()) {
        const std::u16string name = input.Text();
        const std::uint32_t type = input.Byte() % 4;
        m.machine.SetRaw(platform::kHkeyCurrentUser,
                         u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run", name, type,
                         input.Bytes(4));
    }
    // Remove reaches the registry through the plug-in's helper support, as on the page.
    CVistrelRunItemCurrentUserRun run;
    fuzz::Exercise(run, removeAt, {CVistrelRunItemsBase::kActionRemove});
    return 0;
}
