// Boot and logon autostart places end to end under Wine: boot execute, the logon list values,
// the Winlogon notification packages and the policy scripts, written into the real registry,
// appear on the hosted page with their details; Remove changes exactly the chosen entry (a dump
// of the keys before and after shows it), and a rewrite that would cut a path with a blank is
// refused with the failure message.
#include "tests/support/win32/hosted_page.h"

namespace hostedpage {
namespace {

constexpr wchar_t kSession[] = L"HKLM\\SYSTEM\\CurrentControlSet\\Control\\Session Manager";
constexpr wchar_t kWinlogon[] = L"HKLM\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Winlogon";
constexpr wchar_t kWindows[] = L"HKLM\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Windows";
const std::wstring kNotify = std::wstring(kWinlogon) + L"\\Notify";
const std::wstring kScripts =
    L"HKLM\\SOFTWARE\\Policies\\Microsoft\\Windows\\System\\Scripts\\Startup\\0";
const std::wstring kKernel32 = L"C:\\windows\\system32\\kernel32.dll";
const std::wstring kVersion = L"C:\\windows\\system32\\version.dll";
const std::wstring kUser32 = L"C:\\windows\\system32\\user32.dll";
const std::wstring kScript = L"C:\\windows\\system32\\vistrel_e2e.cmd";

class LogonAutostartPage : public HostedPage {};

TEST_F(LogonAutostartPage, ListValuesShowTheirEntriesAndRemoveRewritesOnlyTheChosenOne) {
    reg_.Write(
        {{kSession, L"BootExecute", L"autocheck autochk *\n" + kKernel32 + L" /x", REG_MULTI_SZ},
         {kWinlogon, L"Userinit", L"C:\\windows\\system32\\userinit.exe," + kKernel32},
         // version.dll and user32.dll are separated by a blank alone: possibly one path.
         {kWindows, L"AppInit_DLLs", kKernel32 + L"," + kVersion + L" " + kUser32}});
    const Dump session = DumpOf(kSession), windows = DumpOf(kWindows);
    ASSERT_NO_FATAL_FAILURE(Show());

    HTREEITEM boot = Category(L"Boot execute");
    EXPECT_NE(Child(boot, L"autochk *"), nullptr);
    EXPECT_NE(Details(Child(boot, kKernel32 + L" /x")).find(L"kernel32.dll\r\n"),
              std::wstring::npos)
        << Pane();
    Select(Child(Category(L"Userinit"), kKernel32));
    EXPECT_FALSE(Offered(2));

    HTREEITEM appInit = Category(L"AppInit DLLs");
    EXPECT_EQ(Remove(Child(appInit, kKernel32), kWindows, 0), windows);
    EXPECT_EQ(box_.rfind(L"The action could not be completed.", 0), 0u) << box_;

    Dump expected = windows;
    expected[L"|AppInit_DLLs"] =
        regfix::Bytes(REG_SZ, kKernel32 + L", " + kVersion + L", " + L'\0');
    EXPECT_EQ(Remove(Child(appInit, kUser32), kWindows), expected);
    Category(L"AppInit DLLs");

    expected = session;
    expected[L"|BootExecute"] =
        regfix::Bytes(REG_MULTI_SZ, L"autocheck autochk *" + std::wstring(2, L'\0'));
    EXPECT_EQ(Remove(Child(boot, kKernel32 + L" /x"), kSession), expected);
    Category(L"Boot execute");
}

TEST_F(LogonAutostartPage, PackagesAndScriptsAreSubKeysThatRemoveDeletesWhole) {
    const std::wstring ours = kNotify + L"\\VistrelE2E";
    reg_.Write(
        {{ours, L"DllName", kVersion},
         {ours + L"\\Settings", L"Keep", L"1"},
         {ours + L" Other", L"DllName", L"%SystemRoot%\\system32\\user32.dll", REG_EXPAND_SZ},
         {kScripts + L"\\0", L"Script", kScript},
         {kScripts + L"\\1", L"Script", kScript}});
    const Dump notify = DumpOf(kNotify), scripts = DumpOf(kScripts);
    ASSERT_NO_FATAL_FAILURE(Show());

    // The tree shows the package's key name, the pane the library it names.
    HTREEITEM packages = Category(L"Winlogon notification packages");
    EXPECT_NE(Details(Child(packages, L"VistrelE2E")).find(kVersion), std::wstring::npos) << Pane();
    EXPECT_EQ(Remove(Child(packages, L"VistrelE2E"), kNotify), Without(notify, L"\\VistrelE2E"));
    EXPECT_NE(Child(Category(L"Winlogon notification packages"), L"VistrelE2E Other"), nullptr);

    // Two entries with the same script; Remove on the second deletes the second key.
    HTREEITEM startup = Category(L"Startup scripts");
    EXPECT_EQ(Count(startup), 2);
    EXPECT_EQ(Remove(TreeView_GetNextSibling(tree_, Child(startup, kScript)), kScripts),
              Without(scripts, L"\\1"));
    Category(L"Startup scripts");
}

}  // namespace
}  // namespace hostedpage
