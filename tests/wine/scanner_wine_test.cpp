// vistrel-scan.exe as a user runs it: a live scan of this (Wine) machine into a file, and the diff
// of two scans around a value written into the current user's run key.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "platform/win32/windows_api.h"
#include "scanner/record_format.h"
#include "tests/support/win32/build_paths.h"

namespace {

constexpr wchar_t kRunKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";

// Runs the installed scanner with arguments; its exit status, or -1 when it could not be run or
// did not end within a minute.
int RunScanner(const std::wstring& arguments) {
    std::wstring command = L"\"" + testpaths::DistDir() + L"\\vistrel-scan.exe\" " + arguments;
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process))
        return -1;
    DWORD status = static_cast<DWORD>(-1);
    if (WaitForSingleObject(process.hProcess, 60000) == WAIT_OBJECT_0)
        GetExitCodeProcess(process.hProcess, &status);
    else
        TerminateProcess(process.hProcess, 1);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return static_cast<int>(status);
}

std::vector<scanner::ScanRecord> ReadScan(const std::wstring& path) {
    std::vector<scanner::ScanRecord> records;
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    std::string error;
    EXPECT_TRUE(file && scanner::ReadRecords(file, &records, &error)) << error;
    return records;
}

class ScannerWineTest : public ::testing::Test {
  protected:
    void SetUp() override {
        wchar_t folder[MAX_PATH];
        ASSERT_GT(GetTempPathW(MAX_PATH, folder), 0u);
        const std::wstring id = std::to_wstring(GetCurrentProcessId());
        before_ = std::wstring(folder) + L"vistrel-scan-before-" + id + L".jsonl";
        after_ = std::wstring(folder) + L"vistrel-scan-after-" + id + L".jsonl";
        changes_ = std::wstring(folder) + L"vistrel-scan-diff-" + id + L".jsonl";
        valueName_ = L"VistrelScanProbe" + id;
    }
    void TearDown() override {
        RegDeleteKeyValueW(HKEY_CURRENT_USER, kRunKey, valueName_.c_str());
        for (const std::wstring* path : {&before_, &after_, &changes_}) DeleteFileW(path->c_str());
    }

    void WriteRunValue() {
        const std::wstring data = L"C:\\windows\\notepad.exe";
        ASSERT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, kRunKey, valueName_.c_str(), REG_SZ,
                                  data.c_str(), static_cast<DWORD>((data.size() + 1) * 2)),
                  ERROR_SUCCESS);
    }

    std::string ValueName() const { return std::string(valueName_.begin(), valueName_.end()); }

    std::wstring before_, after_, changes_, valueName_;
};

TEST_F(ScannerWineTest, LiveScanListsTheRunValueTheServicesAndTheProcesses) {
    WriteRunValue();
    const int status = RunScanner(
        L"--category IDS_VISTREL_RUNITEMS --category IDS_VISTREL_SERVICES --category "
        L"IDS_VISTREL_PROCESSES --output \"" +
        after_ + L"\"");
    ASSERT_TRUE(status == 0 || status == 1) << status;
    bool runValue = false, services = false, processes = false;
    for (const scanner::ScanRecord& record : ReadScan(after_)) {
        if (record.entry == ValueName() && record.place.value == ValueName() &&
            record.place.root == "HKEY_CURRENT_USER" && record.categoryKeys.size() == 2 &&
            record.categoryKeys[1] == "IDS_VISTREL_RUNITEMS_CU_RUN")
            runValue = true;
        if (record.status.empty() && record.categoryKeys.front() == "IDS_VISTREL_SERVICES" &&
            record.place.key.find("Services\\") != std::string::npos)
            services = true;
        // The scanner's own process, among others, has kernel32.dll loaded.
        if (record.status.empty() && record.categoryKeys.front() == "IDS_VISTREL_PROCESSES" &&
            _stricmp(record.entry.c_str(), "kernel32.dll") == 0)
            processes = true;
    }
    EXPECT_TRUE(runValue);
    EXPECT_TRUE(services);
    EXPECT_TRUE(processes);
}

TEST_F(ScannerWineTest, DiffShowsTheValueAddedBetweenTwoScans) {
    ASSERT_EQ(RunScanner(L"--category IDS_VISTREL_RUNITEMS -o \"" + before_ + L"\""), 0);
    WriteRunValue();
    ASSERT_EQ(RunScanner(L"--category IDS_VISTREL_RUNITEMS -o \"" + after_ + L"\""), 0);

    EXPECT_EQ(RunScanner(L"diff \"" + before_ + L"\" \"" + after_ + L"\" -o \"" + changes_ + L"\""),
              1);
    const std::vector<scanner::ScanRecord> changes = ReadScan(changes_);
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes[0].change, "added");
    EXPECT_EQ(changes[0].entry, ValueName());
}

}  // namespace
