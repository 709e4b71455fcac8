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

TEST(Win32Processes, StartedProcessRunsUntilTerminated) {
    ShellExecuteInfo info;
    info.cbSize = sizeof(info);
    info.lpVerb = u"open";
    info.lpFile = u"ping.exe";
    info.lpParameters = u"-n 60 127.0.0.1";
    info.nShow = kSwHide;
    std::uint32_t processId = 0;
    ASSERT_EQ(Real().processes().Start(info, &processId), kErrorSuccess);
    ASSERT_NE(processId, 0u);
    EXPECT_TRUE(Real().processes().IsRunning(processId));

    EXPECT_EQ(Real().processes().Terminate(processId), kErrorSuccess);
    bool ended = false;
    for (int i = 0; i < 100 && !ended; ++i) {
        ended = !Real().processes().IsRunning(processId);
        if (!ended) ::Sleep(50);
    }
    EXPECT_TRUE(ended);
}

TEST(Win32Processes, FailuresGiveWin32Codes) {
    ShellExecuteInfo info;
    info.cbSize = sizeof(info);
    info.lpFile = u"C:\\windows\\no such program.exe";
    info.nShow = kSwHide;
    // Without it the shell tells the user about the missing file in a message box and waits.
    info.fMask = SEE_MASK_FLAG_NO_UI;
    std::uint32_t processId = 77;
    EXPECT_EQ(Real().processes().Start(info, &processId), kErrorFileNotFound);
    EXPECT_EQ(processId, 77u);
    // Process ids are multiples of four; this one can't be in use.
    EXPECT_EQ(Real().processes().Terminate(0xFFFFFFF1u), kErrorInvalidParameter);
    EXPECT_FALSE(Real().processes().IsRunning(0xFFFFFFF1u));
    EXPECT_TRUE(Real().processes().IsRunning(::GetCurrentProcessId()));
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

class Win32WindowsTest : public testing::Test {
  protected:
    void SetUp() override {
        WNDCLASSW windowClass = {};
        windowClass.lpfnWndProc = ProbeWindowProc;
        windowClass.hInstance = ::GetModuleHandleW(nullptr);
        windowClass.lpszClassName = L"VistrelPlatformProbe";
        ::RegisterClassW(&windowClass);
        top_ =
            ::CreateWindowExW(0, L"VistrelPlatformProbe", L"Probe Title", WS_OVERLAPPEDWINDOW, 10,
                              10, 200, 100, nullptr, nullptr, windowClass.hInstance, nullptr);
        ASSERT_NE(top_, nullptr);
        child_ = ::CreateWindowExW(0, L"VistrelPlatformProbe", L"Child", WS_CHILD, 0, 0, 10, 10,
                                   top_, nullptr, windowClass.hInstance, nullptr);
        ASSERT_NE(child_, nullptr);
    }
    void TearDown() override {
        if (top_ != nullptr) ::DestroyWindow(top_);
    }
    static WindowHandle Handle(HWND window) { return reinterpret_cast<WindowHandle>(window); }

    HWND top_ = nullptr;
    HWND child_ = nullptr;
};

TEST_F(Win32WindowsTest, FindsWindowsByClassAndTitle) {
    Windows& windows = Real().windows();
    EXPECT_EQ(windows.Find(u"VistrelPlatformProbe", u"Probe Title"), Handle(top_));
    EXPECT_EQ(windows.Find(u"VistrelPlatformProbe", nullptr), Handle(top_));
    EXPECT_EQ(windows.Find(u"VistrelPlatformProbe", u"Probe"), nullptr);
    EXPECT_EQ(windows.FindChild(Handle(top_), nullptr, u"VistrelPlatformProbe", nullptr),
              Handle(child_));
    EXPECT_EQ(windows.FindChild(Handle(top_), Handle(child_), u"VistrelPlatformProbe", nullptr),
              nullptr);
    EXPECT_TRUE(windows.IsWindow(Handle(child_)));
    EXPECT_EQ(windows.GetProcessId(Handle(top_)), ::GetCurrentProcessId());
    EXPECT_EQ(windows.Send(Handle(top_), kSumMessage, 40, 2), 42);

    ::DestroyWindow(top_);
    top_ = nullptr;
    EXPECT_FALSE(windows.IsWindow(Handle(child_)));
    EXPECT_EQ(windows.GetProcessId(Handle(child_)), 0u);
    std::uint32_t show = 0;
    EXPECT_FALSE(windows.GetShowCommand(Handle(child_), &show));
}

TEST_F(Win32WindowsTest, ShowCommandFollowsShow) {
    Windows& windows = Real().windows();
    windows.Show(Handle(top_), kSwShowMinimized);
    std::uint32_t show = 0;
    ASSERT_TRUE(windows.GetShowCommand(Handle(top_), &show));
    EXPECT_EQ(show, static_cast<std::uint32_t>(SW_SHOWMINIMIZED));
    windows.Show(Handle(top_), kSwRestore);
    ASSERT_TRUE(windows.GetShowCommand(Handle(top_), &show));
    EXPECT_EQ(show, static_cast<std::uint32_t>(SW_SHOWNORMAL));
}

TEST(Win32Resources, StringsOfTheProgramAreFoundWhole) {
    std::u16string text;
    EXPECT_EQ(Real().resources().LoadText(64001, &text), 10);
    EXPECT_EQ(text, u"Probe text");
    // Longer than any fixed buffer the lookup might use.
    std::u16string expected;
    for (int i = 0; i < 20; ++i) expected += u"Long probe text ";
    expected.pop_back();
    EXPECT_EQ(Real().resources().LoadText(64002, &text), static_cast<int>(expected.size()));
    EXPECT_EQ(text, expected);
}

TEST(Win32Resources, MissingStringGivesNothing) {
    std::u16string text = u"old";
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
