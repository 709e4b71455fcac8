// INI files of any bytes and a mapping key of any values through both INI collectors: the read,
// the details of every entry and Go to on every entry and on the category.
#include <string>

#include "collectors/files/ini_items.h"
#include "tests/fuzz/fuzz_support.h"
#include "tools/elevation_support.h"
#include "tools/mapping_reference.h"

namespace {

constexpr char16_t kWinIni[] =
    u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\IniFileMapping\\win.ini";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    fuzz::Machine m;
    SplitMappingReference(input.Text());
    // The section as a value, as a sub-key with the key's value, and the defaults of both keys;
    // string types most of the time, so that references get parsed.
    const std::u16string sub = std::u16string(kWinIni) + u"\\windows";
    const char16_t* const names[][2] = {
        {kWinIni, u"windows"}, {sub.c_str(), u"run"}, {sub.c_str(), u""}, {kWinIni, u""}};
    for (const auto& [path, name] : names) {
        const std::uint8_t type = input.Byte();
        if (type & 0x80) continue;
        m.machine.SetRaw(platform::kHkeyLocalMachine, path, name, type % 3, input.Bytes(2));
    }
    m.machine.AddKey(platform::kHkeyCurrentUser, u"Software\\W");
    m.machine.AddKey(platform::kHkeyLocalMachine, u"SOFTWARE\\W");
    m.machine.AddFile(u"C:\\WINDOWS\\win.ini", input.Bytes(8));
    m.machine.AddFile(u"C:\\WINDOWS\\system.ini", input.Rest());
    CreateElevatedHelperSupport();
    CVistrelWinINI win;
    CVistrelSysINI sys;
    for (CVistrelINIBase* leaf :
         {static_cast<CVistrelINIBase*>(&win), static_cast<CVistrelINIBase*>(&sys)}) {
        const std::int32_t count = leaf->EnumerateItems(nullptr, true, nullptr);
        resultFlags flags;
        for (std::int32_t i = -1; i <= count; ++i) {
            leaf->GetItemDetails(i, &fuzz::Ignore, nullptr);
            leaf->DoAction(1, i, &flags);
        }
    }
    DestroyElevatedHelperSupport();
    return 0;
}
