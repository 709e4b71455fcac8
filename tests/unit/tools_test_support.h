// Fixture and fakes shared by the tests of the shared tools: a fresh memory machine installed as
// the module's machine, the trace switched on, and a helper that records what reaches it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "frame/module_objects.h"
#include "libs/talelev/elevated_helper.h"
#include "platform/memory/memory_machine.h"
#include "tools/elevation_support.h"
#include "tools/path_resolution.h"

class ToolsTest : public testing::Test {
  protected:
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

    platform::memory::MemoryMachine machine_;
    platform::memory::ScopedMachine scoped_;
    int previousTraceMode_;
};

// A helper that records its calls and answers with a set status.
struct RecordingHelper final : IElevatedHelper {
    struct Call {
        std::string operation;
        platform::RegKey root = nullptr;
        std::u16string keyPath;
        std::u16string valueName;
        const void* data = nullptr;
        std::int64_t size = 0;
        std::uint32_t type = 0;
        std::uint8_t flag = 0;
    };

    explicit RecordingHelper(int* releases = nullptr) : releases(releases) {}

    std::int32_t Record(Call call) {
        calls.push_back(std::move(call));
        return status;
    }
    std::int32_t Reg_DeleteKey(platform::RegKey root, const std::u16string& keyPath) override {
        Call call;
        call.operation = "Reg_DeleteKey";
        call.root = root;
        call.keyPath = keyPath;
        return Record(std::move(call));
    }
    std::int32_t Reg_DeleteValue(platform::RegKey root, const std::u16string& keyPath,
                                 const std::u16string& valueName) override {
        Call call;
        call.operation = "Reg_DeleteValue";
        call.root = root;
        call.keyPath = keyPath;
        call.valueName = valueName;
        return Record(std::move(call));
    }
    std::int32_t Reg_SetValue(platform::RegKey root, const std::u16string& keyPath,
                              const std::u16string& valueName, const void* data, std::int64_t size,
                              std::uint32_t type, std::uint8_t flag) override {
        return Record({"Reg_SetValue", root, keyPath, valueName, data, size, type, flag});
    }
    std::int32_t Reg_QueryValue(platform::RegKey, const std::u16string&, const std::u16string&,
                                std::uint32_t*, std::vector<std::uint8_t>&) override {
        return platform::kENotImpl;
    }
    std::int32_t Reg_CreateKey(platform::RegKey, const std::u16string&) override {
        return platform::kENotImpl;
    }
    std::int32_t Reg_EnumValues(platform::RegKey, const std::u16string&,
                                std::vector<std::u16string>&) override {
        return platform::kENotImpl;
    }
    std::int32_t Reg_EnumKeys(platform::RegKey, const std::u16string&,
                              std::vector<std::u16string>&) override {
        return platform::kENotImpl;
    }
    std::int32_t Reg_DeleteTree(platform::RegKey, const std::u16string&) override {
        return platform::kENotImpl;
    }
    std::int32_t Reg_OpenTest(platform::RegKey, const std::u16string&, std::uint32_t) override {
        return platform::kENotImpl;
    }
    std::int32_t Release() override {
        if (releases) ++*releases;
        delete this;
        return platform::kSOk;
    }
    bool IsElevated() override { return false; }
    std::int32_t Proc_Create(platform::ShellExecuteInfo*, std::uint32_t*) override {
        return platform::kENotImpl;
    }
    std::int32_t Proc_Kill(std::uint32_t) override { return platform::kENotImpl; }
    std::int32_t Proc_Enum(std::vector<std::uint32_t>&) override { return platform::kENotImpl; }
    std::int32_t Proc_EnumModules(std::uint32_t, std::vector<std::u16string>&) override {
        return platform::kENotImpl;
    }
    std::int32_t Proc_GetImagePath(std::uint32_t, std::u16string&) override {
        return platform::kENotImpl;
    }
    std::int32_t File_Delete(const std::u16string&) override { return platform::kENotImpl; }

    std::int32_t status = platform::kSOk;
    std::vector<Call> calls;
    int* releases;

  private:
    ~RecordingHelper() = default;
};
