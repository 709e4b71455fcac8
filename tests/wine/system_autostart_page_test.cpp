// Services, known DLLs and the Winsock catalogue end to end under Wine: entries written into the
// real HKLM appear on the hosted page with their counts and details; Remove of a service deletes
// exactly its key with its subtree, and the two read-only categories change nothing. A fresh
// prefix has no known DLLs key and an empty catalogue, so the test makes what it needs and
// leaves the registry as it found it.
#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/win32/hosted_page.h"

namespace hostedpage {
namespace {

constexpr wchar_t kServices[] = L"SYSTEM\\CurrentControlSet\\Services";
constexpr wchar_t kService[] = L"SYSTEM\\CurrentControlSet\\Services\\VistrelE2E Svc";
constexpr wchar_t kDriver[] = L"SYSTEM\\CurrentControlSet\\Services\\VistrelE2E Svc2";
constexpr wchar_t kKnownDlls[] = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\KnownDLLs";
constexpr wchar_t kCatalogue[] =
    L"SYSTEM\\CurrentControlSet\\Services\\WinSock2\\Parameters\\Protocol_Catalog9\\"
    L"Catalog_Entries";
constexpr wchar_t kCatalogueEntry[] =
    L"SYSTEM\\CurrentControlSet\\Services\\WinSock2\\Parameters\\Protocol_Catalog9\\"
    L"Catalog_Entries\\000000009901";

bool KeyExists(const wchar_t* path) {
    HKEY key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
    RegCloseKey(key);
    return true;
}

// A key of HKLM made for the test: on destruction the outermost key that the test had to
// create goes with everything in it; keys that were there stay.
class MadeKey {
  public:
    explicit MadeKey(const std::wstring& path) {
        for (std::size_t at = path.find(L'\\');; at = path.find(L'\\', at + 1)) {
            const std::wstring prefix = path.substr(0, at);
            if (!KeyExists(prefix.c_str())) {
                made_ = prefix;
                break;
            }
            if (at == std::wstring::npos) break;
        }
        HKEY key;
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                        &key, nullptr);
        RegCloseKey(key);
    }
    ~MadeKey() {
        if (!made_.empty()) RegDeleteTreeW(HKEY_LOCAL_MACHINE, made_.c_str());
        if (!made_.empty()) RegDeleteKeyW(HKEY_LOCAL_MACHINE, made_.c_str());
    }

  private:
    std::wstring made_;
};

void Set(const wchar_t* path, const wchar_t* name, const std::wstring& text, DWORD type = REG_SZ) {
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, path, name, type, text.c_str(),
                    static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}
void Set(const wchar_t* path, const wchar_t* name, DWORD value) {
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, path, name, REG_DWORD, &value, sizeof value);
}

// A key of HKLM with all its values (type and bytes) and sub-keys, sorted, as lines.
std::wstring Dump(const std::wstring& path) {
    HKEY key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return L"(none) " + path + L"\n";
    std::vector<std::wstring> lines;
    wchar_t name[512];
    BYTE data[4096];
    for (DWORD i = 0;; ++i) {
        DWORD nameChars = 512, size = sizeof data, type = 0;
        if (RegEnumValueW(key, i, name, &nameChars, nullptr, &type, data, &size) != ERROR_SUCCESS)
            break;
        std::wstring line =
            path + L" [" + std::wstring(name, nameChars) + L"] " + std::to_wstring(type) + L":";
        for (DWORD b = 0; b < size; ++b) line += std::to_wstring(data[b]) + L",";
        lines.push_back(line + L"\n");
    }
    std::vector<std::wstring> subKeys;
    for (DWORD i = 0;; ++i) {
        DWORD nameChars = 512;
        if (RegEnumKeyExW(key, i, name, &nameChars, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS)
            break;
        subKeys.emplace_back(name, nameChars);
    }
    RegCloseKey(key);
    std::sort(lines.begin(), lines.end());
    std::sort(subKeys.begin(), subKeys.end());
    std::wstring out = path + L"\n";
    for (const auto& line : lines) out += line;
    for (const auto& sub : subKeys) out += Dump(path + L"\\" + sub);
    return out;
}

// A dump without the lines of key and its subtree.
std::wstring Without(const std::wstring& dump, const std::wstring& key) {
    std::wstring out, line;
    std::wistringstream in(dump);
    while (std::getline(in, line)) {
        const wchar_t next = line.size() > key.size() ? line[key.size()] : L'\0';
        if (line.rfind(key, 0) != 0 || (next != L'\0' && next != L'\\' && next != L' '))
            out += line + L"\n";
    }
    return out;
}

// A packed catalogue item: the library in 8-bit characters at 0, the name in 16-bit ones at 376.
std::vector<BYTE> PackedItem(const std::string& library, const std::wstring& name) {
    std::vector<BYTE> item(888, 0);
    std::copy(library.begin(), library.end(), item.begin());
    for (std::size_t i = 0; i < name.size(); ++i) {
        item[376 + 2 * i] = static_cast<BYTE>(name[i] & 0xFF);
        item[376 + 2 * i + 1] = static_cast<BYTE>(name[i] >> 8);
    }
    return item;
}

class SystemAutostartPage : public HostedPage {
  protected:
    SystemAutostartPage() : HostedPage({}) {}

    void SetUp() override {
        ASSERT_FALSE(KeyExists(kService));
        ASSERT_FALSE(KeyExists(kDriver));
        ASSERT_FALSE(KeyExists(kCatalogueEntry));
        wchar_t temp[MAX_PATH];
        GetTempPathW(MAX_PATH, temp);
        image_ = std::wstring(temp) + L"vistrel_e2e_service.exe";
        ASSERT_TRUE(CopyFileW(L"C:\\windows\\system32\\notepad.exe", image_.c_str(), FALSE));

        made_.emplace_back(std::wstring(kService) + L"\\Parameters");
        Set(kService, L"ImagePath", image_);
        Set(kService, L"DisplayName", L"Vistrel E2E service");
        Set(kService, L"Type", 16);
        Set(kService, L"Start", 3);
        Set((std::wstring(kService) + L"\\Parameters").c_str(), L"ServiceDll", L"x.dll");
        made_.emplace_back(kDriver);
        Set(kDriver, L"ImagePath", L"system32\\drivers\\vistrel_e2e.sys", REG_EXPAND_SZ);
        Set(kDriver, L"DisplayName", L"Vistrel E2E driver");
        Set(kDriver, L"Type", 1);
        Set(kDriver, L"Start", 4);

        made_.emplace_back(kKnownDlls);
        knownBefore_ = Dump(kKnownDlls);
        ASSERT_EQ(knownBefore_.find(L"[VistrelE2E]"), std::wstring::npos);
        Set(kKnownDlls, L"VistrelE2E", L"kernel32.dll");
        hadDllDirectory_ = knownBefore_.find(L"[DllDirectory]") != std::wstring::npos;
        if (!hadDllDirectory_)
            Set(kKnownDlls, L"DllDirectory", L"%SystemRoot%\\system32", REG_EXPAND_SZ);

        made_.emplace_back(kCatalogueEntry);
        const std::vector<BYTE> item =
            PackedItem("%SystemRoot%\\system32\\mswsock.dll", L"Vistrel E2E [TCP/IP]");
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, kCatalogueEntry, L"PackedCatalogItem", REG_BINARY,
                        item.data(), static_cast<DWORD>(item.size()));

        ASSERT_NO_FATAL_FAILURE(HostedPage::SetUp());
        ASSERT_NO_FATAL_FAILURE(ShowAndWait());
    }
    void TearDown() override {
        HostedPage::TearDown();
        RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kKnownDlls, L"VistrelE2E");
        if (!hadDllDirectory_) RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kKnownDlls, L"DllDirectory");
        made_.clear();
        DeleteFileW(image_.c_str());
    }

    // A category found by its name under parent, checked to show as many entries as it has
    // nodes: "name  (n)". Gives n.
    HTREEITEM Category(const std::wstring& name, HTREEITEM parent, int* count) {
        HTREEITEM category = Find(tree_, name + L"  (", parent);
        EXPECT_NE(category, nullptr) << testing::PrintToString(name);
        if (category == nullptr) return nullptr;
        *count = 0;
        for (HTREEITEM item = TreeView_GetChild(tree_, category); item;
             item = TreeView_GetNextSibling(tree_, item))
            ++*count;
        EXPECT_EQ(Label(tree_, category), name + L"  (" + std::to_wstring(*count) + L")");
        return category;
    }
    bool RemoveOffered() { return IsWindowVisible(Button(2)) && IsWindowEnabled(Button(2)); }
    // Presses Delete on the selected entry of a category without Remove: no confirmation comes
    // and the keys involved stay as they are.
    void ExpectDeleteKeyChangesNothing(const std::wstring& keyPath) {
        const std::wstring before = Dump(keyPath);
        EXPECT_FALSE(RemoveOffered());
        {
            ConfirmationClicker clicker(IDCANCEL, false);
            Key(tree_, VK_DELETE);
            Pump(std::chrono::milliseconds(200));
            EXPECT_FALSE(clicker.Clicked());
        }
        EXPECT_EQ(Dump(keyPath), before);
    }

    std::wstring image_, knownBefore_;
    bool hadDllDirectory_ = false;
    std::deque<MadeKey> made_;
};

TEST_F(SystemAutostartPage, ServiceShowsItsStartModeAndRemoveDeletesExactlyItsKey) {
    HTREEITEM container = Find(tree_, L"Services and drivers");
    ASSERT_NE(container, nullptr);
    int services = 0, drivers = 0;
    HTREEITEM serviceCategory = Category(L"Services", container, &services);
    HTREEITEM driverCategory = Category(L"Drivers", container, &drivers);
    ASSERT_TRUE(serviceCategory && driverCategory);
    // The two leaves in their order, each with the fixture of its type only.
    EXPECT_EQ(TreeView_GetChild(tree_, container), serviceCategory);
    ASSERT_NE(Find(tree_, L"Vistrel E2E service", serviceCategory), nullptr);
    EXPECT_EQ(Find(tree_, L"Vistrel E2E driver", serviceCategory), nullptr);
    ASSERT_NE(Find(tree_, L"Vistrel E2E driver", driverCategory), nullptr);

    Select(Find(tree_, L"Vistrel E2E driver", driverCategory));
    EXPECT_EQ(Pane().rfind(L"Startup type: Disabled\r\n", 0), 0u) << Pane();
    Select(Find(tree_, L"Vistrel E2E service", serviceCategory));
    const std::wstring pane = Pane();
    EXPECT_EQ(pane.rfind(L"Startup type: Manual\r\n", 0), 0u) << pane;
    EXPECT_NE(pane.find(L"vistrel_e2e_service.exe\r\n"), std::wstring::npos) << pane;

    const std::wstring before = Dump(kServices);
    ASSERT_TRUE(RemoveOffered());
    {
        ConfirmationClicker clicker(IDOK, false);
        PostMessageW(Button(2), BM_CLICK, 0, 0);
        ASSERT_TRUE(PumpUntil([] { return !KeyExists(kService); }));
        EXPECT_TRUE(clicker.Clicked());
    }
    Pump(std::chrono::milliseconds(100));
    // The service's key went with its subtree; every other service is as it was.
    EXPECT_NE(Without(before, kService), before);
    EXPECT_EQ(Dump(kServices), Without(before, kService));
    EXPECT_NE(GetFileAttributesW(image_.c_str()), INVALID_FILE_ATTRIBUTES);  // the image stays
    EXPECT_EQ(Find(tree_, L"Vistrel E2E service", serviceCategory), nullptr);
    EXPECT_EQ(Label(tree_, serviceCategory), L"Services  (" + std::to_wstring(services - 1) + L")");
}

TEST_F(SystemAutostartPage, KnownDllsAreDescribedAndCannotBeRemoved) {
    int count = 0;
    HTREEITEM category = Category(L"Known DLLs", TVI_ROOT, &count);
    ASSERT_NE(category, nullptr);
    EXPECT_GE(count, 2);
    Select(Find(tree_, L"VistrelE2E", category));
    EXPECT_NE(Pane().find(L"kernel32.dll\r\n"), std::wstring::npos) << Pane();
    ExpectDeleteKeyChangesNothing(kKnownDlls);

    if (!hadDllDirectory_) {
        // The folder gets one line with the resolved path and no file details.
        Select(Find(tree_, L"DllDirectory", category));
        EXPECT_EQ(Pane(), L"Path: C:\\windows\\system32");
    }
}

TEST_F(SystemAutostartPage, WinsockProviderShowsItsNameAndLibraryAndCannotBeRemoved) {
    int count = 0;
    HTREEITEM category = Category(L"Winsock providers", TVI_ROOT, &count);
    ASSERT_NE(category, nullptr);
    EXPECT_GE(count, 1);
    Select(Find(tree_, L"Vistrel E2E [TCP/IP]", category));
    const std::wstring pane = Pane();
    EXPECT_NE(pane.find(L"%SystemRoot%\\system32\\mswsock.dll"), std::wstring::npos) << pane;
    EXPECT_NE(pane.find(L"mswsock.dll\r\n"), std::wstring::npos) << pane;
    ExpectDeleteKeyChangesNothing(kCatalogue);
}

}  // namespace
}  // namespace hostedpage
