// The browser and shell categories end to end under Wine: classes, helper objects, a menu entry,
// a downloaded control, approved extensions and an execute hook written into the real registry
// appear on the hosted page with their counts and details, Remove changes exactly the chosen key
// or value (compared in dumps of the keys involved before and after), and every fixture goes
// again afterwards.
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "tests/support/win32/hosted_page.h"

namespace hostedpage {
namespace {

constexpr wchar_t kBho[] =
    L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Browser Helper Objects";
constexpr wchar_t kMenuExt[] = L"Software\\Microsoft\\Internet Explorer\\MenuExt";
constexpr wchar_t kUnits[] = L"SOFTWARE\\Microsoft\\Code Store Database\\Distribution Units";
constexpr wchar_t kApproved[] =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\Approved";
constexpr wchar_t kHooks[] =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\ShellExecuteHooks";
constexpr wchar_t kClasses[] = L"Software\\Classes\\CLSID\\";

constexpr wchar_t kWineClass[] = L"{5EE7E2E0-0000-4000-8000-000000000001}";
constexpr wchar_t kMissingClass[] = L"{5EE7E2E0-0000-4000-8000-000000000002}";
constexpr wchar_t kNoServerClass[] = L"{5EE7E2E0-0000-4000-8000-000000000003}";
constexpr wchar_t kWineServer[] = L"C:\\windows\\system32\\shdocvw.dll";
constexpr wchar_t kMissingServer[] = L"C:\\vistrel-missing\\gone.dll";

std::wstring Sub(const std::wstring& key, const std::wstring& sub) {
    return key + L"\\" + sub;
}

// Every key below root\path, and every value with its type and bytes, one line each.
void Dump(HKEY root, const std::wstring& path, std::set<std::wstring>* lines) {
    HKEY key;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return;
    lines->insert(path);
    std::vector<std::wstring> subKeys;
    for (DWORD i = 0;; ++i) {
        wchar_t name[256];
        BYTE data[1024];
        DWORD chars = 256, size = sizeof(data), type = 0;
        if (RegEnumValueW(key, i, name, &chars, nullptr, &type, data, &size) != ERROR_SUCCESS)
            break;
        std::wstring line = path + L" | " + name + L" | " + std::to_wstring(type) + L" |";
        for (DWORD b = 0; b < size; ++b) line += L" " + std::to_wstring(data[b]);
        lines->insert(line);
    }
    for (DWORD i = 0;; ++i) {
        wchar_t name[256];
        DWORD chars = 256;
        if (RegEnumKeyExW(key, i, name, &chars, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS)
            break;
        subKeys.push_back(name);
    }
    RegCloseKey(key);
    for (const std::wstring& sub : subKeys) Dump(root, Sub(path, sub), lines);
}

// The dump of the keys a test may touch.
std::set<std::wstring> DumpAll() {
    std::set<std::wstring> lines;
    for (const wchar_t* path : {kBho, kUnits, kApproved, kHooks})
        Dump(HKEY_LOCAL_MACHINE, path, &lines);
    for (const wchar_t* id : {kWineClass, kMissingClass, kNoServerClass})
        Dump(HKEY_LOCAL_MACHINE, kClasses + std::wstring(id), &lines);
    Dump(HKEY_CURRENT_USER, kMenuExt, &lines);
    return lines;
}

// The lines of dump that belong to key path (with its sub-keys), or to its one value.
std::set<std::wstring> Lines(const std::set<std::wstring>& dump, const std::wstring& path,
                             const std::wstring& value = L"") {
    std::set<std::wstring> lines;
    for (const std::wstring& line : dump) {
        if (value.empty() ? line == path || line.rfind(path + L"\\", 0) == 0 ||
                                line.rfind(path + L" | ", 0) == 0
                          : line.rfind(path + L" | " + value + L" |", 0) == 0)
            lines.insert(line);
    }
    EXPECT_FALSE(lines.empty());
    return lines;
}

// What left the dump since before; nothing may have joined it.
std::set<std::wstring> Gone(const std::set<std::wstring>& before) {
    const std::set<std::wstring> after = DumpAll();
    std::set<std::wstring> gone;
    for (const std::wstring& line : before)
        if (!after.count(line)) gone.insert(line);
    for (const std::wstring& line : after)
        EXPECT_TRUE(before.count(line)) << "new: " << std::string(line.begin(), line.end());
    return gone;
}

class ShellCollectorsPage : public HostedPage {
  protected:
    ShellCollectorsPage() : HostedPage({}) {}

    void SetUp() override {
        // The prefix's own entries, counted before the fixtures join them.
        baseApproved_ = Count(kApproved, true);
        baseHooks_ = Count(kHooks, true);
        baseBho_ = Count(kBho, false);
        baseUnits_ = Count(kUnits, false);
        baseMenu_ = Count(kMenuExt, false, HKEY_CURRENT_USER);
        before_ = DumpAll();

        const std::wstring classes = kClasses;
        Put(HKEY_LOCAL_MACHINE, classes + kWineClass, L"", L"VistrelE2E Helper");
        Put(HKEY_LOCAL_MACHINE, Sub(classes + kWineClass, L"InprocServer32"), L"", kWineServer);
        Put(HKEY_LOCAL_MACHINE, classes + kMissingClass, L"", L"VistrelE2E Missing");
        Put(HKEY_LOCAL_MACHINE, Sub(classes + kMissingClass, L"InprocServer32"), L"",
            kMissingServer);
        Put(HKEY_LOCAL_MACHINE, classes + kNoServerClass, L"", L"VistrelE2E NoServer");
        for (const wchar_t* id : {kWineClass, kMissingClass, kNoServerClass})
            Put(HKEY_LOCAL_MACHINE, Sub(kBho, id), L"NoExplorer", L"1");
        Put(HKEY_CURRENT_USER, Sub(kMenuExt, L"VistrelE2E Menu"), L"",
            L"C:\\windows\\system32\\urlmon.dll");
        Put(HKEY_CURRENT_USER, Sub(kMenuExt, L"VistrelE2E NoDefault"), L"Contexts", L"1");
        const std::wstring unit = Sub(kUnits, kWineClass);
        Put(HKEY_LOCAL_MACHINE, Sub(unit, L"DownloadInformation"), L"CODEBASE",
            L"http://vistrel.test/e2e.cab");
        Put(HKEY_LOCAL_MACHINE, Sub(unit, L"InstalledVersion"), L"LastModified", L"2024-01-02");
        Put(HKEY_LOCAL_MACHINE, Sub(unit, L"Contains\\Files"), L"C:\\windows\\system32\\urlmon.dll",
            L"");
        Put(HKEY_LOCAL_MACHINE, Sub(kUnits, L"VistrelE2E Unit"), L"", nullptr);
        Put(HKEY_LOCAL_MACHINE, kApproved, kWineClass, L"VistrelE2E Extension");
        Put(HKEY_LOCAL_MACHINE, kApproved, kMissingClass, L"");
        Put(HKEY_LOCAL_MACHINE, kHooks, kMissingClass, L"VistrelE2E Hook");

        ASSERT_NO_FATAL_FAILURE(HostedPage::SetUp());
        ASSERT_NO_FATAL_FAILURE(ShowAndWait());
    }
    void TearDown() override {
        HostedPage::TearDown();
        for (auto undo = undo_.rbegin(); undo != undo_.rend(); ++undo) (*undo)();
        EXPECT_EQ(DumpAll(), before_) << "fixtures left behind";
    }

    // Writes a string value (none with a null data), noting how to undo it: a key that didn't
    // exist goes whole, from its highest new level; a value that didn't exist goes alone.
    void Put(HKEY root, const std::wstring& path, const wchar_t* name, const wchar_t* data) {
        std::wstring top;  // the highest level of path that is missing
        for (std::wstring at = path; !KeyExists(root, at); at = at.substr(0, at.rfind(L'\\'))) {
            top = at;
            if (at.find(L'\\') == std::wstring::npos) break;
        }
        HKEY key;
        ASSERT_EQ(RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                                  nullptr),
                  ERROR_SUCCESS);
        if (data) {
            EXPECT_EQ(RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(data),
                                     static_cast<DWORD>((wcslen(data) + 1) * sizeof(wchar_t))),
                      ERROR_SUCCESS);
        }
        RegCloseKey(key);
        if (!top.empty())
            undo_.push_back([root, top] {
                RegDeleteTreeW(root, top.c_str()), RegDeleteKeyW(root, top.c_str());
            });
        else if (data)
            undo_.push_back([root, path, value = std::wstring(name)] {
                RegDeleteKeyValueW(root, path.c_str(), value.c_str());
            });
    }
    static bool KeyExists(HKEY root, const std::wstring& path) {
        HKEY key;
        if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
        RegCloseKey(key);
        return true;
    }
    static int Count(const wchar_t* path, bool values, HKEY root = HKEY_LOCAL_MACHINE) {
        HKEY key;
        if (RegOpenKeyExW(root, path, 0, KEY_READ, &key) != ERROR_SUCCESS) return 0;
        DWORD subKeys = 0, valueCount = 0;
        RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &subKeys, nullptr, nullptr, &valueCount,
                         nullptr, nullptr, nullptr, nullptr);
        RegCloseKey(key);
        return static_cast<int>(values ? valueCount : subKeys);
    }

    HTREEITEM Category(const wchar_t* name, int count) {
        HTREEITEM item = Find(tree_, name);
        EXPECT_NE(item, nullptr) << name;
        if (item) {
            EXPECT_EQ(Label(tree_, item),
                      std::wstring(name) + L"  (" + std::to_wstring(count) + L")");
        }
        return item;
    }
    // Selects the entry, presses Remove and confirms; the node goes, and of the registry's dump
    // exactly the lines of key path (or of its one value) go with it.
    void Remove(HTREEITEM category, const std::wstring& label, const std::wstring& path,
                const std::wstring& value = L"") {
        const std::set<std::wstring> before = DumpAll();
        Select(Find(tree_, label, category));
        ASSERT_TRUE(IsWindowEnabled(Button(2)));
        ConfirmationClicker clicker(IDOK, false);
        PostMessageW(Button(2), BM_CLICK, 0, 0);
        ASSERT_TRUE(PumpUntil([&] { return Find(tree_, label, category) == nullptr; }));
        EXPECT_EQ(Gone(before), Lines(before, path, value));
    }

    int baseApproved_ = 0, baseHooks_ = 0, baseBho_ = 0, baseUnits_ = 0, baseMenu_ = 0;

  private:
    std::vector<std::function<void()>> undo_;
    std::set<std::wstring> before_;
};

TEST_F(ShellCollectorsPage, BrowserCategoriesListDescribeAndRemoveExactlyTheirEntry) {
    // The class without a server isn't listed; its key under the browser's stays uncounted.
    HTREEITEM bho = Category(L"Browser helper objects", baseBho_ + 2);
    HTREEITEM menu = Category(L"Context menu extensions", baseMenu_ + 1);
    HTREEITEM units = Category(L"Downloaded ActiveX controls", baseUnits_ + 2);
    ASSERT_TRUE(bho && menu && units);
    EXPECT_EQ(Find(tree_, L"VistrelE2E NoServer", bho), nullptr);
    EXPECT_EQ(Find(tree_, L"VistrelE2E NoDefault", menu), nullptr);

    Select(Find(tree_, L"VistrelE2E Helper", bho));
    std::wstring pane = Pane();
    EXPECT_NE(pane.find(std::wstring(L"Path: ") + kWineServer), std::wstring::npos) << pane;
    EXPECT_EQ(pane.find(L"No file information"), std::wstring::npos) << pane;
    Select(Find(tree_, L"VistrelE2E Missing", bho));
    pane = Pane();
    EXPECT_NE(pane.find(L"No file information available for"), std::wstring::npos) << pane;
    EXPECT_NE(pane.find(kMissingServer), std::wstring::npos) << pane;
    // A unit named by its class: the server's details, then code base, date and files.
    Select(Find(tree_, L"VistrelE2E Helper", units));
    pane = Pane();
    for (const wchar_t* part : {L"shdocvw.dll", L"Downloaded from: http://vistrel.test/e2e.cab",
                                L"Last modified: 2024-01-02", L"Installed files", L"urlmon.dll"})
        EXPECT_NE(pane.find(part), std::wstring::npos) << std::string(part, part + wcslen(part));
    ASSERT_NE(Find(tree_, L"VistrelE2E Unit", units), nullptr);

    // Remove takes exactly the entry's key: classes and the other entries stay.
    Remove(bho, L"VistrelE2E Missing", Sub(kBho, kMissingClass));
    EXPECT_EQ(Label(tree_, bho),
              L"Browser helper objects  (" + std::to_wstring(baseBho_ + 1) + L")");

    Remove(units, L"VistrelE2E Helper", Sub(kUnits, kWineClass));
    Remove(menu, L"VistrelE2E Menu", Sub(kMenuExt, L"VistrelE2E Menu"));
}

TEST_F(ShellCollectorsPage, ShellListsKeepUnknownServersAndRemoveOnlyTheValue) {
    HTREEITEM approved = Category(L"Shell extensions", baseApproved_ + 2);
    HTREEITEM hooks = Category(L"Shell execute hooks", baseHooks_ + 1);
    ASSERT_TRUE(approved && hooks);
    // Without a description the entry shows its server, here one that is missing.
    ASSERT_NE(Find(tree_, kMissingServer, approved), nullptr);
    Select(Find(tree_, L"VistrelE2E Extension", approved));
    EXPECT_NE(Pane().find(std::wstring(L"Path: ") + kWineServer), std::wstring::npos)
        << Pane().size();
    Select(Find(tree_, L"VistrelE2E Hook", hooks));
    EXPECT_NE(Pane().find(L"No file information available for"), std::wstring::npos);

    // The hook of the same class and the class itself stay.
    Remove(approved, kMissingServer, kApproved, kMissingClass);
    EXPECT_EQ(Label(tree_, approved),
              L"Shell extensions  (" + std::to_wstring(baseApproved_ + 1) + L")");
}

}  // namespace
}  // namespace hostedpage
