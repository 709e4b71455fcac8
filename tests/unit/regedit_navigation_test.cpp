// Going to a key in the registry editor: restarting it with "LastKey" on current systems, and
// typing the key into its tree on old ones.
#include "tools/regedit_navigation.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "tests/unit/tools_test_support.h"

namespace {

using platform::kHkeyCurrentUser;

class GoToKeyTest : public ToolsTest {
  protected:
    GoToKeyTest() {
        CreateElevatedHelperSupport();
        machine_.SetOsVersion(10, 0);
    }

    std::optional<std::u16string> LastKey() const {
        return machine_.GetString(kHkeyCurrentUser,
                                  u"Software\\Microsoft\\Windows\\CurrentVersion\\Applets\\Regedit",
                                  u"LastKey");
    }
    platform::WindowHandle AddEditor(std::uint32_t processId,
                                     const char16_t* title = u"Registry Editor") {
        machine_.AddProcess(processId, u"regedit.exe");
        return machine_.AddWindow(u"RegEdit_RegEdit", title, processId);
    }
    // Every start so far was of the editor, as the restart starts it.
    void ExpectEditorsStarted(std::size_t count) {
        ASSERT_EQ(machine_.Started().size(), count);
        for (const platform::memory::StartedProcess& started : machine_.Started()) {
            EXPECT_EQ(started.file, u"regedit.exe");
            EXPECT_EQ(started.parameters, u"");
            EXPECT_EQ(started.mask, 64u);
            EXPECT_EQ(started.show, 10);
        }
    }
};

// Without an editor the collectors' own tests see LastKey written and the editor started.
TEST_F(GoToKeyTest, EditorUnderATranslatedTitleCountsAsNotRunning) {
    AddEditor(77, u"Registrierungs-Editor");
    // An unknown root has no name.
    EXPECT_TRUE(GoToKey(platform::PredefinedKey(0x80000077u), u"key", nullptr));
    EXPECT_EQ(LastKey(), u"Computer\\\\key");
    ExpectEditorsStarted(1);
    EXPECT_TRUE(machine_.Terminated().empty());
    EXPECT_EQ(Calls(), Counts(0, 1));
}

TEST_F(GoToKeyTest, RunningEditorIsEndedByTheElevatedHelperAndStartedAgain) {
    AddEditor(4321);
    EXPECT_TRUE(GoToKey(kHkeyCurrentUser, u"Software\\A", nullptr));
    EXPECT_EQ(machine_.Terminated(), std::vector<std::uint32_t>{4321});
    EXPECT_EQ(LastKey(), u"Computer\\HKEY_CURRENT_USER\\Software\\A");
    ExpectEditorsStarted(1);
    EXPECT_EQ(Calls(), Counts(1, 0));

    // A failed kill is logged, and LastKey written and a second editor started all the same.
    machine_.FailTerminate(4321, platform::kErrorAccessDenied);
    EXPECT_TRUE(GoToKey(kHkeyCurrentUser, u"Software\\B", nullptr));
    EXPECT_TRUE(Logged("Vistrel_GoToKey: Could not kill regedit process 4321"));
    EXPECT_EQ(LastKey(), u"Computer\\HKEY_CURRENT_USER\\Software\\B");
    ExpectEditorsStarted(2);
}

TEST_F(GoToKeyTest, FailingStartOrMissingHelperGivesFalse) {
    machine_.FailStart(platform::kErrorFileNotFound);
    EXPECT_FALSE(GoToKey(kHkeyCurrentUser, u"K", nullptr));
    EXPECT_TRUE(Logged("Vistrel:GoToKey: Failed creating process. hr = 0X80070002"));
    EXPECT_EQ(LastKey(), u"Computer\\HKEY_CURRENT_USER\\K");

    AddEditor(4321);
    DestroyElevatedHelperSupport();
    EXPECT_FALSE(GoToKey(kHkeyCurrentUser, u"Other", nullptr));
    EXPECT_TRUE(Logged(
        "Vistrel_GoToKey: failed to get helper used to terminate the process, quitting method..."));
    EXPECT_TRUE(machine_.Terminated().empty());
    EXPECT_EQ(LastKey(), u"Computer\\HKEY_CURRENT_USER\\K");
}

TEST_F(GoToKeyTest, OnlyOldSystemsTypeTheKeyAndAnEditorWithoutTreeIsRestartedInstead) {
    AddEditor(55);
    const struct {
        bool readable;
        std::uint32_t major, minor;
        int sendKeys;
    } cases[] = {
        {true, 4, 0, 1}, {true, 4, 10, 1}, {true, 4, 90, 0}, {true, 5, 0, 0}, {false, 0, 0, 1}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.major) + "." + std::to_string(c.minor));
        if (c.readable)
            machine_.SetOsVersion(c.major, c.minor);
        else
            machine_.FailOsVersion();
        machine_.ClearTrace();
        EXPECT_TRUE(GoToKey(kHkeyCurrentUser, u"K", nullptr));
        EXPECT_TRUE(Logged("Vistrel_GoToKey: sendKeys = " + std::to_string(c.sendKeys)));
        EXPECT_EQ(Logged("[vistrel] GoToKey_Regedit_: send keys"), c.sendKeys == 1);
    }
    EXPECT_EQ(machine_.Terminated(), std::vector<std::uint32_t>{55});
    ExpectEditorsStarted(5);
}

std::string Handle(platform::WindowHandle window) {
    char text[32];
    std::snprintf(text, sizeof text, "0x%llx",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(window)));
    return text;
}

class TypedKeys : public GoToKeyTest {
  protected:
    TypedKeys() {
        machine_.SetOsVersion(4, 0);
        editor_ = AddEditor(900);
        tree_ = machine_.AddWindow(u"SysTreeView32", u"", 900, editor_);
        list_ = machine_.AddWindow(u"SysListView32", u"", 900, editor_);
    }

    // The calls that move the editor, as the machine records them.
    std::vector<std::string> DrivingCalls() const {
        std::vector<std::string> calls;
        for (const std::string& call : machine_.WindowCalls())
            for (const char* prefix : {"Show ", "SetForeground ", "SetFocus ", "Send ", "Sleep "})
                if (call.rfind(prefix, 0) == 0) calls.push_back(call);
        return calls;
    }
    static std::string Send(platform::WindowHandle w, unsigned message, unsigned wParam) {
        return "Send " + Handle(w) + " " + std::to_string(message) + " " + std::to_string(wParam) +
               " 0";
    }
    // Opening, collapsing, the characters of path from its first backslash on, then the rest.
    std::vector<std::string> Typing(int show, std::u16string_view path,
                                    std::vector<std::string> rest) const {
        std::vector<std::string> calls = {"Show " + Handle(editor_) + " " + std::to_string(show),
                                          "SetForeground " + Handle(editor_),
                                          "SetForeground " + Handle(tree_),
                                          "SetFocus " + Handle(tree_)};
        calls.insert(calls.end(), 30, Send(tree_, 256, 37));
        calls.push_back("Sleep 100");
        for (char16_t c : path) {
            if (c == u'\\') {
                calls.push_back(Send(tree_, 256, 39));
                calls.push_back("Sleep 100");
            } else {
                calls.push_back(Send(tree_, 258, c));
            }
        }
        calls.insert(calls.end(), rest.begin(), rest.end());
        return calls;
    }

    platform::WindowHandle editor_, tree_, list_;
};

TEST_F(TypedKeys, KeyIsTypedInUpperCaseAndTheValueSelected) {
    EXPECT_TRUE(GoToKey(kHkeyCurrentUser, u"Ab", u"v1"));
    EXPECT_EQ(DrivingCalls(),
              Typing(5, u"\\HKEY_CURRENT_USER\\AB",
                     {"SetForeground " + Handle(list_), "SetFocus " + Handle(list_), "Sleep 700",
                      Send(list_, 256, 36), Send(list_, 258, u'V'), Send(list_, 258, u'1'),
                      "SetForeground " + Handle(editor_), "SetFocus " + Handle(editor_)}));
    EXPECT_TRUE(machine_.Started().empty());
    EXPECT_FALSE(LastKey().has_value());
}

TEST_F(TypedKeys, MinimisedEditorIsRestoredAndAKeyWithoutValueIsOpened) {
    machine_.SetShowCommand(editor_, 2);
    EXPECT_TRUE(GoToKey_Regedit(editor_, u"Computer\\x", nullptr));
    const std::vector<std::string> expected = Typing(
        9, u"\\X",
        {Send(tree_, 256, 39), "SetForeground " + Handle(editor_), "SetFocus " + Handle(editor_)});
    EXPECT_EQ(DrivingCalls(), expected);
    // Nothing behind the first backslash: nothing is typed.
    EXPECT_FALSE(GoToKey_Regedit(editor_, u"Computer\\", nullptr));
    EXPECT_FALSE(GoToKey_Regedit(editor_, u"Computer", nullptr));
    EXPECT_EQ(DrivingCalls(), expected);
}

}  // namespace
