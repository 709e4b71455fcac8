// The browser and shell categories end to end under Wine: classes, helper objects, a menu entry,
// a downloaded control, approved extensions and an execute hook written into the real registry
// appear on the hosted page with their details, and Remove changes exactly the chosen key or
// value (compared in dumps of the keys involved before and after).
#include "tests/support/win32/hosted_page.h"

namespace hostedpage {
namespace {

constexpr wchar_t kBho[] =
    L"HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Browser Helper Objects";
constexpr wchar_t kMenuExt[] = L"HKCU\\Software\\Microsoft\\Internet Explorer\\MenuExt";
constexpr wchar_t kUnits[] = L"HKLM\\SOFTWARE\\Microsoft\\Code Store Database\\Distribution Units";
constexpr wchar_t kApproved[] =
    L"HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\Approved";
constexpr wchar_t kHooks[] =
    L"HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\ShellExecuteHooks";
const std::wstring kClasses = L"HKLM\\Software\\Classes\\CLSID\\";

constexpr wchar_t kWineClass[] = L"{5EE7E2E0-0000-4000-8000-000000000001}";
constexpr wchar_t kMissingClass[] = L"{5EE7E2E0-0000-4000-8000-000000000002}";
constexpr wchar_t kNoServerClass[] = L"{5EE7E2E0-0000-4000-8000-000000000003}";
constexpr wchar_t kWineServer[] = L"C:\\windows\\system32\\shdocvw.dll";
constexpr wchar_t kMissingServer[] = L"C:\\vistrel-missing\\gone.dll";

std::wstring Sub(const std::wstring& key, const std::wstring& sub) {
    return key + L"\\" + sub;
}

class ShellCollectorsPage : public HostedPage {
  protected:
    void SetUp() override {
        const std::wstring unit = Sub(kUnits, kWineClass);
        reg_.Write(
            {{kClasses + kWineClass, L"", L"VistrelE2E Helper"},
             {Sub(kClasses + kWineClass, L"InprocServer32"), L"", kWineServer},
             {kClasses + kMissingClass, L"", L"VistrelE2E Missing"},
             {Sub(kClasses + kMissingClass, L"InprocServer32"), L"", kMissingServer},
             {kClasses + kNoServerClass, L"", L"VistrelE2E NoServer"},
             {Sub(kBho, kWineClass), L"NoExplorer", L"1"},
             {Sub(kBho, kMissingClass), L"NoExplorer", L"1"},
             {Sub(kBho, kNoServerClass), L"NoExplorer", L"1"},
             {Sub(kMenuExt, L"VistrelE2E Menu"), L"", L"C:\\windows\\system32\\urlmon.dll"},
             {Sub(kMenuExt, L"VistrelE2E NoDefault"), L"Contexts", L"1"},
             {Sub(unit, L"DownloadInformation"), L"CODEBASE", L"http://vistrel.test/e2e.cab"},
             {Sub(unit, L"InstalledVersion"), L"LastModified", L"2024-01-02"},
             {Sub(unit, L"Contains\\Files"), L"C:\\windows\\system32\\urlmon.dll", L""},
             {Sub(kUnits, L"VistrelE2E Unit"), nullptr, L""},
             {kApproved, kWineClass, L"VistrelE2E Extension"},
             {kApproved, kMissingClass, L""},
             {kHooks, kMissingClass, L"VistrelE2E Hook"}});
        ASSERT_NO_FATAL_FAILURE(Show());
    }
};

TEST_F(ShellCollectorsPage, BrowserAndShellCategoriesListDescribeAndRemoveExactlyTheirEntry) {
    HTREEITEM bho = Category(L"Browser helper objects"),
              menu = Category(L"Context menu extensions");
    HTREEITEM units = Category(L"Downloaded ActiveX controls");
    HTREEITEM approved = Category(L"Shell extensions"), hooks = Category(L"Shell execute hooks");
    ASSERT_TRUE(bho && menu && units && approved && hooks);
    // A class without a server isn't listed, nor a menu entry without a default value; an
    // extension without a description shows its server, here one that is missing.
    EXPECT_EQ(Find(tree_, L"VistrelE2E NoServer", bho), nullptr);
    EXPECT_EQ(Find(tree_, L"VistrelE2E NoDefault", menu), nullptr);
    EXPECT_NE(Find(tree_, L"VistrelE2E Unit", units), nullptr);
    EXPECT_NE(Find(tree_, kMissingServer, approved), nullptr);

    const std::wstring wineServer = std::wstring(L"Path: ") + kWineServer;
    const struct {
        HTREEITEM category;
        const wchar_t* label;
        std::vector<std::wstring> parts;
    } described[] = {
        {bho, L"VistrelE2E Helper", {wineServer}},
        {bho, L"VistrelE2E Missing", {L"No file information available for", kMissingServer}},
        // A unit named by its class: the server's details, then code base, date and files.
        {units,
         L"VistrelE2E Helper",
         {L"shdocvw.dll", L"Downloaded from: http://vistrel.test/e2e.cab",
          L"Last modified: 2024-01-02", L"Installed files", L"urlmon.dll"}},
        {approved, L"VistrelE2E Extension", {wineServer}},
        {hooks, L"VistrelE2E Hook", {L"No file information available for"}},
    };
    for (const auto& d : described) {
        const std::wstring pane = Details(Find(tree_, d.label, d.category));
        for (const std::wstring& part : d.parts)
            EXPECT_NE(pane.find(part), std::wstring::npos) << testing::PrintToString(pane);
    }
    EXPECT_EQ(Details(Find(tree_, L"VistrelE2E Helper", bho)).find(L"No file information"),
              std::wstring::npos);

    // Remove takes exactly the entry's key or value: classes, the hook of the same class and the
    // other entries stay.
    const struct {
        const wchar_t *category, *label;
        std::wstring key, gone;
    } removed[] = {
        {L"Browser helper objects", L"VistrelE2E Missing", kBho, Sub(L"", kMissingClass)},
        {L"Downloaded ActiveX controls", L"VistrelE2E Helper", kUnits, Sub(L"", kWineClass)},
        {L"Context menu extensions", L"VistrelE2E Menu", kMenuExt, L"\\VistrelE2E Menu"},
        {L"Shell extensions", kMissingServer, kApproved, std::wstring(L"|") + kMissingClass},
    };
    std::vector<std::wstring> keys = {kBho, kUnits, kMenuExt, kApproved, kHooks};
    for (const wchar_t* id : {kWineClass, kMissingClass, kNoServerClass})
        keys.push_back(kClasses + id);
    for (const auto& r : removed) {
        std::map<std::wstring, Dump> expected;
        for (const std::wstring& key : keys) expected[key] = DumpOf(key);
        expected[r.key] = Without(expected[r.key], r.gone);
        Remove(Find(tree_, r.label, Category(r.category)), r.key);
        for (const std::wstring& key : keys) EXPECT_EQ(DumpOf(key), expected[key]) << r.label;
        Category(r.category);
    }
}

}  // namespace
}  // namespace hostedpage
