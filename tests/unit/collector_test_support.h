// Fixture of the registry collectors' tests: the tools' fixture with the helper support up and
// an old system's registry editor running, so that Go to types its target and the test can read
// back which key and value it chose.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "sources/plugin.h"
#include "tests/unit/tools_test_support.h"
#include "tools/registry_values.h"

// The bytes of a text as the registry stores wide characters.
inline std::string WideBytes(std::u16string_view text) {
    return std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
}

class CollectorTest : public ToolsTest {
  protected:
    CollectorTest() {
        CreateElevatedHelperSupport();
        machine_.SetOsVersion(4, 0);
        machine_.AddProcess(900, u"regedit.exe");
        editor_ = machine_.AddWindow(u"RegEdit_RegEdit", u"Registry Editor", 900);
        tree_ = machine_.AddWindow(u"SysTreeView32", u"", 900, editor_);
        list_ = machine_.AddWindow(u"SysListView32", u"", 900, editor_);
    }

    // The texts an enumeration delivers, in order; *result gets what it returned.
    static std::vector<std::u16string> Texts(CVistrelPlugin& source, bool refresh,
                                             std::int32_t* result) {
        std::vector<std::u16string> texts;
        *result = source.EnumerateItems(
            [](std::int32_t index, const char16_t* name, CVistrelPlugin* child, CVistrelPlugin*,
               void* context) {
                auto* out = static_cast<std::vector<std::u16string>*>(context);
                EXPECT_EQ(static_cast<std::size_t>(index), out->size());
                EXPECT_EQ(child, nullptr);
                out->push_back(name ? name : u"<null>");
                return true;
            },
            refresh, &texts);
        return texts;
    }

    // The object line of an entry's details: the text the pane describes ("<none>" without).
    static std::u16string DetailsObject(CVistrelPlugin& source, std::int32_t index) {
        std::u16string object = u"<none>";
        source.GetItemDetails(
            index,
            [](std::int32_t, std::int32_t labelId, const char16_t* value, std::int32_t,
               void* context) {
                if (labelId == 22212) *static_cast<std::u16string*>(context) = value;
                return true;
            },
            &object);
        return object;
    }

    // Runs Go to and gives what the editor was made to show: the key as typed into its tree
    // (upper case), then "|" and the value typed into its list, or "|" alone when the key was
    // opened without a value. The flags must stay untouched and the result false.
    std::string GoTo(CVistrelPlugin& source, std::int32_t index, std::int32_t action = 1) {
        const std::size_t before = machine_.WindowCalls().size();
        resultFlags flags;
        EXPECT_FALSE(source.DoAction(action, index, &flags));
        EXPECT_EQ(flags.succeeded, 1);
        EXPECT_EQ(flags.deleteItem, 0);
        const std::vector<std::string>& calls = machine_.WindowCalls();
        const std::string tree = "Send " + Handle(tree_) + " ";
        const std::string list = "Send " + Handle(list_) + " ";
        std::string key, value;
        for (std::size_t i = before; i < calls.size(); ++i) {
            unsigned message = 0, code = 0;
            if (calls[i].rfind(tree, 0) == 0 &&
                std::sscanf(calls[i].c_str() + tree.size(), "%u %u", &message, &code) == 2) {
                if (message == 258) key.push_back(static_cast<char>(code));
                if (message == 256 && code == 39) key.push_back('\\');
            } else if (calls[i].rfind(list, 0) == 0 &&
                       std::sscanf(calls[i].c_str() + list.size(), "%u %u", &message, &code) == 2 &&
                       message == 258) {
                value.push_back(static_cast<char>(code));
            }
        }
        // Without a value the key is opened with one more step right.
        if (value.empty() && !key.empty() && key.back() == '\\') key.pop_back();
        return key + "|" + value;
    }

    // Remove through the action order: the result, with the flags it left.
    static bool Remove(CVistrelPlugin& source, std::int32_t index, resultFlags* flags) {
        *flags = resultFlags{};
        return source.DoAction(2, index, flags);
    }

    // The stored value, exactly: type and bytes ("<absent>" when there is none).
    std::string Stored(platform::RegKey root, const char16_t* path, const char16_t* name) {
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

    platform::WindowHandle editor_, tree_, list_;
};
