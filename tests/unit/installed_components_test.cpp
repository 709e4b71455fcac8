// Installed components on the memory machine: which component keys become entries and with what
// texts, whatever their values hold, and that Go to and Remove reach exactly the chosen key.
#include "collectors/shell/installed_components.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "frame/module_objects.h"
#include "platform/memory/memory_machine.h"
#include "tools/elevation_support.h"
#include "tools/file_details.h"

namespace {

using platform::kHkeyLocalMachine;
using platform::memory::MemoryMachine;
using platform::memory::ScopedMachine;

constexpr char16_t kComponents[] = u"SOFTWARE\\Microsoft\\Active Setup\\Installed Components";
constexpr char16_t kEditorKey[] = u"Software\\Microsoft\\Windows\\CurrentVersion\\Applets\\Regedit";

std::string Bytes(std::u16string_view text) {
    return std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
}
std::u16string Under(std::u16string_view component) {
    return std::u16string(kComponents) + u"\\" + std::u16string(component);
}

struct Value {
    std::uint32_t type;
    std::string bytes;
};
Value Sz(std::u16string_view text) {
    return {platform::kRegSz, Bytes(text) + std::string(2, 0)};
}

// A component key with its default value (the name) and its "StubPath", each when given.
struct Component {
    std::u16string key;
    std::optional<Value> name;
    std::optional<Value> stub;
};

// An expected entry: what the tree shows, the name, the command and the component's key.
struct Entry {
    std::u16string shown, first, second, key;
};

bool Collect(std::int32_t, const char16_t* text, CVistrelPlugin*, CVistrelPlugin*, void* context) {
    static_cast<std::vector<std::u16string>*>(context)->push_back(text);
    return true;
}

struct ListCase {
    const char* what;
    std::vector<Component> components;  // sub-keys enumerate sorted by name
    std::vector<Entry> entries;
    bool denied = false;  // the components key can't be opened
};

const std::u16string kLong(2048, u'x');  // with its terminator 4098 bytes: more than a read takes

const ListCase kListCases[] = {
    {"a named component shows its name and keeps its whole command",
     {{u"{A}", Sz(u"Browser Patch"), Sz(u"\"C:\\p\\setup.exe\" /install")}},
     {{u"Browser Patch", u"Browser Patch", u"\"C:\\p\\setup.exe\" /install", u"{A}"}}},
    {"a component without StubPath is no entry", {{u"{A}", Sz(u"Only a name"), std::nullopt}}, {}},
    {"an empty StubPath is no entry", {{u"{A}", Sz(u"Name"), Sz(u"")}}, {}},
    {"a zero-byte StubPath after a listed one is no entry",
     {{u"{A}", std::nullopt, Sz(u"C:\\a.exe")}, {u"{B}", Sz(u"B"), Value{platform::kRegSz, ""}}},
     {{u"C:\\a.exe", u"", u"C:\\a.exe", u"{A}"}}},
    {"a zero-byte name doesn't take the command read before it",
     {{u"{A}", Value{platform::kRegSz, ""}, Sz(u"C:\\a.exe /x")}},
     {{u"C:\\a.exe /x", u"", u"C:\\a.exe /x", u"{A}"}}},
    {"an empty or missing name shows the command, never the default value's label",
     {{u"{A}", Sz(u""), Sz(u"a.exe")}, {u"{B}", std::nullopt, Sz(u"b.exe")}},
     {{u"a.exe", u"", u"a.exe", u"{A}"}, {u"b.exe", u"", u"b.exe", u"{B}"}}},
    {"a StubPath without terminator ends at its last whole character",
     {{u"{A}", Value{platform::kRegBinary, Bytes(u"N")},
       Value{platform::kRegSz, Bytes(u"c.exe") + "x"}}},
     {{u"N", u"N", u"c.exe", u"{A}"}}},
    {"the type of StubPath isn't looked at, the text ends at its first NUL",
     {{u"{A}", std::nullopt, Value{platform::kRegExpandSz, Bytes(u"%SystemRoot%\\x.exe\0junk")}},
      {u"{B}", std::nullopt, Value{platform::kRegBinary, Bytes(u"bin.exe")}}},
     {{u"%SystemRoot%\\x.exe", u"", u"%SystemRoot%\\x.exe", u"{A}"},
      {u"bin.exe", u"", u"bin.exe", u"{B}"}}},
    {"a StubPath over 4096 bytes is no entry, an unreadable name leaves the entry",
     {{u"{A}", Sz(u"Big"), Sz(kLong)}, {u"{B}", Sz(kLong), Sz(u"b.exe")}},
     {{u"b.exe", u"", u"b.exe", u"{B}"}}},
    {"a key name with a NUL inside can't be reached exactly and is no entry",
     {{u"{A}", Sz(u"Real"), Sz(u"real.exe")},
      {std::u16string(u"{A}\0evil", 8), Sz(u"Fake"), Sz(u"fake.exe")}},
     {{u"Real", u"Real", u"real.exe", u"{A}"}}},
    {"an unreadable components key fails the category",
     {{u"{A}", Sz(u"A"), Sz(u"a.exe")}},
     {},
     true},
};

bool CollectLine(std::int32_t, std::int32_t label, const char16_t* value, std::int32_t,
                 void* context) {
    static_cast<std::vector<std::pair<std::int32_t, std::u16string>>*>(context)->emplace_back(
        label, value ? value : u"<null>");
    return true;
}

void Install(MemoryMachine& machine, const Component& c) {
    const std::u16string key = Under(c.key);
    machine.AddKey(kHkeyLocalMachine, key);
    if (c.name) machine.SetRaw(kHkeyLocalMachine, key, u"", c.name->type, c.name->bytes);
    if (c.stub) machine.SetRaw(kHkeyLocalMachine, key, u"StubPath", c.stub->type, c.stub->bytes);
}

TEST(InstalledComponents, ListsComponentsWithACommandAndNothingElse) {
    for (const ListCase& c : kListCases) {
        SCOPED_TRACE(c.what);
        MemoryMachine machine;
        ScopedMachine scoped(machine);
        machine.AddKey(kHkeyLocalMachine, kComponents);
        for (const Component& component : c.components) Install(machine, component);
        if (c.denied) machine.DenyOpen(kHkeyLocalMachine, kComponents);
        CVistrelWEInstallededComponents components;
        std::vector<std::u16string> shown;
        EXPECT_EQ(components.EnumerateItems(Collect, true, &shown),
                  c.denied ? kEnumNotFound : static_cast<std::int32_t>(c.entries.size()));
        EXPECT_EQ(components.failed, c.denied);
        // The category offers Go to its key unless that can't be read.
        EXPECT_EQ(components.GetActionMask(-1), c.denied ? 1u : 3u);
        ASSERT_EQ(components.items.size(), c.entries.size());
        for (std::size_t i = 0; i < c.entries.size(); ++i) {
            EXPECT_EQ(shown[i], c.entries[i].shown);
            EXPECT_EQ(components.items[i].first, c.entries[i].first);
            EXPECT_EQ(components.items[i].second, c.entries[i].second);
            EXPECT_EQ(components.items[i].third, Under(c.entries[i].key));
        }
    }
}

TEST(InstalledComponents, GoToAndRemoveReachExactlyTheChosenComponent) {
    MemoryMachine machine;
    ScopedMachine scoped(machine);
    CreateElevatedHelperSupport();
    CVistrelWEInstallededComponents components;
    machine.AddFile(u"C:\\p\\setup.exe", "MZ");
    Install(machine, {u"{A}", Sz(u"First"), Sz(u"a.exe")});
    Install(machine, {u"{B}", Sz(u"Second"), Sz(u"\"C:\\p\\setup.exe\" /install")});
    machine.SetString(kHkeyLocalMachine, Under(u"{B}") + u"\\Sub", u"x", u"y");
    Install(machine, {u"{C}", Sz(u"Third"), Sz(u"c.exe")});
    ASSERT_EQ(components.EnumerateItems(nullptr, true, nullptr), 3);
    EXPECT_EQ(components.GetActionMask(1), 7u);

    // The details describe the file the command names, with the whole command as the object.
    std::vector<std::pair<std::int32_t, std::u16string>> lines;
    components.GetItemDetails(1, CollectLine, &lines);
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines[0],
              std::make_pair(kDetailsTextObject, std::u16string(u"\"C:\\p\\setup.exe\" /install")));
    EXPECT_EQ(lines[2], std::make_pair(kDetailsTextPath, std::u16string(u"C:\\p\\setup.exe")));

    resultFlags goTo;
    EXPECT_FALSE(components.DoAction(1, 1, &goTo));
    EXPECT_EQ(machine.GetString(platform::kHkeyCurrentUser, kEditorKey, u"LastKey"),
              u"Computer\\HKEY_LOCAL_MACHINE\\" + Under(u"{B}"));
    EXPECT_FALSE(components.DoAction(-1, -1, &goTo));
    EXPECT_EQ(machine.GetString(platform::kHkeyCurrentUser, kEditorKey, u"LastKey"),
              u"Computer\\HKEY_LOCAL_MACHINE\\" + std::u16string(kComponents));

    resultFlags removed;
    ASSERT_TRUE(components.DoAction(2, 1, &removed));
    EXPECT_EQ(removed.deleteItem, 1);
    EXPECT_EQ(removed.localUpdate, 1);
    EXPECT_FALSE(machine.HasKey(kHkeyLocalMachine, Under(u"{B}")));
    EXPECT_TRUE(machine.HasKey(kHkeyLocalMachine, Under(u"{A}")));
    EXPECT_TRUE(machine.HasKey(kHkeyLocalMachine, Under(u"{C}")));
    ASSERT_EQ(components.items.size(), 3u);  // indexes stay right until the next read

    // A refused deletion is said and leaves the key whole.
    machine.FailWrites(kHkeyLocalMachine, Under(u"{C}"));
    resultFlags refused;
    EXPECT_FALSE(components.DoAction(2, 2, &refused));
    EXPECT_EQ(refused.succeeded, 0);
    EXPECT_EQ(refused.deleteItem, 0);
    EXPECT_EQ(machine.GetString(kHkeyLocalMachine, Under(u"{C}"), u"StubPath"), u"c.exe");
    EXPECT_TRUE(machine.HasKey(kHkeyLocalMachine, Under(u"{A}")));
    DestroyElevatedHelperSupport();
}

}  // namespace
