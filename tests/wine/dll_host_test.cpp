// vistrel.dll driven as a host drives it: loaded with LoadLibraryW, every command through the
// one export, the descriptor read at its offsets, the page created in a real parent window,
// then shown, hidden, destroyed, torn down and unloaded.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <string>

#include "include/vistrel/host.h"
#include "platform/win32/windows_api.h"
#include "tests/support/win32/build_paths.h"

namespace {

int g_serviceCalls = 0;
void HostService(std::uint32_t, std::int32_t* answer) {
    ++g_serviceCalls;
    *answer = 0;
}

void Pump(std::chrono::milliseconds duration) {
    const auto end = std::chrono::steady_clock::now() + duration;
    MSG msg;
    while (std::chrono::steady_clock::now() < end) {
        while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&msg);
            DispatchMessageW(&msg);
        }
        Sleep(10);
    }
}

vistrel::ProcessDataFunction Export(HMODULE module) {
    // FARPROC has no parameters; going through void* keeps the cast explicit.
    return reinterpret_cast<vistrel::ProcessDataFunction>(
        reinterpret_cast<void*>(GetProcAddress(module, vistrel::kProcessDataName)));
}

std::string ReadWholeFile(const std::wstring& path) {
    std::string bytes;
    HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                              nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return bytes;
    char chunk[4096];
    DWORD read = 0;
    while (ReadFile(file, chunk, sizeof chunk, &read, nullptr) && read > 0)
        bytes.append(chunk, read);
    CloseHandle(file);
    return bytes;
}

std::wstring ClassOf(HWND window) {
    wchar_t name[64] = {};
    GetClassNameW(window, name, 64);
    return name;
}

std::wstring TextAt(std::uint64_t address, std::size_t offset) {
    return reinterpret_cast<const wchar_t*>(static_cast<std::uintptr_t>(address) + offset);
}

class DllHostTest : public ::testing::Test {
  protected:
    void SetUp() override {
        module = LoadLibraryW((testpaths::DistDir() + L"\\vistrel.dll").c_str());
        ASSERT_NE(module, nullptr) << "LoadLibraryW failed: " << GetLastError();
        process = Export(module);
        ASSERT_NE(process, nullptr);
        installPath = testpaths::DistDir();
        context.install_path = reinterpret_cast<const char16_t*>(installPath.c_str());
        context.trace_mode = 0;
        context.host_callback = &HostService;
        context.gdi_manager = nullptr;
    }
    void TearDown() override {
        if (parent) DestroyWindow(parent);
        if (module) {
            process(vistrel::kCommandTearDown, 0);
            EXPECT_TRUE(FreeLibrary(module));
        }
        if (!ownLangDir.empty()) {
            DeleteFileW((ownLangDir + L"\\Lang\\l_vistrel.ini").c_str());
            RemoveDirectoryW((ownLangDir + L"\\Lang").c_str());
            RemoveDirectoryW(ownLangDir.c_str());
        }
    }

    std::uint64_t Command(std::uint32_t command, std::uintptr_t argument = 0) {
        return process(command, argument);
    }
    std::uint64_t Initialise() {
        return Command(vistrel::kCommandInitialise, reinterpret_cast<std::uintptr_t>(&context));
    }
    HWND MakeParent() {
        parent = CreateWindowExW(0, L"STATIC", L"host", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 700,
                                 600, nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
        return parent;
    }
    // A folder of this test's own with a language file of the given UTF-8 lines.
    void UseOwnLanguageFile(const std::string& lines) {
        wchar_t temp[MAX_PATH] = {};
        GetTempPathW(MAX_PATH, temp);
        ownLangDir =
            std::wstring(temp) + L"vistrel_dll_host_" + std::to_wstring(GetCurrentProcessId());
        CreateDirectoryW(ownLangDir.c_str(), nullptr);
        CreateDirectoryW((ownLangDir + L"\\Lang").c_str(), nullptr);
        HANDLE file = CreateFileW((ownLangDir + L"\\Lang\\l_vistrel.ini").c_str(), GENERIC_WRITE, 0,
                                  nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        ASSERT_NE(file, INVALID_HANDLE_VALUE);
        const std::string bytes = "[LangSupport]\r\n" + lines;
        DWORD written = 0;
        WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
        CloseHandle(file);
        installPath = ownLangDir;
        context.install_path = reinterpret_cast<const char16_t*>(installPath.c_str());
    }

    HMODULE module = nullptr;
    vistrel::ProcessDataFunction process = nullptr;
    std::wstring installPath;
    std::wstring ownLangDir;
    vistrel::HostContext context{};
    HWND parent = nullptr;
};

TEST_F(DllHostTest, DescriptorRecordAndUnknownCommandsBeforeAnyPage) {
    const std::uint64_t descriptor = Command(vistrel::kCommandGetDescriptor);
    ASSERT_NE(descriptor, 0u);
    EXPECT_EQ(TextAt(descriptor, 0), L"&Vistrel");
    EXPECT_EQ(TextAt(descriptor, 64), L"System Information");
    EXPECT_EQ(TextAt(descriptor, 192), L"9. 0. 0. 0");
    const auto* bytes =
        reinterpret_cast<const unsigned char*>(static_cast<std::uintptr_t>(descriptor));
    std::uint32_t valueA = 1;
    std::uint64_t valueB = 1, valueC = 1;
    std::uint32_t valueD = 1;
    std::memcpy(&valueA, bytes + 256, 4);
    std::memcpy(&valueB, bytes + 264, 8);
    std::memcpy(&valueC, bytes + 280, 8);
    std::memcpy(&valueD, bytes + 292, 4);
    EXPECT_EQ(valueA, 180u);
    EXPECT_EQ(valueB, 0u);
    EXPECT_EQ(valueC, 0u);
    EXPECT_EQ(valueD, 0u);
    EXPECT_EQ(bytes[18], 0);   // after "&Vistrel" and its NUL
    EXPECT_EQ(bytes[62], 0);   // the name field's last character
    EXPECT_EQ(bytes[260], 0);  // between value_a and value_b

    const std::uint64_t record = Command(vistrel::kCommandGetRecord);
    ASSERT_NE(record, 0u);
    std::uint64_t words[2] = {};
    std::memcpy(words, reinterpret_cast<const void*>(static_cast<std::uintptr_t>(record)), 16);
    EXPECT_EQ(words[0], 60300u);
    EXPECT_STREQ(reinterpret_cast<const char*>(static_cast<std::uintptr_t>(words[1])),
                 "bad allocation");

    for (std::uint32_t command : {7u, 9u, 11u, 0xFFFFFFFFu}) EXPECT_EQ(Command(command), 0u);
    EXPECT_EQ(Command(vistrel::kCommandTearDown), 1u);  // without command 0
    EXPECT_EQ(Command(vistrel::kCommandCreatePage, 0), 0u);
    EXPECT_EQ(Command(vistrel::kCommandShowPage), 1u);
    EXPECT_EQ(Command(vistrel::kCommandDestroyPage), 1u);
}

TEST_F(DllHostTest, HostWithoutServiceGetsNoPage) {
    context.host_callback = nullptr;
    EXPECT_EQ(Initialise(), 0u);
    ASSERT_NE(MakeParent(), nullptr);
    vistrel::ParentWindowObject object{nullptr, parent};
    EXPECT_EQ(Command(vistrel::kCommandCreatePage, reinterpret_cast<std::uintptr_t>(&object)), 0u);
    EXPECT_EQ(GetWindow(parent, GW_CHILD), nullptr);
    EXPECT_EQ(Command(vistrel::kCommandTearDown), 1u);
}

TEST_F(DllHostTest, PageLivesInsideTheHostWindowFromCreationToTearDown) {
    ASSERT_EQ(Initialise(), 1u);
    ASSERT_NE(MakeParent(), nullptr);
    // A class library would put its table pointer first; the plug-in must not touch it.
    vistrel::ParentWindowObject object{reinterpret_cast<void*>(0x10), parent};
    const std::uint64_t page =
        Command(vistrel::kCommandCreatePage, reinterpret_cast<std::uintptr_t>(&object));
    ASSERT_NE(page, 0u);
    EXPECT_EQ(TextAt(Command(vistrel::kCommandGetDescriptor), 0), L"&Vistrel");

    HWND window = GetWindow(parent, GW_CHILD);
    ASSERT_NE(window, nullptr);
    EXPECT_FALSE(IsWindowVisible(window));
    EXPECT_TRUE(GetWindowLongW(window, GWL_STYLE) & WS_CHILD);
    const struct {
        int id;
        const wchar_t* className;
    } controls[] = {{22007, L"Button"},        {22008, L"Button"}, {22009, L"Button"},
                    {22010, L"Button"},        {22011, L"Button"}, {22032, L"Edit"},
                    {22033, L"SysTreeView32"}, {22101, L"Static"}};
    for (const auto& c : controls) {
        HWND control = GetDlgItem(window, c.id);
        ASSERT_NE(control, nullptr) << c.id;
        EXPECT_EQ(_wcsicmp(ClassOf(control).c_str(), c.className), 0) << c.id;
    }

    EXPECT_EQ(Command(vistrel::kCommandShowPage), 1u);
    EXPECT_TRUE(IsWindowVisible(window));
    Pump(std::chrono::milliseconds(300));
    EXPECT_EQ(Command(vistrel::kCommandHidePage), 1u);
    EXPECT_FALSE(IsWindowVisible(window));
    EXPECT_EQ(Command(vistrel::kCommandShowPage), 1u);
    Pump(std::chrono::milliseconds(100));
    EXPECT_EQ(Command(vistrel::kCommandHidePage), 1u);

    EXPECT_EQ(Command(vistrel::kCommandDestroyPage), 1u);
    EXPECT_FALSE(IsWindow(window));
    EXPECT_EQ(GetWindow(parent, GW_CHILD), nullptr);
    EXPECT_EQ(Command(vistrel::kCommandShowPage), 1u);  // no window left: nothing happens
    EXPECT_EQ(Command(vistrel::kCommandTearDown), 1u);
    EXPECT_EQ(g_serviceCalls, 0);  // nothing was acted on
}

TEST_F(DllHostTest, PageTakesItsNameFromTheLanguageFileCutToThirtyOne) {
    UseOwnLanguageFile(
        "IDS_PLUGIN_NAME=Autostart places and processes 1234567890\r\n"
        "IDS_VISTREL_TITLE=What starts with this computer\r\n");
    ASSERT_EQ(Initialise(), 1u);
    ASSERT_NE(MakeParent(), nullptr);
    vistrel::ParentWindowObject object{nullptr, parent};
    ASSERT_NE(Command(vistrel::kCommandCreatePage, reinterpret_cast<std::uintptr_t>(&object)), 0u);
    const std::uint64_t descriptor = Command(vistrel::kCommandGetDescriptor);
    EXPECT_EQ(TextAt(descriptor, 0),
              std::wstring(L"Autostart places and processes 1234567890", 31));
    EXPECT_EQ(TextAt(descriptor, 64), L"System Information");
    // The page's title comes from the same file.
    wchar_t title[128] = {};
    GetDlgItemTextW(GetWindow(parent, GW_CHILD), 22101, title, 128);
    EXPECT_STREQ(title, L"What starts with this computer");
    EXPECT_EQ(Command(vistrel::kCommandDestroyPage), 1u);
    EXPECT_EQ(Command(vistrel::kCommandTearDown), 1u);

    // Unloading and loading again starts from the descriptor of load.
    ASSERT_TRUE(FreeLibrary(module));
    module = LoadLibraryW((testpaths::DistDir() + L"\\vistrel.dll").c_str());
    ASSERT_NE(module, nullptr);
    process = Export(module);
    ASSERT_NE(process, nullptr);
    EXPECT_EQ(TextAt(Command(vistrel::kCommandGetDescriptor), 0), L"&Vistrel");
}

TEST_F(DllHostTest, TraceGoesToVistrelLogInTheHostsCurrentFolder) {
    UseOwnLanguageFile("");
    wchar_t previous[MAX_PATH] = {};
    GetCurrentDirectoryW(MAX_PATH, previous);
    ASSERT_TRUE(SetCurrentDirectoryW(ownLangDir.c_str()));
    const std::wstring log = ownLangDir + L"\\vistrel.log";
    context.trace_mode = 1;
    ASSERT_EQ(Initialise(), 1u);
    ASSERT_NE(MakeParent(), nullptr);
    vistrel::ParentWindowObject object{nullptr, parent};
    ASSERT_NE(Command(vistrel::kCommandCreatePage, reinterpret_cast<std::uintptr_t>(&object)), 0u);
    EXPECT_EQ(Command(vistrel::kCommandShowPage), 1u);
    std::string text;
    for (int i = 0; i < 100 && text.find("FillItemsProc: <=") == std::string::npos; ++i) {
        Pump(std::chrono::milliseconds(50));
        text = ReadWholeFile(log);
    }
    EXPECT_EQ(Command(vistrel::kCommandHidePage), 1u);
    EXPECT_EQ(Command(vistrel::kCommandDestroyPage), 1u);
    EXPECT_EQ(Command(vistrel::kCommandTearDown), 1u);
    SetCurrentDirectoryW(previous);
    DeleteFileW(log.c_str());

    // The first line of the population, stamped and tagged with the worker's thread id.
    const std::size_t at = text.find("VistrelDlg:FillItemsProc: =>");
    ASSERT_NE(at, std::string::npos) << text;
    const std::size_t lineStart =
        text.rfind('\n', at) == std::string::npos ? 0 : text.rfind('\n', at) + 1;
    const std::string prefix = text.substr(lineStart, at - lineStart);
    ASSERT_GE(prefix.size(), 17u) << prefix;
    EXPECT_EQ(prefix[2], ':');
    EXPECT_EQ(prefix[5], ':');
    EXPECT_EQ(prefix[8], '.');
    EXPECT_EQ(prefix.substr(12, 2), " [");
    EXPECT_EQ(prefix.substr(prefix.size() - 2), "] ");
    EXPECT_NE(text.find("FillItemsProc: <="), std::string::npos);
}

}  // namespace
