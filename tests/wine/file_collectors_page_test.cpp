// The file collectors end to end under Wine: files and shortcuts in the real startup folders,
// lines in win.ini, system.ini and the hosts file, all seen on the page hosted in-process. Remove
// deletes exactly the chosen file; the INI and hosts files are put back byte for byte.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>

#include "tests/support/win32/hosted_page.h"
// After the wrapper: the process snapshot needs its types.
#include <tlhelp32.h>

namespace hostedpage {
namespace {

constexpr wchar_t kEditorKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Applets\\Regedit";
constexpr wchar_t kWinIniKey[] = L"Software\\Microsoft\\Windows NT\\CurrentVersion\\Windows";

std::wstring SpecialFolder(int csidl) {
    wchar_t path[MAX_PATH] = {};
    SHGetFolderPathW(nullptr, csidl | CSIDL_FLAG_CREATE, nullptr, 0, path);
    return path;
}

std::string ReadBytes(const std::wstring& path) {
    std::ifstream in(std::filesystem::path(path), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

void WriteBytes(const std::wstring& path, const std::string& bytes) {
    std::ofstream(std::filesystem::path(path), std::ios::binary | std::ios::trunc) << bytes;
}

bool Exists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

HRESULT MakeShortcut(const std::wstring& link, const wchar_t* target) {
    IShellLinkW* shell = nullptr;
    HRESULT hr = CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW,
                                  reinterpret_cast<void**>(&shell));
    if (FAILED(hr)) return hr;
    IPersistFile* file = nullptr;
    hr = shell->SetPath(target);
    if (SUCCEEDED(hr))
        hr = shell->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&file));
    if (SUCCEEDED(hr)) hr = file->Save(link.c_str(), TRUE);
    if (file) file->Release();
    shell->Release();
    return hr;
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

// A text file noted at the start and put back byte for byte at the end.
struct SavedFile {
    explicit SavedFile(std::wstring at) : path(std::move(at)), bytes(ReadBytes(path)) {}
    ~SavedFile() {
        WriteBytes(path, bytes);
        EXPECT_EQ(ReadBytes(path), bytes);
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
        // One plain file and one shortcut in each startup folder.
        for (int csidl : {CSIDL_STARTUP, CSIDL_COMMON_STARTUP}) {
            const std::wstring folder = SpecialFolder(csidl);
            ASSERT_FALSE(folder.empty());
            made_.push_back(folder + L"\\vistrel-e2e.txt");
            WriteBytes(made_.back(), "text");
            made_.push_back(folder + L"\\vistrel-e2e.lnk");
            ASSERT_EQ(MakeShortcut(made_.back(), L"C:\\windows\\system32\\notepad.exe"), S_OK);
        }
        const std::wstring windows = SpecialFolder(CSIDL_WINDOWS);
        sysIni_.emplace(windows + L"\\system.ini");
        hosts_.emplace(SpecialFolder(CSIDL_SYSTEM) + L"\\drivers\\etc\\hosts");
        ASSERT_EQ(sysIni_->bytes.find("[boot]"), std::string::npos);
        WriteBytes(
            sysIni_->path,
            sysIni_->bytes + "\r\n[boot]\r\nshell=no.exe\r\nShell=explorer.exe vistrel.exe\r\n");
        // No final line feed, a tab, a comment, an alias and an IPv6 address.
        WriteBytes(hosts_->path, hosts_->bytes +
                                     "\n# e2e\n10.11.12.13\tvistrel-e2e alias #c\n"
                                     "fe80::1%lo vistrel-e2e6");
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
        winRun_.reset();
        winLoad_.reset();
        sysIni_.reset();
        hosts_.reset();
        CoUninitialize();
    }
    std::wstring Counted(const wchar_t* name, int count) {
        return std::wstring(name) + L"  (" + std::to_wstring(count) + L")";
    }
    // Selects the node and returns the pane's text.
    std::wstring Details(HTREEITEM node) {
        Select(node);
        return Pane();
    }
    void Remove(HTREEITEM node, const std::wstring& path) {
        Select(node);
        ConfirmationClicker clicker(IDOK, false);
        PostMessageW(Button(2), BM_CLICK, 0, 0);
        EXPECT_TRUE(PumpUntil([&] { return !Exists(path); }));
        Pump(std::chrono::milliseconds(100));
    }

    std::vector<std::wstring> made_;
    std::optional<SavedFile> sysIni_, hosts_;
    std::optional<SavedValue> winRun_, winLoad_;
};

TEST_F(FileCollectorsPage, StartupFilesListedAndRemoveDeletesOnlyTheChosenOne) {
    const struct {
        const wchar_t* label;
        std::wstring removed, kept;
    } folders[] = {{L"Startup folder (current user)", made_[0], made_[1]},
                   {L"Startup folder (all users)", made_[3], made_[2]}};
    for (const auto& f : folders) {
        SCOPED_TRACE(f.removed);
        HTREEITEM category = Find(tree_, f.label);
        ASSERT_NE(category, nullptr);
        EXPECT_EQ(Label(tree_, category), Counted(f.label, 2));
        const std::wstring link =
            f.removed.find(L".lnk") != std::wstring::npos ? f.removed : f.kept;
        const std::wstring pane = Details(Find(tree_, link, category));
        EXPECT_NE(pane.find(link), std::wstring::npos) << pane;
        EXPECT_NE(pane.find(L"notepad.exe"), std::wstring::npos) << pane;

        Remove(Find(tree_, f.removed, category), f.removed);
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
    ASSERT_NE(Find(tree_, L"vistrel.exe", sys), nullptr);
    EXPECT_NE(Find(tree_, L"vistrel-e2e.exe", win), nullptr);
    EXPECT_NE(
        Details(Find(tree_, L"C:\\windows\\system32\\kernel32.dll", win)).find(L"kernel32.dll"),
        std::wstring::npos);

    const std::wstring pane = Details(Find(tree_, L"vistrel-e2e", hosts));
    EXPECT_NE(pane.find(L"10.11.12.13"), std::wstring::npos) << pane;
    EXPECT_EQ(Find(tree_, L"alias", hosts), nullptr);
    EXPECT_NE(Details(Find(tree_, L"vistrel-e2e6", hosts)).find(L"fe80::1%lo"), std::wstring::npos);

    SavedValue lastKeyBefore(kEditorKey, L"LastKey");
    Select(Find(tree_, L"vistrel-e2e.exe", win));
    PostMessageW(Button(1), BM_CLICK, 0, 0);
    wchar_t lastKey[512] = {};
    ASSERT_TRUE(PumpUntil([&] {
        DWORD size = sizeof(lastKey);
        return RegGetValueW(HKEY_CURRENT_USER, kEditorKey, L"LastKey", RRF_RT_REG_SZ, nullptr,
                            lastKey, &size) == ERROR_SUCCESS &&
               std::wstring(lastKey).find(L"CurrentVersion\\Windows") != std::wstring::npos;
    }));
    EndEditors();
    EXPECT_STREQ(lastKey, (std::wstring(L"Computer\\HKEY_CURRENT_USER\\") + kWinIniKey).c_str());
}

}  // namespace
}  // namespace hostedpage
