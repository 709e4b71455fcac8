// The helper process under Wine, which has no consent prompt, so the helper starts with the same
// rights: writes of the page and of the factory's elevated helper go through a second process,
// the helper serves its console alone, ends with it, and loses no request of a burst.
#include "libs/talelev/helper_protocol.h"
#include "libs/talelev/win32/elevator_client.h"
#include "libs/talelev/win32/pipe_frames.h"
#include "tests/support/win32/hosted_page.h"
// After the wrapper: the process snapshot needs its types.
#include <tlhelp32.h>

namespace hostedpage {
namespace {

constexpr wchar_t kTestKey[] = L"Software\\VistrelElevatorTest";
constexpr wchar_t kMachineValue[] = L"VistrelE2E Machine";

// The ids of the helper processes this process has started, as a snapshot shows them now.
std::vector<DWORD> HelperChildren() {
    std::vector<DWORD> ids;
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE) return ids;
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL ok = Process32FirstW(snapshot, &entry); ok; ok = Process32NextW(snapshot, &entry))
        if (_wcsicmp(entry.szExeFile, L"vistrel-elevator.exe") == 0 &&
            entry.th32ParentProcessID == GetCurrentProcessId())
            ids.push_back(entry.th32ProcessID);
    CloseHandle(snapshot);
    return ids;
}

// A process that only lives until it is ended, to stand in for a console.
PROCESS_INFORMATION StartStandIn() {
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    wchar_t command[] = L"notepad.exe";
    EXPECT_TRUE(CreateProcessW(nullptr, command, nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                               &startup, &process));
    return process;
}

void End(PROCESS_INFORMATION& process) {
    if (process.hProcess == nullptr) return;
    TerminateProcess(process.hProcess, 0);
    WaitForSingleObject(process.hProcess, 5000);
    CloseHandle(process.hProcess);
    CloseHandle(process.hThread);
    process = {};
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
    PROCESS_INFORMATION console = StartStandIn();
    ASSERT_NE(console.hProcess, nullptr);
    const std::wstring pipe =
        L"\\\\.\\pipe\\vistrel-elevator-test-" + std::to_wstring(GetCurrentProcessId());
    std::wstring command = L"\"" + testpaths::DistDir() + L"\\vistrel-elevator.exe\" --pipe " +
                           pipe + L" --parent " + std::to_wstring(console.dwProcessId);
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
    HKEY key;
    EXPECT_NE(RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\VistrelElevatorTest\\Intruder", 0,
                            KEY_READ, &key),
              ERROR_SUCCESS);
    EXPECT_EQ(WaitForSingleObject(helper.hProcess, 0), static_cast<DWORD>(WAIT_TIMEOUT));

    End(console);
    EXPECT_EQ(WaitForSingleObject(helper.hProcess, 5000), WAIT_OBJECT_0);
    End(helper);
    RegDeleteTreeW(HKEY_CURRENT_USER, kTestKey);
}

class MachineRunPage : public HostedPage {
  protected:
    MachineRunPage() : HostedPage({}) {}
    void TearDown() override {
        HostedPage::TearDown();
        RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kRunKey, kMachineValue);
    }
};

TEST_F(MachineRunPage, RemoveOfAMachineValueGoesThroughTheHelperProcess) {
    const wchar_t data[] = L"C:\\windows\\system32\\notepad.exe";
    ASSERT_EQ(
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, kRunKey, kMachineValue, REG_SZ, data, sizeof data),
        ERROR_SUCCESS);
    ASSERT_NO_FATAL_FAILURE(ShowAndWait());
    HTREEITEM category = Find(tree_, L"Run (all users)");
    ASSERT_NE(category, nullptr);
    Select(Find(tree_, kMachineValue, category));

    std::atomic<bool> stop{false};
    std::vector<DWORD> seen;
    std::thread watcher([&] {
        while (!stop && seen.empty()) {
            seen = HelperChildren();
            Sleep(2);
        }
    });
    {
        ConfirmationClicker clicker(IDOK, false);
        PostMessageW(Button(2), BM_CLICK, 0, 0);
        EXPECT_TRUE(PumpUntil([&] {
            return RegGetValueW(HKEY_LOCAL_MACHINE, kRunKey, kMachineValue, RRF_RT_ANY, nullptr,
                                nullptr, nullptr) != ERROR_SUCCESS;
        }));
    }
    Pump(std::chrono::milliseconds(200));
    stop = true;
    watcher.join();
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_NE(seen[0], GetCurrentProcessId());
    EXPECT_EQ(Find(tree_, kMachineValue, category), nullptr);
    // The page gives the helper up once the action is done; the helper then ends.
    EXPECT_TRUE(PumpUntil([] { return HelperChildren().empty(); }, std::chrono::seconds(10)));
}

}  // namespace
}  // namespace hostedpage
