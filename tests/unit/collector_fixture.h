// Fixture of the logon collectors' tests: the tools' fixture with the helper support up and an
// old system's registry editor running, so that Go to types its target and the test reads back
// which key and value it chose.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "sources/plugin.h"
#include "tests/unit/collector_test_support.h"
#include "tests/unit/tools_test_support.h"
#include "tools/registry_values.h"

using namespace std::literals;
using Strings = std::vector<std::u16string>;

using collectortest::Bytes;
using collectortest::Texts;

class LogonCollectorTest : public ToolsTest {
  protected:
    LogonCollectorTest() {
        CreateElevatedHelperSupport();
        machine_.SetOsVersion(4, 0);
        machine_.AddProcess(900, u"regedit.exe");
        auto editor = machine_.AddWindow(u"RegEdit_RegEdit", u"Registry Editor", 900);
        tree_ = Handle(machine_.AddWindow(u"SysTreeView32", u"", 900, editor));
        list_ = Handle(machine_.AddWindow(u"SysListView32", u"", 900, editor));
    }

    // Go to (action -1 or 1), which must leave the flags alone and give false: the key typed
    // into the editor's tree, "|", and the value typed into its list (none: the key is opened).
    std::string GoTo(CVistrelPlugin& source, std::int32_t index, std::int32_t action = 1) {
        const std::size_t from = machine_.WindowCalls().size();
        resultFlags flags;
        EXPECT_FALSE(source.DoAction(action, index, &flags));
        EXPECT_EQ(flags.succeeded + flags.deleteItem, 1);
        std::string key, value;
        for (std::size_t i = from; i < machine_.WindowCalls().size(); ++i) {
            char window[32];
            unsigned message = 0, code = 0;
            if (std::sscanf(machine_.WindowCalls()[i].c_str(), "Send %31s %u %u", window, &message,
                            &code) != 3)
                continue;
            if (message == 258) (window == tree_ ? key : value).push_back(static_cast<char>(code));
            if (message == 256 && code == 39 && window == tree_) key.push_back('\\');
        }
        if (value.empty() && !key.empty()) key.pop_back();  // the step that opens the key
        return key + "|" + value;
    }
    static bool Remove(CVistrelPlugin& source, std::int32_t index, resultFlags* flags) {
        *flags = resultFlags{};
        return source.DoAction(2, index, flags);
    }
    // The value's type and exact bytes.
    static std::string Stored(platform::RegKey root, const char16_t* path, const char16_t* name) {
        RegValueBytes value;
        if (!ReadRegValue(root, path, name, &value)) return "<absent>";
        return std::to_string(value.type) + ":" +
               std::string(value.bytes.begin(), value.bytes.end());
    }

  private:
    static std::string Handle(platform::WindowHandle window) {
        char text[32];
        std::snprintf(text, sizeof text, "0x%llx",
                      static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(window)));
        return text;
    }
    std::string tree_, list_;
};
