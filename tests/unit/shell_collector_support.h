// What the tests of the browser and shell collectors share: a memory machine with a helper
// support, classes registered below HKEY_CLASSES_ROOT, and the entries and lines a source gives.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "frame/module_objects.h"
#include "platform/memory/memory_machine.h"
#include "sources/plugin.h"
#include "tools/elevation_support.h"

namespace shelltest {

using platform::kHkeyClassesRoot;
using platform::kHkeyCurrentUser;
using platform::kHkeyLocalMachine;

// Raw UTF-16 bytes, without a terminator unless the text holds one.
inline std::string Bytes(std::u16string_view text) {
    return std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
}
// String data as the system stores it, terminator counted.
inline std::string Sz(std::u16string_view text) {
    return Bytes(text) + std::string(2, '\0');
}

struct Line {
    std::int32_t label;
    std::u16string value;
    std::int32_t flags;
    bool operator==(const Line&) const = default;
    friend void PrintTo(const Line& line, std::ostream* out) {
        *out << line.label << ":" << std::string(line.value.begin(), line.value.end()) << ":"
             << line.flags;
    }
};

inline bool CollectLine(std::int32_t, std::int32_t label, const char16_t* value, std::int32_t flags,
                        void* context) {
    static_cast<std::vector<Line>*>(context)->push_back({label, value ? value : u"<null>", flags});
    return true;
}

inline bool CollectText(std::int32_t, const char16_t* name, CVistrelPlugin*, CVistrelPlugin*,
                        void* context) {
    static_cast<std::vector<std::u16string>*>(context)->push_back(name);
    return true;
}

// A class below HKEY_CLASSES_ROOT: its description and, under "InprocServer32", its server, each
// as raw bytes of type REG_SZ unless given another; absent where nullopt.
struct ClassRecord {
    std::u16string id;
    std::optional<std::string> description;
    bool hasServerKey = true;
    std::optional<std::string> server;
    std::uint32_t serverType = platform::kRegSz;
};

class ShellCollectorTest : public ::testing::Test {
  protected:
    void SetUp() override {
        g_trace.SetMode(1);
        CreateElevatedHelperSupport();
    }
    void TearDown() override {
        DestroyElevatedHelperSupport();
        g_trace.SetMode(0);
    }

    void Register(const ClassRecord& c) {
        const std::u16string key = u"CLSID\\" + c.id;
        machine.AddKey(kHkeyClassesRoot, key);
        if (c.description)
            machine.SetRaw(kHkeyClassesRoot, key, u"", platform::kRegSz, *c.description);
        if (c.hasServerKey) machine.AddKey(kHkeyClassesRoot, key + u"\\InprocServer32");
        if (c.server)
            machine.SetRaw(kHkeyClassesRoot, key + u"\\InprocServer32", u"", c.serverType,
                           *c.server);
    }
    std::vector<std::u16string> Texts(CVistrelPlugin& source, std::int32_t* result) {
        std::vector<std::u16string> texts;
        *result = source.EnumerateItems(CollectText, true, &texts);
        return texts;
    }
    std::vector<Line> Details(CVistrelPlugin& source, std::int32_t index, std::int32_t* result) {
        std::vector<Line> lines;
        *result = source.GetItemDetails(index, CollectLine, &lines);
        return lines;
    }
    std::u16string LastEditorKey() {
        return machine
            .GetString(kHkeyCurrentUser,
                       u"Software\\Microsoft\\Windows\\CurrentVersion\\Applets\\Regedit",
                       u"LastKey")
            .value_or(u"<none>");
    }

    platform::memory::MemoryMachine machine;
    platform::memory::ScopedMachine scoped{machine};
};

}  // namespace shelltest
