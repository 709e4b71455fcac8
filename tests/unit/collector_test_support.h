// What the tests of the registry collectors share: the entries a source delivers, the lines of
// its details pane, and values written as raw bytes for data the registry doesn't check.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "sources/plugin.h"

namespace collectortest {

// The texts that EnumerateItems delivers, in order; *result gets its return value.
inline std::vector<std::u16string> Texts(CVistrelPlugin& source, std::int32_t* result,
                                         bool refresh = true) {
    std::vector<std::u16string> texts;
    *result = source.EnumerateItems(
        [](std::int32_t, const char16_t* name, CVistrelPlugin*, CVistrelPlugin*, void* context) {
            static_cast<std::vector<std::u16string>*>(context)->push_back(name ? name : u"<null>");
            return true;
        },
        refresh, &texts);
    return texts;
}

struct Line {
    std::int32_t labelId;
    std::u16string value;  // "<id N>" for a catalogue id, "<null>" for none
    bool operator==(const Line&) const = default;
};

inline void PrintTo(const Line& line, std::ostream* os) {
    *os << line.labelId << ": " << testing::PrintToString(line.value);
}

inline std::vector<Line> Details(CVistrelPlugin& source, std::int32_t index) {
    std::vector<Line> lines;
    source.GetItemDetails(
        index,
        [](std::int32_t, std::int32_t labelId, const char16_t* value, std::int32_t flags,
           void* context) {
            std::u16string text = u"<null>";
            if (flags & kLineValueIsId) {
                const std::string id = "<id " + std::to_string(LineValueToId(value)) + ">";
                text.assign(id.begin(), id.end());
            } else if (value != nullptr) {
                text = value;
            }
            static_cast<std::vector<Line>*>(context)->push_back({labelId, text});
            return true;
        },
        &lines);
    return lines;
}

// Wide text as the registry stores it, without a terminator unless the text holds one.
inline std::string Bytes(std::u16string_view text) {
    return std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
}

}  // namespace collectortest
