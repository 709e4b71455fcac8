// vistrel-scan.exe as a user runs it: a live scan of this (Wine) machine into a file, and the
// diff of a scan before a run value was written with the one after.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "platform/win32/windows_api.h"
#include "scanner/record_format.h"
#include "tests/support/win32/build_paths.h"
#include "tests/support/win32/registry_fixture.h"

namespace {

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

TEST(ScannerWine, LiveScanListsTheRunValueTheServicesAndTheProcesses) {
    wchar_t folder[MAX_PATH];
    ASSERT_GT(GetTempPathW(MAX_PATH, folder), 0u);
    const std::wstring id = std::to_wstring(GetCurrentProcessId());
    const std::wstring output = std::wstring(folder) + L"vistrel-scan-" + id + L".jsonl";
    const std::string name = "VistrelScanProbe" + std::string(id.begin(), id.end());
    const std::wstring before = output + L".before", changes = output + L".diff";
    regfix::Fixture reg;
    for (const std::wstring* file : {&output, &before, &changes}) reg.SaveFile(*file);
    ASSERT_EQ(RunScanner(L"--category IDS_VISTREL_RUNITEMS --output \"" + before + L"\""), 0);
    reg.Write({{L"HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Run",
                (L"VistrelScanProbe" + id).c_str(), L"C:\\windows\\notepad.exe"}});
    const int status = RunScanner(
        L"--category IDS_VISTREL_RUNITEMS --category IDS_VISTREL_SERVICES --category "
        L"IDS_VISTREL_PROCESSES --output \"" +
        output + L"\"");
    ASSERT_TRUE(status == 0 || status == 1) << status;
    bool runValue = false, services = false, processes = false;
    for (const scanner::ScanRecord& record : ReadScan(output)) {
        if (record.entry == name && record.place.value == name &&
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

    // The categories scanned only afterwards are new as a whole; of the run keys, the value is.
    EXPECT_EQ(RunScanner(L"diff \"" + before + L"\" \"" + output + L"\" -o \"" + changes + L"\""),
              1);
    std::vector<std::string> runChanges;
    for (const scanner::ScanRecord& record : ReadScan(changes))
        if (record.categoryKeys.front() == "IDS_VISTREL_RUNITEMS")
            runChanges.push_back(record.change + " " + record.entry);
    EXPECT_EQ(runChanges, std::vector<std::string>{"added " + name});
}

}  // namespace
