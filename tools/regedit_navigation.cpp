#include "tools/regedit_navigation.h"

#include "frame/module_objects.h"
#include "libs/talutils/text_utils.h"
#include "platform/machine.h"
#include "tools/elevation_support.h"
#include "tools/registry_tools.h"

namespace {

constexpr const char16_t* kEditorClass = u"RegEdit_RegEdit";
constexpr const char16_t* kEditorTitle = u"Registry Editor";
constexpr const char16_t* kEditorKey =
    u"Software\\Microsoft\\Windows\\CurrentVersion\\Applets\\Regedit";
constexpr std::uint32_t kShowMinimized = 2;
// Enough presses of the left arrow to collapse any tree the editor shows to its top.
constexpr int kCollapseKeys = 30;
constexpr std::uint32_t kKeyPause = 100;
constexpr std::uint32_t kListPause = 700;

// Only Windows 95, 98 and NT 4 (and any system whose version can't be read) get the keys typed.
bool ShouldSendKeys() {
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    if (!platform::machine().processes().GetOsVersion(&major, &minor)) return true;
    return major < 5 && (minor == 0 || minor == 10);
}

void SendKey(platform::Windows& windows, platform::WindowHandle window, std::uint32_t key) {
    windows.Send(window, platform::kWmKeyDown, key, 0);
}

// The tree's and list's type-ahead doesn't distinguish case; upper case is what it matches.
void SendChar(platform::Windows& windows, platform::WindowHandle window, char16_t c) {
    windows.Send(window, platform::kWmChar, talutils::ToUpper(c), 0);
}

}  // namespace

const char16_t* RegistryRootName(platform::RegKey root) {
    if (root == platform::kHkeyClassesRoot) return u"HKEY_CLASSES_ROOT";
    if (root == platform::kHkeyCurrentUser) return u"HKEY_CURRENT_USER";
    if (root == platform::kHkeyLocalMachine) return u"HKEY_LOCAL_MACHINE";
    if (root == platform::kHkeyUsers) return u"HKEY_USERS";
    if (root == platform::kHkeyCurrentConfig) return u"HKEY_CURRENT_CONFIG";
    if (root == platform::kHkeyPerformanceData) return u"HKEY_PERFORMANCE_DATA";
    return u"";
}

bool GoToKey_Regedit(platform::WindowHandle editorWindow, const std::u16string& fullPath,
                     const char16_t* valueName) {
    g_trace.Trace(u"[vistrel] GoToKey_Regedit_: send keys");
    const std::size_t firstBackslash = fullPath.find(u'\\');
    if (firstBackslash == std::u16string::npos || firstBackslash + 1 == fullPath.size())
        return false;

    platform::Windows& windows = platform::machine().windows();
    std::uint32_t showCmd = 0;
    if (windows.GetShowCommand(editorWindow, &showCmd) && showCmd == kShowMinimized)
        windows.Show(editorWindow, platform::kSwRestore);
    else
        windows.Show(editorWindow, platform::kSwShow);
    windows.SetForeground(editorWindow);

    platform::WindowHandle tree =
        windows.FindChild(editorWindow, nullptr, u"SysTreeView32", nullptr);
    if (tree == nullptr) return false;
    windows.SetForeground(tree);
    windows.SetFocus(tree);

    for (int i = 0; i < kCollapseKeys; ++i) SendKey(windows, tree, platform::kVkLeft);
    windows.Sleep(kKeyPause);

    for (std::size_t i = firstBackslash; i < fullPath.size(); ++i) {
        if (fullPath[i] == u'\\') {
            SendKey(windows, tree, platform::kVkRight);
            windows.Sleep(kKeyPause);
        } else {
            SendChar(windows, tree, fullPath[i]);
        }
    }

    if (valueName != nullptr) {
        platform::WindowHandle list =
            windows.FindChild(editorWindow, nullptr, u"SysListView32", nullptr);
        if (list != nullptr) {
            windows.SetForeground(list);
            windows.SetFocus(list);
            windows.Sleep(kListPause);
            SendKey(windows, list, platform::kVkHome);
            for (const char16_t* c = valueName; *c; ++c) SendChar(windows, list, *c);
        }
    } else {
        SendKey(windows, tree, platform::kVkRight);
    }

    windows.SetForeground(editorWindow);
    windows.SetFocus(editorWindow);
    return true;
}

bool GoToKey(platform::RegKey root, const char16_t* keyPath, const char16_t* valueName) {
    g_trace.Trace(u"Vistrel_GoToKey: =>");
    if (keyPath == nullptr) return false;
    const bool sendKeys = ShouldSendKeys();
    g_trace.Trace(u"Vistrel_GoToKey: sendKeys = %d", sendKeys ? 1 : 0);

    std::u16string fullPath = u"Computer\\";
    fullPath += RegistryRootName(root);
    fullPath.push_back(u'\\');
    fullPath += keyPath;

    platform::Windows& windows = platform::machine().windows();
    platform::WindowHandle editor = windows.Find(kEditorClass, kEditorTitle);
    IElevatedHelper* helper = nullptr;
    if (windows.IsWindow(editor)) {
        g_trace.Trace(u"Vistrel_GoToKey: regedit found");
        if (sendKeys && GoToKey_Regedit(editor, fullPath, valueName)) {
            g_trace.Trace(u"Vistrel_GoToKey: <=");
            return true;
        }
        const std::uint32_t processId = windows.GetProcessId(editor);
        helper = GetGlobalElevatedHelper(true, false);
        if (helper == nullptr) {
            g_trace.Trace(
                u"Vistrel_GoToKey: failed to get helper used to terminate the process, quitting "
                u"method...");
            return false;
        }
        g_trace.Trace(u"Vistrel_GoToKey: invoking Proc_Kill");
        if (helper->Proc_Kill(processId) < 0)
            g_trace.Trace(u"Vistrel_GoToKey: Could not kill regedit process %d",
                          static_cast<int>(processId));
    } else {
        helper = GetGlobalElevatedHelper(false, false);
        if (helper == nullptr) return false;
    }

    // The editor opens at the key it remembers; the value can't be chosen this way.
    SetRegValue(helper, platform::kHkeyCurrentUser, kEditorKey, u"LastKey", fullPath.c_str(),
                platform::kRegSz, static_cast<std::int32_t>(2 * fullPath.size() + 2), 1);

    platform::ShellExecuteInfo info{};
    info.cbSize = sizeof(platform::ShellExecuteInfo);
    info.fMask = platform::kSeeMaskNoCloseProcess;
    info.lpFile = u"regedit.exe";
    info.nShow = platform::kSwShowDefault;
    std::uint32_t processId = 0;
    g_trace.Trace(u"Vistrel_GoToKey: creating regedit process");
    const std::int32_t result = helper->Proc_Create(&info, &processId);
    if (result < 0) {
        g_trace.Trace(u"Vistrel:GoToKey: Failed creating process. hr = %#X",
                      static_cast<unsigned>(result));
        return false;
    }
    g_trace.Trace(u"Vistrel_GoToKey: <=");
    return true;
}
