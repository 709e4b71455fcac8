// The real page hosted in-process under Wine: keys posted to whichever control has the focus,
// the buttons found by their action ids, the confirmation answered by clicking it, the host's
// refusal, and hiding the page in the middle of a population.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "include/vistrel/host.h"
#include "platform/win32/windows_api.h"
#include "tests/support/win32/build_paths.h"

namespace {

constexpr wchar_t kRunKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";
constexpr wchar_t kValueA[] = L"VistrelPage Alpha";
constexpr wchar_t kValueB[] = L"VistrelPage Beta";
constexpr int kTreeId = 22033;
constexpr int kPaneId = 22032;
constexpr int kTitleId = 22101;
constexpr int kFirstButtonId = 22007;

std::atomic<int> g_answer{1};
std::atomic<int> g_asked{0};
void HostService(std::uint32_t code, std::int32_t* answer) {
    if (code == vistrel::kHostCodeAllowAction) ++g_asked;
    *answer = g_answer.load();
}

void Pump(std::chrono::milliseconds duration) {
    const auto end = std::chrono::steady_clock::now() + duration;
    MSG msg;
    do {
        while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&msg);
            DispatchMessageW(&msg);
        }
        Sleep(5);
    } while (std::chrono::steady_clock::now() < end);
}

template <class Done>
bool PumpUntil(Done done, std::chrono::milliseconds limit = std::chrono::seconds(60)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (std::chrono::steady_clock::now() < end) {
        if (done()) return true;
        Pump(std::chrono::milliseconds(10));
    }
    return done();
}

std::wstring Text(HWND window) {
    wchar_t buffer[4096] = {};
    GetWindowTextW(window, buffer, 4096);
    return buffer;
}

std::wstring Label(HWND tree, HTREEITEM item) {
    wchar_t buffer[512] = {};
    TVITEMW info = {};
    info.mask = TVIF_TEXT;
    info.hItem = item;
    info.pszText = buffer;
    info.cchTextMax = 512;
    SendMessageW(tree, TVM_GETITEMW, 0, reinterpret_cast<LPARAM>(&info));
    return buffer;
}

// The first node, depth first, whose label starts with prefix.
HTREEITEM Find(HWND tree, HTREEITEM parent, const std::wstring& prefix) {
    for (HTREEITEM item = TreeView_GetChild(tree, parent); item;
         item = TreeView_GetNextSibling(tree, item)) {
        if (Label(tree, item).rfind(prefix, 0) == 0) return item;
        if (HTREEITEM found = Find(tree, item, prefix)) return found;
    }
    return nullptr;
}

void SetRunValue(const wchar_t* name, const wchar_t* data) {
    HKEY key;
    ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, kRunKey, 0, nullptr, 0, KEY_SET_VALUE, nullptr,
                              &key, nullptr),
              ERROR_SUCCESS);
    RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(data),
                   static_cast<DWORD>((wcslen(data) + 1) * sizeof(wchar_t)));
    RegCloseKey(key);
}

bool RunValueExists(const wchar_t* name) {
    return RegGetValueW(HKEY_CURRENT_USER, kRunKey, name, RRF_RT_ANY, nullptr, nullptr, nullptr) ==
           ERROR_SUCCESS;
}

void DeleteRunValue(const wchar_t* name) {
    HKEY key;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, kRunKey, 0, KEY_SET_VALUE, &key) != ERROR_SUCCESS) return;
    RegDeleteValueW(key, name);
    RegCloseKey(key);
}

// Finds this process's confirmation dialog, ticks its box if asked, and presses a button.
class ConfirmationClicker {
  public:
    ConfirmationClicker(int button, bool tick)
        : button_(button), tick_(tick), worker_([this] { Run(); }) {}
    ~ConfirmationClicker() {
        stop_ = true;
        worker_.join();
    }
    bool Clicked() const { return clicked_; }
    std::wstring Message() const { return message_; }
    std::wstring Caption() const { return caption_; }

  private:
    static BOOL CALLBACK Visit(HWND window, LPARAM param) {
        auto* self = reinterpret_cast<ConfirmationClicker*>(param);
        DWORD pid = 0;
        GetWindowThreadProcessId(window, &pid);
        wchar_t cls[64] = {};
        GetClassNameW(window, cls, 64);
        if (pid != GetCurrentProcessId() || wcscmp(cls, L"#32770") != 0 ||
            !IsWindowVisible(window) || GetDlgItem(window, 22035) == nullptr)
            return TRUE;
        self->message_ = Text(GetDlgItem(window, 22037));
        self->caption_ = Text(window);
        if (self->tick_) SendMessageW(GetDlgItem(window, 22035), BM_SETCHECK, BST_CHECKED, 0);
        PostMessageW(window, WM_COMMAND, MAKEWPARAM(self->button_, BN_CLICKED),
                     reinterpret_cast<LPARAM>(GetDlgItem(window, self->button_)));
        self->clicked_ = true;
        return FALSE;
    }
    void Run() {
        while (!stop_ && !clicked_) {
            EnumWindows(Visit, reinterpret_cast<LPARAM>(this));
            Sleep(20);
        }
    }
    int button_;
    bool tick_;
    std::atomic<bool> stop_{false}, clicked_{false};
    std::wstring message_, caption_;
    std::thread worker_;
};

class ConsolePage : public ::testing::Test {
  protected:
    void SetUp() override {
        g_answer = 1;
        g_asked = 0;
        SetRunValue(kValueA, L"C:\\windows\\system32\\notepad.exe");
        SetRunValue(kValueB, L"C:\\windows\\system32\\regedit.exe");
        dist_ = testpaths::DistDir();
        module_ = LoadLibraryW((dist_ + L"\\vistrel.dll").c_str());
        ASSERT_NE(module_, nullptr);
        processData_ = reinterpret_cast<vistrel::ProcessDataFunction>(
            reinterpret_cast<void*>(GetProcAddress(module_, vistrel::kProcessDataName)));
        ASSERT_NE(processData_, nullptr);
        parent_ = CreateWindowExW(0, L"STATIC", L"host", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0,
                                  800, 700, nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
        ASSERT_NE(parent_, nullptr);
        context_ = {};
        context_.install_path = reinterpret_cast<const char16_t*>(dist_.c_str());
        context_.host_callback = &HostService;
        ASSERT_EQ(
            processData_(vistrel::kCommandInitialise, reinterpret_cast<std::uintptr_t>(&context_)),
            1u);
        parentObject_ = {nullptr, parent_};
        ASSERT_NE(processData_(vistrel::kCommandCreatePage,
                               reinterpret_cast<std::uintptr_t>(&parentObject_)),
                  0u);
        page_ = GetWindow(parent_, GW_CHILD);
        ASSERT_NE(page_, nullptr);
        tree_ = GetDlgItem(page_, kTreeId);
        normalTitle_ = Text(GetDlgItem(page_, kTitleId));
    }
    void TearDown() override {
        if (processData_) {
            processData_(vistrel::kCommandHidePage, 0);
            processData_(vistrel::kCommandDestroyPage, 0);
            processData_(vistrel::kCommandTearDown, 0);
        }
        if (parent_) DestroyWindow(parent_);
        if (module_) FreeLibrary(module_);
        DeleteRunValue(kValueA);
        DeleteRunValue(kValueB);
    }

    bool Filled() {
        return Text(GetDlgItem(page_, kTitleId)) == normalTitle_ && TreeView_GetCount(tree_) > 0;
    }
    void ShowAndWait() {
        processData_(vistrel::kCommandShowPage, 0);
        ASSERT_TRUE(PumpUntil([&] { return Filled(); }));
    }
    HTREEITEM UserRun() { return Find(tree_, TVI_ROOT, L"Run (current user)"); }
    void Select(HTREEITEM item) {
        ASSERT_NE(item, nullptr);
        SendMessageW(tree_, TVM_SELECTITEM, TVGN_CARET, reinterpret_cast<LPARAM>(item));
        Pump(std::chrono::milliseconds(20));
    }
    // A key as the user types it: to the control that has the focus.
    void Key(HWND target, WPARAM key) {
        SetFocus(target);
        PostMessageW(target, WM_KEYDOWN, key, 1);
        PostMessageW(target, WM_KEYUP, key, 0xC0000001);
        Pump(std::chrono::milliseconds(50));
    }
    HWND Button(int action) { return GetDlgItem(page_, kFirstButtonId + action); }

    std::wstring dist_;
    HMODULE module_ = nullptr;
    vistrel::ProcessDataFunction processData_ = nullptr;
    vistrel::HostContext context_{};
    vistrel::ParentWindowObject parentObject_{};
    HWND parent_ = nullptr, page_ = nullptr, tree_ = nullptr;
    std::wstring normalTitle_;
};

TEST_F(ConsolePage, ButtonsByActionIdAndEscapeKeepsThePage) {
    ASSERT_NE(tree_, nullptr);
    // Hidden after creation: no button visible.
    for (int action = 0; action < 5; ++action)
        EXPECT_FALSE(Button(action) && IsWindowVisible(Button(action))) << action;
    ShowAndWait();
    ASSERT_NE(Button(0), nullptr);
    EXPECT_TRUE(IsWindowVisible(Button(0)));
    Select(Find(tree_, TVI_ROOT, kValueA));
    // Refresh, Go to and Remove, each button carrying its action's id.
    for (int action = 0; action < 3; ++action) {
        ASSERT_NE(Button(action), nullptr) << action;
        EXPECT_TRUE(IsWindowVisible(Button(action))) << action;
        EXPECT_TRUE(IsWindowEnabled(Button(action))) << action;
    }
    EXPECT_NE(Text(GetDlgItem(page_, kPaneId)), L"");

    Key(Button(2), VK_ESCAPE);
    EXPECT_TRUE(IsWindow(page_));
    EXPECT_TRUE(IsWindowVisible(page_));
    EXPECT_EQ(TreeView_GetSelection(tree_), Find(tree_, TVI_ROOT, kValueA));
}

TEST_F(ConsolePage, DeleteAsksOnceThenRemovesAndLowersTheCount) {
    ShowAndWait();
    HTREEITEM category = UserRun();
    ASSERT_NE(category, nullptr);
    const std::wstring before = Label(tree_, category);
    Select(Find(tree_, TVI_ROOT, kValueA));

    {
        // Cancel with the box ticked: nothing happens now, and no question comes again.
        ConfirmationClicker clicker(IDCANCEL, true);
        Key(Button(0), VK_DELETE);  // from the Refresh button: keys are the page's
        ASSERT_TRUE(PumpUntil([&] { return clicker.Clicked(); }, std::chrono::seconds(10)));
        Pump(std::chrono::milliseconds(200));
        EXPECT_FALSE(clicker.Message().empty());
        EXPECT_FALSE(clicker.Caption().empty());
    }
    EXPECT_TRUE(RunValueExists(kValueA));
    EXPECT_EQ(Label(tree_, UserRun()), before);
    EXPECT_EQ(g_asked.load(), 1);

    Key(tree_, VK_DELETE);
    ASSERT_TRUE(PumpUntil([&] { return !RunValueExists(kValueA); }, std::chrono::seconds(10)));
    Pump(std::chrono::milliseconds(100));
    EXPECT_EQ(Find(tree_, TVI_ROOT, kValueA), nullptr);
    EXPECT_NE(Find(tree_, TVI_ROOT, kValueB), nullptr);
    EXPECT_EQ(g_asked.load(), 2);
    // "(n)" became "(n-1)".
    const std::size_t open = before.rfind(L'(');
    ASSERT_NE(open, std::wstring::npos);
    const int count = _wtoi(before.c_str() + open + 1);
    EXPECT_EQ(Label(tree_, UserRun()),
              before.substr(0, open) + L"(" + std::to_wstring(count - 1) + L")");
}

TEST_F(ConsolePage, TheHostCanRefuseARemoval) {
    ShowAndWait();
    Select(Find(tree_, TVI_ROOT, kValueB));
    g_answer = 0;
    ConfirmationClicker clicker(IDOK, false);
    SendMessageW(page_, WM_COMMAND, MAKEWPARAM(kFirstButtonId + 2, BN_CLICKED),
                 reinterpret_cast<LPARAM>(Button(2)));
    Pump(std::chrono::milliseconds(300));
    EXPECT_FALSE(clicker.Clicked());
    EXPECT_TRUE(RunValueExists(kValueB));
    EXPECT_EQ(g_asked.load(), 1);
    EXPECT_NE(Find(tree_, TVI_ROOT, kValueB), nullptr);
}

TEST_F(ConsolePage, HidingDuringAPopulationAndShowingAgain) {
    processData_(vistrel::kCommandShowPage, 0);
    const std::wstring waiting = Text(GetDlgItem(page_, kTitleId));
    EXPECT_NE(waiting, normalTitle_);
    processData_(vistrel::kCommandHidePage, 0);
    Pump(std::chrono::milliseconds(200));
    EXPECT_EQ(TreeView_GetCount(tree_), 0u);
    EXPECT_EQ(Text(GetDlgItem(page_, kTitleId)), normalTitle_);
    EXPECT_FALSE(IsWindowVisible(page_));

    processData_(vistrel::kCommandShowPage, 0);
    EXPECT_EQ(Text(GetDlgItem(page_, kTitleId)), waiting);
    ASSERT_TRUE(PumpUntil([&] { return Filled(); }));
    EXPECT_NE(Find(tree_, TVI_ROOT, kValueA), nullptr);

    // F5 from the pane repopulates; the tree comes back whole.
    Key(GetDlgItem(page_, kPaneId), VK_F5);
    ASSERT_TRUE(PumpUntil([&] { return Filled(); }));
    EXPECT_NE(Find(tree_, TVI_ROOT, kValueB), nullptr);
}

}  // namespace
