// A hosts file of any bytes through the collector: every entry names a host and neither word
// holds a blank or a comment mark.
#include <string>

#include "collectors/files/hosts.h"
#include "tests/fuzz/fuzz_support.h"

namespace {

bool OneWord(const std::u16string& word) {
    return word.find_first_of(u" \t\r\n\v\f#") == std::u16string::npos;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Machine m;
    m.machine.SetSpecialFolder(platform::kCsidlSystem, u"C:\\WINDOWS\\system32");
    m.machine.AddFile(u"C:\\WINDOWS\\system32\\drivers\\etc\\hosts",
                      std::string(reinterpret_cast<const char*>(data), size));
    CVistrelHosts hosts;
    const std::int32_t count = hosts.EnumerateItems(nullptr, true, nullptr);
    for (const si_host_entry& entry : hosts.items) {
        if (entry.host.empty() || !OneWord(entry.host) || !OneWord(entry.address)) __builtin_trap();
    }
    fuzz::AllDetails(hosts, count);
    return 0;
}
