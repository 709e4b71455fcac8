// The file collectors end to end under Wine: files and shortcuts in the real startup folders,
// lines in win.ini, system.ini and the hosts file, all seen on the page hosted in-process. Remove
// deletes exactly the chosen file, and Go to on a win.ini line follows the system's mapping of
// that file into the registry.
#include <filesystem>
#include <set>

#include "platform/win32/win32_machine.h"
#include "tests/support/win32/hosted_page.h"

namespace hostedpage {
namespace {

constexpr wchar_t kEditor[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Applets\\Regedit";
constexpr wchar_t kWinIni[] = L"HKCU\\Software\\Microsoft\\Windows NT\\CurrentVersion\\Windows";

std::wstring SpecialFolder(int csidl) {
    wchar_t path[MAX_PATH] = {};
    SHGetFolderPathW(nullptr, csidl | CSIDL_FLAG_CREATE, nullptr, 0, path);
    return path;
}
std::set<std::wstring> Listing(const std::wstring& folder) {
    std::set<std::wstring> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.insert(entry.path().filename().wstring());
    return names;
}

class FileCollectorsPage : public HostedPage {
  protected:
    void SetUp() override {
        Running(L"regedit.exe", true);
        CoInitialize(nullptr);
        // A plain file and a shortcut in each startup folder.
        for (int csidl : {CSIDL_STARTUP, CSIDL_COMMON_STARTUP}) {
            const std::wstring file = SpecialFolder(csidl) + L"\\vistrel-e2e";
            reg_.SaveFile(file + L".txt");
            reg_.SaveFile(file + L".lnk");
            std::ofstream(std::filesystem::path(file + L".txt")) << "text";
            ASSERT_EQ(platform::win32::Win32Machine().shell().CreateLink(
                          reinterpret_cast<const char16_t*>((file + L".lnk").c_str()),
                          u"C:\\windows\\system32\\notepad.exe"),
                      S_OK);
        }
        const struct {
            std::wstring file;
            const char* lines;
        } added[] = {{SpecialFolder(CSIDL_WINDOWS) + L"\\system.ini",
                      "\r\n[boot]\r\nshell=no.exe\r\nShell=explorer.exe vistrel.exe\r\n"},
                     // No final line feed, a tab, a comment, an alias and an IPv6 address.
                     {SpecialFolder(CSIDL_SYSTEM) + L"\\drivers\\etc\\hosts",
                      "\n# e2e\n10.11.12.13\tvistrel-e2e alias #c\nfe80::1%lo vistrel-e2e6"}};
        for (const auto& a : added) {
            reg_.SaveFile(a.file);
            std::ofstream(std::filesystem::path(a.file), std::ios::binary | std::ios::app)
                << a.lines;
        }
        // win.ini's section of programs lives in the registry, where the system maps it.
        reg_.Save(kWinIni, L"run");
        reg_.Save(kWinIni, L"load");
        RegDeleteKeyValueW(HKEY_CURRENT_USER, regfix::Split(kWinIni).second.c_str(), L"load");
        ASSERT_TRUE(WriteProfileStringW(L"windows", L"run",
                                        L"C:\\windows\\system32\\kernel32.dll,vistrel-e2e.exe"));
        ASSERT_NO_FATAL_FAILURE(Show());
    }
    void TearDown() override {
        HostedPage::TearDown();
        Running(L"regedit.exe", true);
        CoUninitialize();
    }
};

TEST_F(FileCollectorsPage, StartupFilesListedAndRemoveDeletesOnlyTheChosenOne) {
    const struct {
        const wchar_t* category;
        int csidl;
        const wchar_t* removed;
    } folders[] = {{L"Startup folder (current user)", CSIDL_STARTUP, L".txt"},
                   {L"Startup folder (all users)", CSIDL_COMMON_STARTUP, L".lnk"}};
    for (const auto& f : folders) {
        const std::wstring file = SpecialFolder(f.csidl) + L"\\vistrel-e2e";
        HTREEITEM category = Category(f.category);
        const std::wstring pane = Details(Find(tree_, file + L".lnk", category));
        EXPECT_NE(pane.find(file + L".lnk"), std::wstring::npos) << pane;
        EXPECT_NE(pane.find(L"notepad.exe"), std::wstring::npos) << pane;

        std::set<std::wstring> expected = Listing(SpecialFolder(f.csidl));
        expected.erase(L"vistrel-e2e" + std::wstring(f.removed));
        Remove(Find(tree_, file + f.removed, category));
        EXPECT_EQ(Listing(SpecialFolder(f.csidl)), expected);
        Category(f.category);
    }
}

TEST_F(FileCollectorsPage, IniAndHostsLinesWithDetailsAndGoTo) {
    HTREEITEM win = Category(L"win.ini"), sys = Category(L"system.ini");
    HTREEITEM hosts = Category(L"Hosts file");
    EXPECT_EQ(Count(win), 2);
    EXPECT_EQ(Count(sys), 2);
    EXPECT_NE(Find(tree_, L"vistrel.exe", sys), nullptr);
    EXPECT_EQ(Find(tree_, L"alias", hosts), nullptr);
    const struct {
        HTREEITEM category;
        const wchar_t *label, *detail;
    } lines[] = {{win, L"C:\\windows\\system32\\kernel32.dll", L"kernel32.dll"},
                 {hosts, L"vistrel-e2e", L"10.11.12.13"},
                 {hosts, L"vistrel-e2e6", L"fe80::1%lo"}};
    for (const auto& l : lines)
        EXPECT_NE(Details(Find(tree_, l.label, l.category)).find(l.detail), std::wstring::npos)
            << testing::PrintToString(Pane());

    reg_.Save(L"HKCU\\" + std::wstring(kEditor), L"LastKey");
    const std::wstring expected =
        std::wstring(L"Computer\\HKEY_CURRENT_USER\\") + regfix::Split(kWinIni).second;
    Select(Find(tree_, L"vistrel-e2e.exe", win));
    PostMessageW(Button(1), BM_CLICK, 0, 0);
    EXPECT_TRUE(PumpUntil([&] {
        wchar_t lastKey[512] = {};
        DWORD size = sizeof(lastKey);
        RegGetValueW(HKEY_CURRENT_USER, kEditor, L"LastKey", RRF_RT_REG_SZ, nullptr, lastKey,
                     &size);
        return expected == lastKey;
    }));
}

}  // namespace
}  // namespace hostedpage
