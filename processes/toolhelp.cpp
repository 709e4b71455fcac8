// The toolhelp walkers: the variant is chosen anew at each call, and the ANSI entry is turned
// into the wide one the callers read.
#include "processes/toolhelp.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>

#include "platform/machine.h"

namespace {

platform::ProcessEnumeration& System() {
    return platform::machine().processEnumeration();
}

// The top bit of GetVersion marks the 9x line, whose kernel32 has only the ANSI functions.
bool UsesAnsiFunctions() {
    return (System().VersionWord() & 0x80000000u) != 0;
}

// Converts one ANSI text field into its wide field of the same capacity. The field is read only
// up to its own end: a system that fills it to the brim leaves no terminator. A failed
// conversion gives an empty text.
void ConvertField(std::uint32_t codePage, const char* ansi, std::size_t capacity, char16_t* wide) {
    const auto length = static_cast<std::size_t>(std::find(ansi, ansi + capacity, '\0') - ansi);
    std::u16string converted(capacity + 1, u'\0');
    int chars = 0;
    if (length > 0)
        chars = System().ToWide(codePage, 0, ansi, static_cast<int>(length), converted.data(),
                                static_cast<int>(converted.size()));
    const std::size_t kept =
        std::min(static_cast<std::size_t>(chars > 0 ? chars : 0), capacity - 1);
    std::memcpy(wide, converted.data(), kept * sizeof(char16_t));
    // At most capacity - 1 characters are kept: the rest of the field, its last element too,
    // is 0.
    std::memset(wide + kept, 0, (capacity - kept) * sizeof(char16_t));
}

void ConvertText(std::uint32_t codePage, const platform::ProcessEntry32A& ansi,
                 platform::ProcessEntry32W* wide) {
    ConvertField(codePage, ansi.szExeFile, std::size(ansi.szExeFile), wide->szExeFile);
}

void ConvertText(std::uint32_t codePage, const platform::ModuleEntry32A& ansi,
                 platform::ModuleEntry32W* wide) {
    ConvertField(codePage, ansi.szModule, std::size(ansi.szModule), wide->szModule);
    ConvertField(codePage, ansi.szExePath, std::size(ansi.szExePath), wide->szExePath);
}

template <class WideEntry, class AnsiEntry>
bool Walk(const ToolhelpBinding& binding, platform::SnapshotHandle snapshot, WideEntry* entry,
          const char* ansiName, const char* wideName) {
    if (binding.module == nullptr) return false;
    if (!UsesAnsiFunctions()) {
        platform::FunctionHandle function = System().FindFunction(binding.module, wideName);
        if (function == nullptr) return false;
        return System().CallSnapshotWalk(function, snapshot, entry);
    }
    platform::FunctionHandle function = System().FindFunction(binding.module, ansiName);
    if (function == nullptr) return false;
    AnsiEntry ansi;
    ansi.dwSize = sizeof(AnsiEntry);
    if (!System().CallSnapshotWalk(function, snapshot, &ansi)) return false;
    // The numeric fields stand in the same places in both structures: a copy of the start
    // brings them over, and the text behind them is converted on top.
    static_assert(sizeof(AnsiEntry) <= sizeof(WideEntry));
    std::memcpy(static_cast<void*>(entry), &ansi, sizeof(AnsiEntry));
    ConvertText(ToolhelpCodePage(), ansi, entry);
    return true;
}

}  // namespace

void SnapshotTraits::Close(Handle h) {
    System().CloseSnapshot(h);
}

bool ThProcess32First(const ToolhelpBinding& binding, platform::SnapshotHandle snapshot,
                      platform::ProcessEntry32W* entry) {
    return Walk<platform::ProcessEntry32W, platform::ProcessEntry32A>(
        binding, snapshot, entry, "Process32First", "Process32FirstW");
}

bool ThProcess32Next(const ToolhelpBinding& binding, platform::SnapshotHandle snapshot,
                     platform::ProcessEntry32W* entry) {
    return Walk<platform::ProcessEntry32W, platform::ProcessEntry32A>(
        binding, snapshot, entry, "Process32Next", "Process32NextW");
}

bool ThModule32First(const ToolhelpBinding& binding, platform::SnapshotHandle snapshot,
                     platform::ModuleEntry32W* entry) {
    return Walk<platform::ModuleEntry32W, platform::ModuleEntry32A>(
        binding, snapshot, entry, "Module32First", "Module32FirstW");
}

bool ThModule32Next(const ToolhelpBinding& binding, platform::SnapshotHandle snapshot,
                    platform::ModuleEntry32W* entry) {
    return Walk<platform::ModuleEntry32W, platform::ModuleEntry32A>(
        binding, snapshot, entry, "Module32Next", "Module32NextW");
}

platform::SnapshotHandle CreateToolhelpSnapshot(const ToolhelpBinding& binding, std::uint32_t flags,
                                                std::uint32_t processId) {
    if (binding.module == nullptr) return nullptr;
    platform::FunctionHandle create =
        System().FindFunction(binding.module, "CreateToolhelp32Snapshot");
    if (create == nullptr) return nullptr;
    return System().CallCreateSnapshot(create, flags, processId);
}

std::uint32_t ToolhelpCodePage() {
    char text[16] = {};
    if (System().LocaleInfoA(platform::kLocaleIDefaultAnsiCodePage, text, sizeof(text)) > 0) {
        std::uint32_t codePage = 0;
        for (const char* digit = text; *digit >= '0' && *digit <= '9' && codePage < 100000; ++digit)
            codePage = codePage * 10 + static_cast<std::uint32_t>(*digit - '0');
        if (codePage != 0) return codePage;
    }
    return System().AnsiCodePage();
}

bool IsNt4OrOlder() {
    platform::OsVersionEx version;
    if (!System().VersionEx(&version)) return false;
    return version.platformId == platform::kVerPlatformWin32Nt && version.major <= 4;
}
