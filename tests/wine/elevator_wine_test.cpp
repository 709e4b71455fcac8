// The helper process under Wine, which has no consent prompt, so the helper starts with the same
// rights: writes of the page and of the factory's elevated helper go through a second process,
// the helper serves its console alone, ends with it, and loses no request of a burst.
#include "libs/talelev/helper_protocol.h"
#include "libs/talelev/win32/elevator_client.h"
#include "libs/talelev/win32/pipe_frames.h"
#include "tests/support/win32/hosted_page.h"

namespace hostedpage {
namespace {

constexpr wchar_t kMachineValue[] = L"VistrelE2E Machine";

// The helper processes this process has started, as a snapshot shows them now.
std::vector<DWORD> HelperChildren() {
    return Running(L"vistrel-elevator.exe", false, GetCurrentProcessId());
}

TEST(ElevatorProcess, ABurstOfRequestsLosesNoneAndReleaseEndsTheHelper) {
    IElevatedHelper* helper = nullptr;
    ASSERT_EQ(talelev::win32::CreateElevatorHelper({true, nullptr}, &helper), 0);
    const DWORD helperId = talelev::win32::HelperProcessId(helper);
    ASSERT_NE(helperId, 0u);
    EXPECT_NE(helperId, GetCurrentProcessId());
    HANDLE process = OpenProcess(SYNCHRONIZE, FALSE, helperId);

    const std::u16string key = u"Software\\VistrelElevatorTest";
    for (int i = 0; i < 500; ++i) {
        const std::wstring wide = L"v" + std::to_wstring(i);
        const std::u16string name(wide.begin(), wide.end());
        const std::string data = std::to_string(i);
        ASSERT_EQ(helper->Reg_SetValue(platform::kHkeyCurrentUser, key, name, data.data(),
                                       static_cast<std::int64_t>(data.size()), REG_BINARY, 1),
                  0)
            << i;
        std::vector<std::uint8_t> read;
        std::uint32_t type = 0;
        ASSERT_EQ(helper->Reg_QueryValue(platform::kHkeyCurrentUser, key, name, &type, read), 0);
        EXPECT_EQ(std::string(read.begin(), read.end()), data);
    }
    std::vector<std::u16string> names;
    EXPECT_EQ(helper->Reg_EnumValues(platform::kHkeyCurrentUser, key, names), 0);
    EXPECT_EQ(names.size(), 500u);
    EXPECT_EQ(helper->Reg_DeleteKey(platform::kHkeyCurrentUser, key), 0);
    // A failure inside the helper comes back as the in-process helper gives it.
    EXPECT_EQ(helper->Reg_DeleteKey(platform::kHkeyCurrentUser, key),
              platform::HResultFromWin32(ERROR_FILE_NOT_FOUND));
    helper->Release();
    EXPECT_EQ(WaitForSingleObject(process, 5000), WAIT_OBJECT_0);
    CloseHandle(process);
}

TEST(ElevatorProcess, RefusesAClientThatIsNotItsConsoleAndEndsWithTheConsole) {
    regfix::Fixture reg;
    reg.Save(L"HKCU\\Software\\VistrelElevatorTest");
    Notepad console;  // stands in for the console
    const std::wstring pipe =
        L"\\\\.\\pipe\\vistrel-elevator-test-" + std::to_wstring(GetCurrentProcessId());
    std::wstring command = L"\"" + testpaths::DistDir() + L"\\vistrel-elevator.exe\" --pipe " +
                           pipe + L" --parent " + std::to_wstring(console.Id());
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION helper = {};
    ASSERT_TRUE(CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                               nullptr, &startup, &helper));

    // This process is not the console: its connection is dropped unanswered.
    HANDLE client = INVALID_HANDLE_VALUE;
    for (int attempt = 0; attempt < 250 && client == INVALID_HANDLE_VALUE; ++attempt) {
        client = CreateFileW(pipe.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                             0, nullptr);
        if (client == INVALID_HANDLE_VALUE) Sleep(20);
    }
    ASSERT_NE(client, INVALID_HANDLE_VALUE);
    talelev::HelperRequest request;
    request.op = talelev::HelperOp::kRegCreateKey;
    request.root = platform::kHkeyCurrentUser;
    request.keyPath = u"Software\\VistrelElevatorTest\\Intruder";
    std::string answer;
    const bool answered = talelev::win32::WriteFrame(client, talelev::EncodeRequest(request)) &&
                          talelev::win32::ReadFrame(client, &answer);
    EXPECT_FALSE(answered);
    CloseHandle(client);
    EXPECT_FALSE(regfix::KeyExists(L"HKCU\\Software\\VistrelElevatorTest\\Intruder"));
    EXPECT_EQ(WaitForSingleObject(helper.hProcess, 0), static_cast<DWORD>(WAIT_TIMEOUT));

    console.End();
    EXPECT_EQ(WaitForSingleObject(helper.hProcess, 5000), WAIT_OBJECT_0);
    TerminateProcess(helper.hProcess, 0);
    CloseHandle(helper.hProcess);
    CloseHandle(helper.hThread);
}

using MachineRunPage = HostedPage;

TEST_F(MachineRunPage, RemoveOfAMachineValueGoesThroughTheHelperProcess) {
    const std::wstring run = L"HKLM\\" + kRunPath;
    reg_.Write({{run, kMachineValue, L"C:\\windows\\system32\\notepad.exe"}});
    ASSERT_NO_FATAL_FAILURE(Show());
    const Dump before = DumpOf(run);
    std::atomic<bool> stop{false};
    std::vector<DWORD> seen;
    std::thread watcher([&] {
        for (; !stop && seen.empty(); Sleep(2)) seen = HelperChildren();
    });
    EXPECT_EQ(Remove(Find(tree_, kMachineValue, Category(L"Run (all users)")), run),
              Without(before, L"|" + std::wstring(kMachineValue)));
    stop = true;
    watcher.join();
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_NE(seen[0], GetCurrentProcessId());
    // The page gives the helper up once the action is done; the helper then ends.
    EXPECT_TRUE(PumpUntil([] { return HelperChildren().empty(); }, std::chrono::seconds(10)));
}

}  // namespace
}  // namespace hostedpage
