// Fixture of the shared tools' tests: a fresh memory machine installed as the module's machine,
// the trace switched on, the tables and the helper factory back to their start.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "frame/module_objects.h"
#include "libs/talelev/elevated_helper.h"
#include "libs/talutils/text_utils.h"
#include "platform/memory/memory_machine.h"
#include "tools/elevation_support.h"
#include "tools/path_resolution.h"

// One line of an item's details as the details callback hands it over.
struct DetailsLine {
    std::int32_t index;
    std::int32_t labelId;
    std::u16string value;
    bool valueIsNull;
    std::int32_t flags;

    bool operator==(const DetailsLine&) const = default;
};

inline void PrintTo(const DetailsLine& line, std::ostream* out) {
    *out << "{" << line.index << ", " << line.labelId << ", \"" << talutils::ToUtf8(line.value)
         << "\"" << (line.valueIsNull ? " (null)" : "") << ", " << line.flags << "}";
}

inline bool CollectDetailsLine(std::int32_t index, std::int32_t labelId, const char16_t* value,
                               std::int32_t flags, void* context) {
    static_cast<std::vector<DetailsLine>*>(context)->push_back(
        {index, labelId, value ? value : u"", value == nullptr, flags});
    return true;
}

class ToolsTest : public testing::Test {
  protected:
    using Counts = std::pair<std::uint32_t, std::uint32_t>;

    ToolsTest() : scoped_(machine_), previousTraceMode_(g_trace.Mode()) {
        g_trace.SetMode(1);
        g_trace.SetOutputFile(u"vistrel.log");
        ResetPathResolutionTables();
        CElevatedHelperFactory::SetCreateFunction(nullptr);
        CElevatedHelperFactory::ResetRequestCounts();
    }
    ~ToolsTest() override {
        DestroyElevatedHelperSupport();
        CElevatedHelperFactory::SetCreateFunction(nullptr);
        ResetPathResolutionTables();
        g_trace.SetMode(previousTraceMode_);
    }

    bool Logged(const std::string& line) const {
        const std::vector<std::string> lines = machine_.TraceMessages();
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    }
    // Requests the factory answered so far: proper helpers, direct helpers.
    static Counts Calls() {
        return {CElevatedHelperFactory::ProperHelperRequests(),
                CElevatedHelperFactory::DirectHelperRequests()};
    }
    // The folders of a system installed in C:\WINDOWS.
    void InstallWindowsFolders() {
        machine_.SetSpecialFolder(platform::kCsidlWindows, u"C:\\WINDOWS");
        machine_.SetSpecialFolder(platform::kCsidlSystem, u"C:\\WINDOWS\\system32");
        machine_.SetEnv(u"WINDIR", u"C:\\WINDOWS");
    }

    platform::memory::MemoryMachine machine_;
    platform::memory::ScopedMachine scoped_;
    int previousTraceMode_;
};
