// The actions of the browser and shell collectors on the memory machine: where Go to sends the
// editor, that Remove deletes exactly the entry's key or value and nothing of the class or the
// other lists, and that a refused deletion is said and changes nothing. What they list is in
// the recorded scans (tests/golden).
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "collectors/shell/ie_downloaded_activex.h"
#include "collectors/shell/ie_helper_objects.h"
#include "collectors/shell/ie_menu_extensions.h"
#include "collectors/shell/installed_components.h"
#include "collectors/shell/shell_extensions.h"
#include "frame/module_objects.h"
#include "platform/memory/memory_machine.h"
#include "tools/elevation_support.h"

namespace {

using platform::kHkeyClassesRoot;
using platform::kHkeyCurrentUser;
using platform::kHkeyLocalMachine;
using platform::RegKey;
using platform::memory::MemoryMachine;
using platform::memory::ScopedMachine;
using namespace std::literals;

const std::u16string kBho =
    u"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Browser Helper Objects";
const std::u16string kMenuExt = u"Software\\Microsoft\\Internet Explorer\\MenuExt";
const std::u16string kUnits = u"SOFTWARE\\Microsoft\\Code Store Database\\Distribution Units";
const std::u16string kApproved =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\Approved";
const std::u16string kHooks =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\ShellExecuteHooks";
const std::u16string kComponents = u"SOFTWARE\\Microsoft\\Active Setup\\Installed Components";
constexpr char16_t kEditorKey[] = u"Software\\Microsoft\\Windows\\CurrentVersion\\Applets\\Regedit";

// One machine for every collector: two entries each, {A} and then {B}; the shell lists name an
// unknown class {C}, the downloaded units {D} and {E} have no class.
struct Stored {
    RegKey root;
    std::u16string key;
    std::u16string name;  // "-" stands for the key alone
};
const std::vector<Stored> kImage = {
    {kHkeyClassesRoot, u"CLSID\\{A}", u""},
    {kHkeyClassesRoot, u"CLSID\\{A}\\InprocServer32", u""},
    {kHkeyClassesRoot, u"CLSID\\{B}", u""},
    {kHkeyClassesRoot, u"CLSID\\{B}\\InprocServer32", u""},
    {kHkeyLocalMachine, kBho + u"\\{A}", u"-"},
    {kHkeyLocalMachine, kBho + u"\\{B}", u"-"},
    {kHkeyCurrentUser, kMenuExt + u"\\A", u""},
    {kHkeyCurrentUser, kMenuExt + u"\\B", u""},
    {kHkeyLocalMachine, kUnits + u"\\{D}\\DownloadInformation", u"CODEBASE"},
    {kHkeyLocalMachine, kUnits + u"\\{E}\\Contains\\Files", u"C:\\e.dll"},
    {kHkeyLocalMachine, kApproved, u"{A}"},
    {kHkeyLocalMachine, kApproved, u"{C}"},
    {kHkeyLocalMachine, kHooks, u"{A}"},
    {kHkeyLocalMachine, kHooks, u"{C}"},
    {kHkeyLocalMachine, kComponents + u"\\{A}", u"StubPath"},
    {kHkeyLocalMachine, kComponents + u"\\{B}", u"StubPath"},
    {kHkeyLocalMachine, kComponents + u"\\{B}\\Sub", u"x"},
};

void Install(MemoryMachine& machine) {
    for (const Stored& s : kImage) {
        if (s.name == u"-")
            machine.AddKey(s.root, s.key);
        else
            machine.SetString(s.root, s.key, s.name, u"x.exe");
    }
}
std::vector<bool> Held(const MemoryMachine& machine) {
    std::vector<bool> held;
    for (const Stored& s : kImage)
        held.push_back(s.name == u"-" ? machine.HasKey(s.root, s.key)
                                      : machine.HasValue(s.root, s.key, s.name));
    return held;
}

std::u16string GoTo(MemoryMachine& machine, CVistrelPlugin& source, std::int32_t index) {
    resultFlags flags;
    EXPECT_FALSE(source.DoAction(1, index, &flags));
    return machine.GetString(kHkeyCurrentUser, kEditorKey, u"LastKey").value_or(u"<none>");
}
// Remove; true when it said it was done. The flags must say the same.
bool Remove(CVistrelPlugin& source, std::int32_t index) {
    resultFlags flags;
    const bool done = source.DoAction(2, index, &flags);
    EXPECT_EQ(flags.succeeded, done ? 1 : 0);
    EXPECT_EQ(flags.deleteItem, done ? 1 : 0);
    EXPECT_EQ(flags.localUpdate, done ? 1 : 0);
    return done;
}

struct ActionCase {
    const char* what;
    std::unique_ptr<CVistrelPlugin> (*make)();
    std::u16string goToSecond, goToCategory;  // below "Computer\"
    RegKey root;
    std::u16string removedKey, removedValue;  // what Remove of the second entry takes
    std::u16string refusedKey;                // FailWrites here refuses Remove of the first
};

template <typename T>
std::unique_ptr<CVistrelPlugin> Make() {
    return std::make_unique<T>();
}

const ActionCase kActionCases[] = {
    {"browser helper objects: the class's server; Remove takes the entry's key only",
     Make<CVistrelIEBHO>, u"HKEY_CLASSES_ROOT\\CLSID\\{B}\\InprocServer32",
     u"HKEY_LOCAL_MACHINE\\" + kBho, kHkeyLocalMachine, kBho + u"\\{B}", u"", kBho + u"\\{A}"},
    {"menu extensions: the entry's own key", Make<CVistrelIEMenuExt>,
     u"HKEY_CURRENT_USER\\" + kMenuExt + u"\\B", u"HKEY_CURRENT_USER\\" + kMenuExt,
     kHkeyCurrentUser, kMenuExt + u"\\B", u"", kMenuExt + u"\\A"},
    {"downloaded controls: the unit's key; its files stay", Make<CVistrelIEDownloadedActiveX>,
     u"HKEY_LOCAL_MACHINE\\" + kUnits + u"\\{E}", u"HKEY_LOCAL_MACHINE\\" + kUnits,
     kHkeyLocalMachine, kUnits + u"\\{E}", u"", kUnits + u"\\{D}"},
    {"shell extensions: an unknown class's server key; Remove takes the one value",
     Make<CVistrelWEShellExtensions>, u"HKEY_CLASSES_ROOT\\CLSID\\{C}\\InprocServer32",
     u"HKEY_LOCAL_MACHINE\\" + kApproved, kHkeyLocalMachine, kApproved, u"{C}", kApproved},
    {"execute hooks: the same, and the approved list keeps its value",
     Make<CVistrelWEShellExecHooks>, u"HKEY_CLASSES_ROOT\\CLSID\\{C}\\InprocServer32",
     u"HKEY_LOCAL_MACHINE\\" + kHooks, kHkeyLocalMachine, kHooks, u"{C}", kHooks},
    {"installed components: the component's whole key", Make<CVistrelWEInstallededComponents>,
     u"HKEY_LOCAL_MACHINE\\" + kComponents + u"\\{B}", u"HKEY_LOCAL_MACHINE\\" + kComponents,
     kHkeyLocalMachine, kComponents + u"\\{B}", u"", kComponents + u"\\{A}"},
};

TEST(ShellCollectors, GoToAndRemoveReachExactlyTheChosenEntry) {
    for (const ActionCase& c : kActionCases) {
        SCOPED_TRACE(c.what);
        MemoryMachine machine;
        ScopedMachine scoped(machine);
        CreateElevatedHelperSupport();
        Install(machine);
        const std::unique_ptr<CVistrelPlugin> source = c.make();
        ASSERT_EQ(source->EnumerateItems(nullptr, true, nullptr), 2);
        EXPECT_EQ(source->GetActionMask(1), 7u);
        EXPECT_EQ(GoTo(machine, *source, 1), u"Computer\\" + c.goToSecond);
        EXPECT_EQ(GoTo(machine, *source, -1), u"Computer\\" + c.goToCategory);

        EXPECT_TRUE(Remove(*source, 1));
        std::vector<bool> held = Held(machine);
        for (std::size_t i = 0; i < kImage.size(); ++i) {
            const Stored& s = kImage[i];
            const bool removed =
                s.root == c.root &&
                (c.removedValue.empty() ? s.key.starts_with(c.removedKey)
                                        : s.key == c.removedKey && s.name == c.removedValue);
            EXPECT_EQ(held[i], !removed) << "stored " << i;
        }
        machine.FailWrites(c.root, c.refusedKey);
        EXPECT_FALSE(Remove(*source, 0));
        EXPECT_EQ(Held(machine), held);
        DestroyElevatedHelperSupport();
    }
}

TEST(ShellCollectors, FailedReadsAndHiddenNames) {
    MemoryMachine machine;
    ScopedMachine scoped(machine);
    // A components key that can't be opened fails the category and leaves only Refresh.
    machine.DenyOpen(kHkeyLocalMachine, kComponents);
    CVistrelWEInstallededComponents components;
    EXPECT_EQ(components.EnumerateItems(nullptr, true, nullptr), kEnumNotFound);
    EXPECT_EQ(components.GetActionMask(-1), 1u);
    // The shell lists keep Go to when their key is missing.
    CVistrelWEShellExecHooks hooks;
    EXPECT_EQ(hooks.EnumerateItems(nullptr, true, nullptr), kEnumNotFound);
    EXPECT_EQ(hooks.GetActionMask(-1), 3u);
    // A component whose key name holds a NUL would be reached as the shorter name: no entry.
    MemoryMachine other;
    ScopedMachine otherScoped(other);
    for (const std::u16string& key : {u"{A}"s, u"{A}\0evil"s})
        other.SetString(kHkeyLocalMachine, kComponents + u"\\" + key, u"StubPath", u"a.exe");
    ASSERT_EQ(components.EnumerateItems(nullptr, true, nullptr), 1);
    EXPECT_EQ(components.items[0].third, kComponents + u"\\{A}");
}

TEST(ShellCollectors, DownloadedControlDetailsCountWhatEachFileGave) {
    MemoryMachine machine;
    ScopedMachine scoped(machine);
    Install(machine);
    CVistrelIEDownloadedActiveX units;
    ASSERT_EQ(units.EnumerateItems(nullptr, true, nullptr), 2);
    // {E}: the code base, a separator, the heading, then a line and the details of its one
    // file, which is missing: its four lines count none.
    int lines = 0;
    const std::int32_t count = units.GetItemDetails(
        1,
        [](std::int32_t, std::int32_t, const char16_t*, std::int32_t, void* context) {
            ++*static_cast<int*>(context);
            return true;
        },
        &lines);
    EXPECT_EQ(count, 4);
    EXPECT_EQ(lines, 4 + 4);
}

}  // namespace
