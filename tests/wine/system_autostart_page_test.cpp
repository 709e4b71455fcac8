// Services, known DLLs and the Winsock catalogue end to end under Wine: entries written into the
// real HKLM appear on the hosted page with their details; Remove of a service deletes exactly
// its key with its subtree, and the two read-only categories change nothing. A fresh prefix has
// no known DLLs key and an empty catalogue, so the test makes what it needs.
#include <cstring>

#include "tests/support/win32/hosted_page.h"

namespace hostedpage {
namespace {

constexpr wchar_t kServices[] = L"HKLM\\SYSTEM\\CurrentControlSet\\Services";
const std::wstring kService = std::wstring(kServices) + L"\\VistrelE2E Svc";
const std::wstring kDriver = std::wstring(kServices) + L"\\VistrelE2E Svc2";
constexpr wchar_t kKnownDlls[] =
    L"HKLM\\SYSTEM\\CurrentControlSet\\Control\\Session Manager\\KnownDLLs";
const std::wstring kCatalogue =
    std::wstring(kServices) + L"\\WinSock2\\Parameters\\Protocol_Catalog9\\Catalog_Entries";

class SystemAutostartPage : public HostedPage {
  protected:
    void SetUp() override {
        wchar_t temp[MAX_PATH];
        GetTempPathW(MAX_PATH, temp);
        image_ = std::wstring(temp) + L"vistrel_e2e_service.exe";
        reg_.SaveFile(image_);
        ASSERT_TRUE(CopyFileW(L"C:\\windows\\system32\\notepad.exe", image_.c_str(), FALSE));
        reg_.Write({{kService, L"ImagePath", image_},
                    {kService, L"DisplayName", L"Vistrel E2E service"},
                    {kService, L"Type", L"16", REG_DWORD},
                    {kService, L"Start", L"3", REG_DWORD},
                    {kService + L"\\Parameters", L"ServiceDll", L"x.dll"},
                    {kDriver, L"ImagePath", L"system32\\drivers\\vistrel_e2e.sys", REG_EXPAND_SZ},
                    {kDriver, L"DisplayName", L"Vistrel E2E driver"},
                    {kDriver, L"Type", L"1", REG_DWORD},
                    {kDriver, L"Start", L"4", REG_DWORD},
                    {kKnownDlls, L"VistrelE2E", L"kernel32.dll"},
                    {kKnownDlls, L"DllDirectory", L"%SystemRoot%\\system32", REG_EXPAND_SZ}});
        // A packed catalogue item: the library in 8-bit characters at 0, the name in 16-bit
        // ones at 376.
        std::string item(888, '\0');
        const std::string library = "%SystemRoot%\\system32\\mswsock.dll";
        const std::wstring name = L"Vistrel E2E [TCP/IP]";
        std::copy(library.begin(), library.end(), item.begin());
        std::memcpy(item.data() + 376, name.data(), name.size() * sizeof(wchar_t));
        reg_.WriteBytes(kCatalogue + L"\\000000009901", L"PackedCatalogItem", REG_BINARY,
                        item.data(), item.size());
        ASSERT_NO_FATAL_FAILURE(Show());
    }
    // Delete on an entry of a category without Remove: no confirmation comes and nothing changes.
    void ExpectDeleteChangesNothing(const std::wstring& key) {
        const Dump before = DumpOf(key);
        EXPECT_FALSE(Offered(2));
        Answerer answerer(IDCANCEL);
        Key(tree_, VK_DELETE);
        Pump(std::chrono::milliseconds(200));
        EXPECT_EQ(answerer.confirmations.load(), 0);
        EXPECT_EQ(DumpOf(key), before);
    }

    std::wstring image_;
};

TEST_F(SystemAutostartPage, ServiceShowsItsStartModeAndRemoveDeletesExactlyItsKey) {
    HTREEITEM container = Find(tree_, L"Services and drivers");
    HTREEITEM services = Category(L"Services", container),
              drivers = Category(L"Drivers", container);
    ASSERT_TRUE(services && drivers);
    // The two leaves in their order, each with the fixture of its type only.
    EXPECT_EQ(TreeView_GetChild(tree_, container), services);
    EXPECT_EQ(Find(tree_, L"Vistrel E2E driver", services), nullptr);
    EXPECT_EQ(Details(Find(tree_, L"Vistrel E2E driver", drivers))
                  .rfind(L"Startup type: Disabled\r\n", 0),
              0u)
        << Pane();
    const std::wstring pane = Details(Find(tree_, L"Vistrel E2E service", services));
    EXPECT_EQ(pane.rfind(L"Startup type: Manual\r\n", 0), 0u) << pane;
    EXPECT_NE(pane.find(L"vistrel_e2e_service.exe\r\n"), std::wstring::npos) << pane;

    const Dump before = DumpOf(kServices);
    EXPECT_EQ(Remove(Find(tree_, L"Vistrel E2E service", services), kServices),
              Without(before, L"\\VistrelE2E Svc"));
    EXPECT_NE(GetFileAttributesW(image_.c_str()), INVALID_FILE_ATTRIBUTES);  // the image stays
    Category(L"Services", container);
}

TEST_F(SystemAutostartPage, KnownDllsAndWinsockProvidersAreDescribedAndCannotBeRemoved) {
    HTREEITEM known = Category(L"Known DLLs");
    EXPECT_NE(Details(Find(tree_, L"VistrelE2E", known)).find(L"kernel32.dll\r\n"),
              std::wstring::npos)
        << Pane();
    ExpectDeleteChangesNothing(kKnownDlls);
    // The folder gets one line with the resolved path and no file details.
    EXPECT_EQ(Details(Find(tree_, L"DllDirectory", known)), L"Path: C:\\windows\\system32");

    HTREEITEM winsock = Category(L"Winsock providers");
    const std::wstring pane = Details(Find(tree_, L"Vistrel E2E [TCP/IP]", winsock));
    EXPECT_NE(pane.find(L"%SystemRoot%\\system32\\mswsock.dll"), std::wstring::npos) << pane;
    EXPECT_NE(pane.find(L"mswsock.dll\r\n"), std::wstring::npos) << pane;
    ExpectDeleteChangesNothing(kCatalogue);
}

}  // namespace
}  // namespace hostedpage
