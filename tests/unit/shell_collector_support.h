// What the tests of the browser and shell collectors share: a memory machine with a helper
// support, classes below HKEY_CLASSES_ROOT, and the texts and lines a source gives.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "frame/module_objects.h"
#include "platform/memory/memory_machine.h"
#include "tools/elevation_support.h"

namespace shelltest {

using platform::kHkeyClassesRoot;
using platform::kHkeyCurrentUser;
using platform::kHkeyLocalMachine;

// Raw UTF-16 bytes without a terminator; Sz adds the one the system stores.
inline std::string Bytes(std::u16string_view text) {
    return std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
}
inline std::string Sz(std::u16string_view text) {
    return Bytes(text) + std::string(2, '\0');
}

// One line of details as "label|value|flags"; a null value shows as "-".
inline std::u16string LineText(std::int32_t label, std::u16string_view value, std::int32_t flags) {
    std::u16string line;
    for (char c : std::to_string(label)) line.push_back(static_cast<char16_t>(c));
    line.push_back(u'|');
    line.append(value);
    line.push_back(u'|');
    for (char c : std::to_string(flags)) line.push_back(static_cast<char16_t>(c));
    return line;
}
inline bool CollectLine(std::int32_t, std::int32_t label, const char16_t* value, std::int32_t flags,
                        void* context) {
    static_cast<std::vector<std::u16string>*>(context)->push_back(
        LineText(label, value ? value : u"-", flags));
    return true;
}

// A class: description and server as raw REG_SZ bytes (server of serverType), absent when
// nullopt; hasServerKey false leaves out "InprocServer32" itself.
struct ClassRecord {
    std::u16string id;
    std::optional<std::string> description;
    std::optional<std::string> server;
    bool hasServerKey = true;
    std::uint32_t serverType = platform::kRegSz;
};

class ShellCollectorTest : public ::testing::Test {
  protected:
    void SetUp() override { CreateElevatedHelperSupport(); }
    void TearDown() override { DestroyElevatedHelperSupport(); }

    void Register(const ClassRecord& c) {
        const std::u16string key = u"CLSID\\" + c.id, server = key + u"\\InprocServer32";
        machine.AddKey(kHkeyClassesRoot, key);
        if (c.description)
            machine.SetRaw(kHkeyClassesRoot, key, u"", platform::kRegSz, *c.description);
        if (c.hasServerKey) machine.AddKey(kHkeyClassesRoot, server);
        if (c.server) machine.SetRaw(kHkeyClassesRoot, server, u"", c.serverType, *c.server);
    }
    std::vector<std::u16string> Texts(CVistrelPlugin& source, std::int32_t* result = nullptr) {
        std::vector<std::u16string> texts;
        const std::int32_t count = source.EnumerateItems(
            [](std::int32_t, const char16_t* name, CVistrelPlugin*, CVistrelPlugin*,
               void* context) {
                static_cast<std::vector<std::u16string>*>(context)->push_back(name);
                return true;
            },
            true, &texts);
        if (result) *result = count;
        return texts;
    }
    std::vector<std::u16string> Details(CVistrelPlugin& source, std::int32_t index,
                                        std::int32_t* result = nullptr) {
        std::vector<std::u16string> lines;
        const std::int32_t count = source.GetItemDetails(index, CollectLine, &lines);
        if (result) *result = count;
        return lines;
    }
    // Go to, then where the editor was sent.
    std::u16string GoTo(CVistrelPlugin& source, std::int32_t index) {
        resultFlags flags;
        EXPECT_FALSE(source.DoAction(1, index, &flags));
        return machine
            .GetString(kHkeyCurrentUser,
                       u"Software\\Microsoft\\Windows\\CurrentVersion\\Applets\\Regedit",
                       u"LastKey")
            .value_or(u"<none>");
    }
    // Remove; true when it said it was done. A failure must say so in the flags.
    bool Remove(CVistrelPlugin& source, std::int32_t index) {
        resultFlags flags;
        const bool done = source.DoAction(2, index, &flags);
        EXPECT_EQ(flags.succeeded, done ? 1 : 0);
        EXPECT_EQ(flags.deleteItem, done ? 1 : 0);
        return done;
    }

    platform::memory::MemoryMachine machine;
    platform::memory::ScopedMachine scoped{machine};
};

}  // namespace shelltest
