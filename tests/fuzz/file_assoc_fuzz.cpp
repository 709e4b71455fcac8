// Class command keys of any values through the whole collector: delivery, details of every
// entry, Go to and Restore.
#include <string>

#include "collectors/shell/file_assoc.h"
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
    const std::uint8_t actionAt = input.Byte();
    const char16_t* const classes[] = {u"exefile", u"comfile", u"batfile", u"piffile"};
    while (!input.Empty()) {
        // Which class, under which root, and whether as the default value or a named one.
        const std::uint8_t where = input.Byte();
        const std::u16string command =
            std::u16string(classes[where % 4]) + u"\\shell\\open\\command";
        const bool machineWide = where & 4;
        const std::u16string name = where & 8 ? input.Text() : u"";
        const std::uint32_t type = input.Byte() % 8;
        const std::string bytes = input.Bytes(20);  // up to 5100 bytes: past what a read takes
        m.machine.SetRaw(machineWide ? platform::kHkeyLocalMachine : platform::kHkeyClassesRoot,
                         machineWide ? u"Software\\Classes\\" + command : command, name, type,
                         bytes);
    }
    CreateElevatedHelperSupport();
    CVistrelFileAssoc assoc;
    const std::int32_t count = assoc.EnumerateItems(&CountEntry, true, nullptr);
    for (std::int32_t i = -1; i <= count; ++i) assoc.GetItemDetails(i, &Ignore, nullptr);
    resultFlags flags;
    const std::int32_t index = actionAt % (count + 2) - 1;
    assoc.DoAction(CVistrelRegistryCollector::kActionGoTo, index, &flags);
    assoc.DoAction(CVistrelFileAssoc::kActionRestore, index, &flags);
    DestroyElevatedHelperSupport();
    return 0;
}
