// Class command keys of any values through the whole collector: delivery, details of every
// entry, Go to and Restore.
#include <string>

#include "collectors/shell/file_assoc.h"
#include "tests/fuzz/fuzz_support.h"

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
    CVistrelFileAssoc assoc;
    fuzz::Exercise(assoc, actionAt,
                   {CVistrelRegistryCollector::kActionGoTo, CVistrelFileAssoc::kActionRestore});
    return 0;
}
