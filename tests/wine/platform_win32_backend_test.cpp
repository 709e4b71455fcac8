// The parts of the Win32 backend that only Windows has: processes, the token, windows and
// messages, string resources and the trace file. Runs on the real machine (or under Wine).
#include <gtest/gtest.h>

#include <string>

#include "platform/win32/win32_machine.h"
#include "platform/win32/windows_api.h"

namespace {

using namespace platform;

Machine& Real() {
    return win32::Win32Machine();
}

ShellExecuteInfo Hidden(const char16_t* file, const char16_t* parameters = nullptr) {
    ShellExecuteInfo info;
    info.cbSize = sizeof(info);
    info.lpFile = file;
    info.lpParameters = parameters;
    info.nShow = kSwHide;
    return info;
}

TEST(Win32Processes, StartedProcessRunsUntilTerminatedAndFailuresGiveWin32Codes) {
    Processes& processes = Real().processes();
    ShellExecuteInfo ping = Hidden(u"ping.exe", u"-n 60 127.0.0.1");
    ping.lpVerb = u"open";
    std::uint32_t processId = 0;
    ASSERT_EQ(processes.Start(ping, &processId), kErrorSuccess);
    ASSERT_NE(processId, 0u);
    EXPECT_TRUE(processes.IsRunning(processId));
    EXPECT_EQ(processes.Terminate(processId), kErrorSuccess);
    bool ended = false;
    for (int i = 0; i < 100 && !ended; ++i) {
        ended = !processes.IsRunning(processId);
        if (!ended) ::Sleep(50);
    }
    EXPECT_TRUE(ended);

    ShellExecuteInfo missing = Hidden(u"C:\\windows\\no such program.exe");
    // Without it the shell tells the user about the missing file in a message box and waits.
    missing.fMask = SEE_MASK_FLAG_NO_UI;
    processId = 77;
    EXPECT_EQ(processes.Start(missing, &processId), kErrorFileNotFound);
    EXPECT_EQ(processId, 77u);
    // Process ids are multiples of four; this one can't be in use.
    EXPECT_EQ(processes.Terminate(0xFFFFFFF1u), kErrorInvalidParameter);
    EXPECT_FALSE(processes.IsRunning(0xFFFFFFF1u));
    EXPECT_TRUE(processes.IsRunning(::GetCurrentProcessId()));
}

TEST(Win32Processes, SystemVersionAndTokenAreReadable) {
    std::uint32_t major = 0;
    std::uint32_t minor = 99;
    ASSERT_TRUE(Real().processes().GetOsVersion(&major, &minor));
    OSVERSIONINFOW expected = {};
    expected.dwOSVersionInfoSize = sizeof(expected);
    ASSERT_TRUE(::GetVersionExW(&expected));
    EXPECT_EQ(major, expected.dwMajorVersion);
    EXPECT_EQ(minor, expected.dwMinorVersion);
    EXPECT_GE(major, 6u);

    bool elevated = false;
    int type = 0;
    ASSERT_TRUE(Real().processes().GetTokenElevation(&elevated, &type));
    EXPECT_GE(type, 1);  // TokenElevationTypeDefault
    EXPECT_LE(type, 3);  // TokenElevationTypeLimited
    // A full token is the only elevated kind.
    if (type == 3) {
        EXPECT_FALSE(elevated);
    }
}

constexpr UINT kSumMessage = WM_APP + 7;

LRESULT CALLBACK ProbeWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == kSumMessage) return static_cast<LRESULT>(wParam) + lParam;
    return ::DefWindowProcW(window, message, wParam, lParam);
}

WindowHandle Handle(HWND window) {
    return reinterpret_cast<WindowHandle>(window);
}

TEST(Win32Windows, FindsWindowsAndFollowsTheirShowCommand) {
    WNDCLASSW windowClass = {};
    windowClass.lpfnWndProc = ProbeWindowProc;
    windowClass.hInstance = ::GetModuleHandleW(nullptr);
    windowClass.lpszClassName = L"VistrelPlatformProbe";
    ::RegisterClassW(&windowClass);
    HWND top =
        ::CreateWindowExW(0, L"VistrelPlatformProbe", L"Probe Title", WS_OVERLAPPEDWINDOW, 10, 10,
                          200, 100, nullptr, nullptr, windowClass.hInstance, nullptr);
    ASSERT_NE(top, nullptr);
    HWND child = ::CreateWindowExW(0, L"VistrelPlatformProbe", L"Child", WS_CHILD, 0, 0, 10, 10,
                                   top, nullptr, windowClass.hInstance, nullptr);
    ASSERT_NE(child, nullptr);
    // Newer, so first in the search order: only the class tells it from the probe.
    HWND decoy = ::CreateWindowExW(0, L"STATIC", L"Probe Title", WS_OVERLAPPED, 0, 0, 10, 10,
                                   nullptr, nullptr, windowClass.hInstance, nullptr);
    ASSERT_NE(decoy, nullptr);

    Windows& windows = Real().windows();
    EXPECT_EQ(windows.Find(u"vistrelPlatformProbe", u"Probe Title"), Handle(top));
    EXPECT_EQ(windows.Find(u"VistrelPlatformProbe", u"probe title"), Handle(top));
    EXPECT_EQ(windows.Find(u"VistrelPlatformProbe", nullptr), Handle(top));
    EXPECT_EQ(windows.Find(u"VistrelPlatformProbe", u"Probe"), nullptr);
    EXPECT_EQ(windows.FindChild(Handle(top), nullptr, u"VistrelPlatformProbe", nullptr),
              Handle(child));
    EXPECT_EQ(windows.FindChild(Handle(top), Handle(child), u"VistrelPlatformProbe", nullptr),
              nullptr);
    EXPECT_TRUE(windows.IsWindow(Handle(child)));
    EXPECT_EQ(windows.GetProcessId(Handle(top)), ::GetCurrentProcessId());
    EXPECT_EQ(windows.Send(Handle(top), kSumMessage, 40, 2), 42);

    std::uint32_t show = 0;
    windows.Show(Handle(top), kSwShowMinimized);
    ASSERT_TRUE(windows.GetShowCommand(Handle(top), &show));
    EXPECT_EQ(show, static_cast<std::uint32_t>(SW_SHOWMINIMIZED));
    windows.Show(Handle(top), kSwRestore);
    ASSERT_TRUE(windows.GetShowCommand(Handle(top), &show));
    EXPECT_EQ(show, static_cast<std::uint32_t>(SW_SHOWNORMAL));

    ::DestroyWindow(decoy);
    ::DestroyWindow(top);
    EXPECT_FALSE(windows.IsWindow(Handle(child)));
    EXPECT_EQ(windows.GetProcessId(Handle(child)), 0u);
    EXPECT_FALSE(windows.GetShowCommand(Handle(child), &show));
}

TEST(Win32Resources, StringsOfTheProgramAreFoundWholeAndMissingOnesGiveNothing) {
    std::u16string text;
    EXPECT_EQ(Real().resources().LoadText(64001, &text), 10);
    EXPECT_EQ(text, u"Probe text");
    // Longer than any fixed buffer the lookup might use.
    std::u16string expected;
    for (int i = 0; i < 20; ++i) expected += u"Long probe text ";
    expected.pop_back();
    EXPECT_EQ(Real().resources().LoadText(64002, &text), static_cast<int>(expected.size()));
    EXPECT_EQ(text, expected);
    EXPECT_EQ(Real().resources().LoadText(65001, &text), 0);
    EXPECT_EQ(text, u"");
}

TEST(Win32Trace, LinesAreAppendedWithLineEnds) {
    wchar_t folder[MAX_PATH];
    ASSERT_GT(::GetTempPathW(MAX_PATH, folder), 0u);
    std::wstring path = std::wstring(folder) + L"vistrel-trace-probe-" +
                        std::to_wstring(::GetCurrentProcessId()) + L".log";
    const std::u16string name(reinterpret_cast<const char16_t*>(path.c_str()));
    TraceSink& trace = Real().trace();
    trace.WriteLine(name, "first \xC3\xA4");
    trace.WriteLine(name, "second");
    std::string content;
    EXPECT_EQ(Real().files().ReadAll(name.c_str(), &content), kErrorSuccess);
    EXPECT_EQ(content, "first \xC3\xA4\r\nsecond\r\n");
    EXPECT_EQ(Real().files().RemoveFile(name.c_str()), kErrorSuccess);
    EXPECT_EQ(trace.CurrentThreadId(), ::GetCurrentThreadId());
}

}  // namespace
