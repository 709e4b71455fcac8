// File associations on the memory machine: that Restore writes exactly the default command into
// exactly the chosen key, or nothing. Fixtures go through HKEY_CLASSES_ROOT and the machine's
// own classes key alike, so they hold whether the merged view is one key or two. What is listed
// is in the recorded scans (tests/golden).
#include "collectors/shell/file_assoc.h"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "frame/module_objects.h"
#include "platform/machine.h"
#include "platform/memory/memory_machine.h"
#include "tools/elevation_support.h"

namespace {

using platform::kHkeyClassesRoot;
using platform::kHkeyLocalMachine;
using platform::memory::MemoryMachine;
using platform::memory::ScopedMachine;

constexpr std::array<const char16_t*, 4> kClasses = {u"exefile", u"comfile", u"batfile",
                                                     u"piffile"};
constexpr char16_t kEditorKey[] = u"Software\\Microsoft\\Windows\\CurrentVersion\\Applets\\Regedit";

std::string Bytes(std::u16string_view text) {
    return std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
}
std::u16string CommandKey(int cls) {
    return std::u16string(kClasses[cls]) + u"\\shell\\open\\command";
}
std::u16string MachineKey(int cls) {
    return u"Software\\Classes\\" + CommandKey(cls);
}

// What a class's command key holds as its default value.
struct Fixture {
    std::uint32_t type;
    std::string bytes;
};
Fixture Sz(std::u16string_view text) {
    return {platform::kRegSz, Bytes(text) + std::string(2, 0)};
}
const std::u16string kDefault = u"\"%1\" %*";

void Install(MemoryMachine& machine, const std::array<std::optional<Fixture>, 4>& classes) {
    for (int cls = 0; cls < 4; ++cls) {
        if (!classes[cls]) continue;
        const Fixture& f = *classes[cls];
        machine.SetRaw(kHkeyClassesRoot, CommandKey(cls), u"", f.type, f.bytes);
        machine.SetRaw(kHkeyLocalMachine, MachineKey(cls), u"", f.type, f.bytes);
    }
}

// Refresh, Go to and Restore, which the third button shown runs, for an entry only; writes
// need raised rights.
TEST(FileAssoc, ActionsAreOfferedForEntriesOnly) {
    MemoryMachine machine;
    ScopedMachine scoped(machine);
    Install(machine, {Sz(kDefault)});
    CVistrelFileAssoc assoc;
    ASSERT_EQ(assoc.EnumerateItems(nullptr, true, nullptr), 2);
    for (std::int32_t index : {-1, 0, 1, 2})
        EXPECT_EQ(assoc.GetActionMask(index), index == 0 || index == 1 ? 11u : 1u);
    EXPECT_EQ(assoc.GetActionCount(), 4);
    for (std::int32_t position = 0; position < 5; ++position)
        EXPECT_EQ(assoc.GetActionTextId(position), position < 3 ? 22200 + 2 * position : -1);
    EXPECT_TRUE(assoc.NeedsElevation);
}

// The items of the action fixture: 0 and 2 the hijacked exefile, 1 and 3 the default comfile.
constexpr char16_t kHijack[] = u"C:\\hijack.exe \"%1\" %*";

enum class Fault { kNone, kWritesRefused, kKeyGone, kNoHelper };

struct ActionCase {
    const char* what;
    std::int32_t action, index;
    Fault fault;
    bool returns;
    std::uint8_t succeeded;
    bool restored;  // the chosen key holds the default command as REG_SZ afterwards
    const char16_t* lastKey = nullptr;  // where the started editor opens; null: none started
};

const ActionCase kActionCases[] = {
    {"Restore rewrites a hijacked command as REG_SZ", 3, 2, Fault::kNone, true, 1, true},
    {"Restore through the merged view", 3, 0, Fault::kNone, true, 1, true},
    {"Restore of the default command writes it again", 3, 3, Fault::kNone, true, 1, true},
    {"a refused write is said and changes nothing", 3, 2, Fault::kWritesRefused, false, 0, false},
    {"a key deleted since the read isn't made again", 3, 2, Fault::kKeyGone, false, 0, false},
    {"without a helper nothing is written", 3, 2, Fault::kNoHelper, false, 0, false},
    {"Restore out of range is no failure to show", 3, 4, Fault::kNone, false, 1, false},
    {"Restore on the category itself", 3, -1, Fault::kNone, false, 1, false},
    {"action 2 doesn't exist here", 2, 2, Fault::kNone, false, 1, false},
    {"Refresh reads again", 0, -1, Fault::kNone, true, 1, false},
    {"the category has no key to go to", 1, -1, Fault::kNone, false, 1, false},
    {"Go to opens the entry's own key under its own root", 1, 2, Fault::kNone, false, 1, false,
     u"Computer\\HKEY_LOCAL_MACHINE\\Software\\CLASSES\\exefile\\shell\\open\\command"},
};

struct Dumped {
    bool present;
    std::uint32_t type;
    std::vector<std::uint8_t> bytes;
    bool operator==(const Dumped&) const = default;
};
// The default value of one key exactly as stored; present false when it or its key is missing.
Dumped Stored(platform::RegKey root, const std::u16string& path) {
    platform::Registry& registry = platform::machine().registry();
    Dumped d{false, 0, std::vector<std::uint8_t>(8192)};
    platform::RegKey key = nullptr;
    if (registry.OpenKey(root, path.c_str(), platform::kKeyQueryValue, &key) != 0) return {};
    auto size = static_cast<std::uint32_t>(d.bytes.size());
    d.present = registry.QueryValue(key, nullptr, &d.type, d.bytes.data(), &size) == 0;
    d.bytes.resize(d.present ? size : 0);
    registry.CloseKey(key);
    return d;
}
// The default values of all eight keys.
std::vector<Dumped> Dump() {
    std::vector<Dumped> dump;
    for (int cls = 0; cls < 4; ++cls) dump.push_back(Stored(kHkeyClassesRoot, CommandKey(cls)));
    for (int cls = 0; cls < 4; ++cls) dump.push_back(Stored(kHkeyLocalMachine, MachineKey(cls)));
    return dump;
}

TEST(FileAssoc, RestoreWritesExactlyTheDefaultIntoTheChosenKeyOrNothing) {
    const std::string restoredBytes = Bytes(kDefault) + std::string(2, 0);
    for (const ActionCase& c : kActionCases) {
        SCOPED_TRACE(c.what);
        MemoryMachine machine;
        ScopedMachine scoped(machine);
        CreateElevatedHelperSupport();
        Install(machine, {Fixture{platform::kRegExpandSz, Bytes(kHijack) + std::string(2, 0)},
                          Sz(kDefault)});
        CVistrelFileAssoc assoc;
        ASSERT_EQ(assoc.EnumerateItems(nullptr, true, nullptr), 4);
        const platform::RegKey root = c.index >= 2 ? kHkeyLocalMachine : kHkeyClassesRoot;
        const int cls = c.index >= 0 ? c.index % 2 : 0;
        const std::u16string key = c.index >= 2 ? MachineKey(cls) : CommandKey(cls);
        if (c.fault == Fault::kWritesRefused) machine.FailWrites(root, key);
        if (c.fault == Fault::kKeyGone) machine.registry().DeleteTree(root, key.c_str());
        if (c.fault == Fault::kNoHelper) DestroyElevatedHelperSupport();
        const std::vector<Dumped> before = Dump();

        resultFlags flags;
        EXPECT_EQ(assoc.DoAction(c.action, c.index, &flags), c.returns);
        EXPECT_EQ(flags.succeeded, c.succeeded);
        EXPECT_EQ(flags.deleteItem, 0);
        EXPECT_EQ(flags.localUpdate, 0);

        const std::vector<Dumped> after = Dump();
        for (std::size_t k = 0; k < after.size(); ++k) {
            // The chosen key, and where both roots are one key its twin, may change; no other.
            if (c.restored && static_cast<int>(k % 4) == cls) continue;
            EXPECT_EQ(after[k], before[k]) << "key " << k;
        }
        if (c.restored) {
            const Dumped value = Stored(root, key);
            EXPECT_EQ(value.type, platform::kRegSz);
            EXPECT_EQ(std::string(value.bytes.begin(), value.bytes.end()), restoredBytes);
        }
        if (c.fault == Fault::kKeyGone) {
            EXPECT_FALSE(machine.HasKey(root, key));
        }
        EXPECT_EQ(machine.Started().size(), c.lastKey ? 1u : 0u);
        EXPECT_EQ(machine.GetString(platform::kHkeyCurrentUser, kEditorKey, u"LastKey"),
                  c.lastKey ? std::optional<std::u16string>(c.lastKey) : std::nullopt);
        DestroyElevatedHelperSupport();
    }
}

}  // namespace
