// A run key of any values through the whole collector: delivery, details of every entry, Go to
// and Remove.
#include <string>

#include "collectors/autostart/run_items.h"
#include "tests/fuzz/fuzz_support.h"
#include "tools/elevation_support.h"

namespace {

bool Ignore(std::int32_t, std::int32_t, const char16_t*, std::int32_t, void*) {
    return true;
}

bool CountEntry(std::int32_t, const char16_t* name, CVistrelPlugin*, CVistrelPlugin*, void*) {
    return name != nullptr;
}

}  // namespace

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
    CreateElevatedHelperSupport();
    CVistrelRunItemCurrentUserRun run;
    const std::int32_t count = run.EnumerateItems(&CountEntry, true, nullptr);
    for (std::int32_t i = -1; i <= count; ++i) run.GetItemDetails(i, &Ignore, nullptr);
    resultFlags flags;
    run.DoAction(CVistrelRunItemsBase::kActionRemove, removeAt % (count + 2) - 1, &flags);
    DestroyElevatedHelperSupport();
    return 0;
}
