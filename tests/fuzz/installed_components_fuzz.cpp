// Component keys of any names and values through the whole collector: delivery, details of
// every entry, Go to and Remove.
#include <string>

#include "collectors/shell/installed_components.h"
#include "tests/fuzz/fuzz_support.h"

constexpr char16_t kComponents[] = u"SOFTWARE\\Microsoft\\Active Setup\\Installed Components";

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    fuzz::Machine m;
    const std::uint8_t actionAt = input.Byte();
    m.machine.AddKey(platform::kHkeyLocalMachine, kComponents);
    while (!input.Empty()) {
        // Bit 0: a default value, bit 1: a "StubPath"; the types are any of the first eight.
        const std::uint8_t present = input.Byte();
        const std::u16string key = std::u16string(kComponents) + u"\\" + input.Text();
        m.machine.AddKey(platform::kHkeyLocalMachine, key);
        const std::uint32_t nameType = input.Byte() % 8;
        const std::string name = input.Bytes();
        const std::uint32_t stubType = input.Byte() % 8;
        const std::string stub = input.Bytes(20);  // up to 5100 bytes: past what a read takes
        if (present & 1) m.machine.SetRaw(platform::kHkeyLocalMachine, key, u"", nameType, name);
        if (present & 2)
            m.machine.SetRaw(platform::kHkeyLocalMachine, key, u"StubPath", stubType, stub);
    }
    CVistrelWEInstallededComponents components;
    fuzz::Exercise(
        components, actionAt,
        {CVistrelRegistryCollector::kActionGoTo, CVistrelRegistryCollector::kActionRemove});
    return 0;
}
