// The file collectors end to end under Wine: files and shortcuts in the real startup folders,
// lines in win.ini, system.ini and the hosts file, all seen on the page hosted in-process. Remove
// deletes exactly the chosen file; the INI and hosts files are put back byte for byte.
#include <optional>

#include "platform/win32/win32_machine.h"
#include "tests/support/win32/hosted_page.h"
// After the wrapper: the process snapshot needs its types.
#include <tlhelp32.h>

namespace hostedpage {
namespace {

constexpr wchar_t kEditorKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Applets\\Regedit";
constexpr wchar_t kWinIniKey[] = L"Software\\Microsoft\\Windows NT\\CurrentVersion\\Windows";

platform::Files& Files() {
    return platform::win32::Win32Machine().files();
}
const char16_t* U16(const std::wstring& text) {
    return reinterpret_cast<const char16_t*>(text.c_str());
}
std::wstring SpecialFolder(int csidl) {
    wchar_t path[MAX_PATH] = {};
    SHGetFolderPathW(nullptr, csidl | CSIDL_FLAG_CREATE, nullptr, 0, path);
    return path;
}
bool Exists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

void EndEditors() {
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL ok = Process32FirstW(snapshot, &entry); ok; ok = Process32NextW(snapshot, &entry)) {
        if (_wcsicmp(entry.szExeFile, L"regedit.exe") != 0) continue;
        if (HANDLE p = OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, entry.th32ProcessID)) {
            TerminateProcess(p, 0);
            WaitForSingleObject(p, 5000);
            CloseHandle(p);
        }
    }
    CloseHandle(snapshot);
}

// A text file with lines added for the test, put back byte for byte at the end.
struct AddedLines {
    AddedLines(std::wstring at, const std::string& lines) : path(std::move(at)) {
        EXPECT_EQ(Files().ReadAll(U16(path), &bytes), 0);
        EXPECT_EQ(Files().WriteAll(U16(path), bytes + lines), 0);
    }
    ~AddedLines() {
        std::string now;
        EXPECT_EQ(Files().WriteAll(U16(path), bytes), 0);
        EXPECT_EQ(Files().ReadAll(U16(path), &now), 0);
        EXPECT_EQ(now, bytes);
    }
    std::wstring path;
    std::string bytes;
};

class FileCollectorsPage : public HostedPage {
  protected:
    FileCollectorsPage() : HostedPage({}) {}

    void SetUp() override {
        EndEditors();
        CoInitialize(nullptr);
        // A plain file and a shortcut in each startup folder: user's [0] [1], common [2] [3].
        for (int csidl : {CSIDL_STARTUP, CSIDL_COMMON_STARTUP}) {
            const std::wstring folder = SpecialFolder(csidl);
            made_.push_back(folder + L"\\vistrel-e2e.txt");
            ASSERT_EQ(Files().WriteAll(U16(made_.back()), "text"), 0);
            made_.push_back(folder + L"\\vistrel-e2e.lnk");
            ASSERT_EQ(platform::win32::Win32Machine().shell().CreateLink(
                          U16(made_.back()), u"C:\\windows\\system32\\notepad.exe"),
                      S_OK);
        }
        sysIni_.emplace(SpecialFolder(CSIDL_WINDOWS) + L"\\system.ini",
                        "\r\n[boot]\r\nshell=no.exe\r\nShell=explorer.exe vistrel.exe\r\n");
        // No final line feed, a tab, a comment, an alias and an IPv6 address.
        hosts_.emplace(SpecialFolder(CSIDL_SYSTEM) + L"\\drivers\\etc\\hosts",
                       "\n# e2e\n10.11.12.13\tvistrel-e2e alias #c\nfe80::1%lo vistrel-e2e6");
        // win.ini's section of programs lives in the registry, where the system maps it.
        winRun_.emplace(kWinIniKey, L"run");
        winLoad_.emplace(kWinIniKey, L"load");
        RegDeleteKeyValueW(HKEY_CURRENT_USER, kWinIniKey, L"load");
        ASSERT_TRUE(WriteProfileStringW(L"windows", L"run",
                                        L"C:\\windows\\system32\\kernel32.dll,vistrel-e2e.exe"));
        ASSERT_NO_FATAL_FAILURE(HostedPage::SetUp());
        ASSERT_NO_FATAL_FAILURE(ShowAndWait());
    }
    void TearDown() override {
        HostedPage::TearDown();
        EndEditors();
        for (const std::wstring& path : made_) DeleteFileW(path.c_str());
        winRun_.reset(), winLoad_.reset(), sysIni_.reset(), hosts_.reset();
        CoUninitialize();
    }
    std::wstring Counted(const wchar_t* name, int count) {
        return std::wstring(name) + L"  (" + std::to_wstring(count) + L")";
    }
    std::wstring Details(HTREEITEM node) {
        Select(node);
        return Pane();
    }

    std::vector<std::wstring> made_;
    std::optional<AddedLines> sysIni_, hosts_;
    std::optional<SavedValue> winRun_, winLoad_;
};

TEST_F(FileCollectorsPage, StartupFilesListedAndRemoveDeletesOnlyTheChosenOne) {
    const struct {
        const wchar_t* label;
        std::wstring removed, kept, link;
    } folders[] = {{L"Startup folder (current user)", made_[0], made_[1], made_[1]},
                   {L"Startup folder (all users)", made_[3], made_[2], made_[3]}};
    for (const auto& f : folders) {
        HTREEITEM category = Find(tree_, f.label);
        ASSERT_NE(category, nullptr);
        EXPECT_EQ(Label(tree_, category), Counted(f.label, 2));
        const std::wstring pane = Details(Find(tree_, f.link, category));
        EXPECT_NE(pane.find(f.link), std::wstring::npos) << pane;
        EXPECT_NE(pane.find(L"notepad.exe"), std::wstring::npos) << pane;

        Select(Find(tree_, f.removed, category));
        ConfirmationClicker clicker(IDOK, false);
        PostMessageW(Button(2), BM_CLICK, 0, 0);
        EXPECT_TRUE(PumpUntil([&] { return !Exists(f.removed); }));
        Pump(std::chrono::milliseconds(100));
        EXPECT_TRUE(Exists(f.kept));
        EXPECT_EQ(Find(tree_, f.removed, category), nullptr);
        EXPECT_EQ(Label(tree_, category), Counted(f.label, 1));
    }
}

TEST_F(FileCollectorsPage, IniAndHostsLinesWithDetailsAndGoTo) {
    HTREEITEM win = Find(tree_, L"win.ini"), sys = Find(tree_, L"system.ini");
    HTREEITEM hosts = Find(tree_, L"Hosts file");
    ASSERT_TRUE(win && sys && hosts);
    EXPECT_EQ(Label(tree_, win), Counted(L"win.ini", 2));
    EXPECT_EQ(Label(tree_, sys), Counted(L"system.ini", 2));
    EXPECT_NE(Find(tree_, L"vistrel.exe", sys), nullptr);
    EXPECT_NE(
        Details(Find(tree_, L"C:\\windows\\system32\\kernel32.dll", win)).find(L"kernel32.dll"),
        std::wstring::npos);
    EXPECT_NE(Details(Find(tree_, L"vistrel-e2e", hosts)).find(L"10.11.12.13"), std::wstring::npos);
    EXPECT_NE(Details(Find(tree_, L"vistrel-e2e6", hosts)).find(L"fe80::1%lo"), std::wstring::npos);
    EXPECT_EQ(Find(tree_, L"alias", hosts), nullptr);

    SavedValue lastKeyBefore(kEditorKey, L"LastKey");
    const std::wstring expected = std::wstring(L"Computer\\HKEY_CURRENT_USER\\") + kWinIniKey;
    Select(Find(tree_, L"vistrel-e2e.exe", win));
    PostMessageW(Button(1), BM_CLICK, 0, 0);
    wchar_t lastKey[512] = {};
    EXPECT_TRUE(PumpUntil([&] {
        DWORD size = sizeof(lastKey);
        RegGetValueW(HKEY_CURRENT_USER, kEditorKey, L"LastKey", RRF_RT_REG_SZ, nullptr, lastKey,
                     &size);
        return expected == lastKey;
    }));
    EndEditors();
}

}  // namespace
}  // namespace hostedpage
