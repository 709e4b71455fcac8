// vistrel.dll driven as a host drives it: loaded with LoadLibraryW, every command through the
// one export, the descriptor read at its offsets, the page created in a real parent window,
// then shown, hidden, destroyed, torn down and unloaded. And the file as a host ships it: one
// export, the two dialog templates, the version record and the common-controls manifest.
#include <cstring>
#include <regex>
#include <string_view>

#include "tests/support/win32/hosted_page.h"

namespace hostedpage {
namespace {

std::wstring TextAt(std::uint64_t address, std::size_t offset) {
    return reinterpret_cast<const wchar_t*>(static_cast<std::uintptr_t>(address) + offset);
}

class DllHostTest : public HostedPage {
  protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(Load());
        g_hostAnswer = 0;  // refuse whatever the page might ask to do
    }
    void TearDown() override {
        HostedPage::TearDown();
        if (!previousDir.empty()) std::filesystem::current_path(previousDir);
        if (!ownDir.empty()) std::filesystem::remove_all(ownDir);
    }
    std::string Resource(LPCWSTR name, LPCWSTR type) {
        HRSRC found = FindResourceW(module_, name, type);
        HGLOBAL loaded = found ? LoadResource(module_, found) : nullptr;
        const void* data = loaded ? LockResource(loaded) : nullptr;
        return data ? std::string(static_cast<const char*>(data), SizeofResource(module_, found))
                    : std::string();
    }
    // A folder of this test's own with a language file of the given UTF-8 lines.
    void UseOwnLanguageFile(const std::string& lines) {
        ownDir = std::filesystem::temp_directory_path() /
                 ("vistrel_dll_host_" + std::to_string(GetCurrentProcessId()));
        std::filesystem::create_directories(ownDir / "Lang");
        std::ofstream(ownDir / "Lang" / "l_vistrel.ini", std::ios::binary)
            << "[LangSupport]\r\n" + lines;
        installPath = ownDir.wstring();
        context_.install_path = reinterpret_cast<const char16_t*>(installPath.c_str());
    }

    const std::wstring dllPath = testpaths::DistDir() + L"\\vistrel.dll";
    std::wstring installPath;
    std::filesystem::path ownDir, previousDir;
};

TEST_F(DllHostTest, DescriptorAndRecordBeforeCommandZero) {
    const std::uint64_t descriptor = Command(vistrel::kCommandGetDescriptor);
    ASSERT_NE(descriptor, 0u);
    // Every byte is a field: the three texts and value_a are set, the rest is zero.
    vistrel::PluginDescriptor expected{};
    std::u16string_view(u"&Vistrel").copy(expected.name, 31);
    std::u16string_view(u"System Information").copy(expected.description, 63);
    std::u16string_view(u"9. 0. 0. 0").copy(expected.version, 31);
    expected.value_a = 180;
    EXPECT_EQ(std::memcmp(reinterpret_cast<const void*>(static_cast<std::uintptr_t>(descriptor)),
                          &expected, sizeof expected),
              0)
        << "name " << TextAt(descriptor, 0) << ", description " << TextAt(descriptor, 64);

    const std::uint64_t record = Command(vistrel::kCommandGetRecord);
    ASSERT_NE(record, 0u);
    std::uint64_t words[2] = {};
    std::memcpy(words, reinterpret_cast<const void*>(static_cast<std::uintptr_t>(record)), 16);
    EXPECT_EQ(words[0], 60300u);
    EXPECT_STREQ(reinterpret_cast<const char*>(static_cast<std::uintptr_t>(words[1])),
                 "bad allocation");

    EXPECT_EQ(Command(vistrel::kCommandTearDown), 1u);  // without command 0
}

TEST_F(DllHostTest, PageLivesInsideTheHostWindowFromCreationToTearDown) {
    // A class library would put its table pointer first; the plug-in must not touch it.
    ASSERT_NO_FATAL_FAILURE(Open(reinterpret_cast<void*>(0x10)));
    HWND window = page_;
    EXPECT_FALSE(IsWindowVisible(window));
    EXPECT_TRUE(GetWindowLongW(window, GWL_STYLE) & WS_CHILD);
    const struct {
        int id;
        const wchar_t* className;
        DWORD style;
    } controls[] = {{22007, L"Button", WS_TABSTOP},
                    {22008, L"Button", WS_TABSTOP},
                    {22009, L"Button", WS_TABSTOP},
                    {22010, L"Button", WS_TABSTOP},
                    {22011, L"Button", WS_TABSTOP},
                    {22032, L"Edit", WS_VSCROLL | WS_TABSTOP | ES_MULTILINE | ES_READONLY},
                    {22033, L"SysTreeView32", TVS_HASBUTTONS | TVS_LINESATROOT | TVS_SHOWSELALWAYS},
                    {22101, L"Static", WS_VISIBLE}};
    for (const auto& c : controls) {
        HWND control = GetDlgItem(window, c.id);
        ASSERT_NE(control, nullptr) << c.id;
        wchar_t name[64] = {};
        GetClassNameW(control, name, 64);
        EXPECT_EQ(_wcsicmp(name, c.className), 0) << c.id;
        EXPECT_EQ(static_cast<DWORD>(GetWindowLongW(control, GWL_STYLE)) & c.style, c.style)
            << c.id;
    }

    EXPECT_EQ(Command(vistrel::kCommandShowPage), 1u);
    EXPECT_TRUE(IsWindowVisible(window));
    Pump(std::chrono::milliseconds(300));
    EXPECT_EQ(Command(vistrel::kCommandHidePage), 1u);
    EXPECT_FALSE(IsWindowVisible(window));
    EXPECT_EQ(Command(vistrel::kCommandDestroyPage), 1u);
    EXPECT_FALSE(IsWindow(window));
    EXPECT_EQ(GetWindow(parent_, GW_CHILD), nullptr);
    EXPECT_EQ(Command(vistrel::kCommandShowPage), 1u);  // no window left: nothing happens
    EXPECT_EQ(Command(vistrel::kCommandTearDown), 1u);
    EXPECT_EQ(g_hostAsked, 0);  // nothing was acted on
}

TEST_F(DllHostTest, LanguageFileAndTraceComeFromTheHostsFolders) {
    UseOwnLanguageFile(
        "IDS_PLUGIN_NAME=Autostart places and processes 1234567890\r\n"
        "IDS_VISTREL_TITLE=What starts with this computer\r\n");
    previousDir = std::filesystem::current_path();
    std::filesystem::current_path(ownDir);
    context_.trace_mode = 1;
    ASSERT_NO_FATAL_FAILURE(Open());
    const std::uint64_t descriptor = Command(vistrel::kCommandGetDescriptor);
    EXPECT_EQ(TextAt(descriptor, 0),
              std::wstring(L"Autostart places and processes 1234567890", 31));
    EXPECT_EQ(TextAt(descriptor, 64), L"System Information");
    EXPECT_EQ(normalTitle_, L"What starts with this computer");

    EXPECT_EQ(Command(vistrel::kCommandShowPage), 1u);
    std::string log;
    PumpUntil([&] {
        std::ifstream in(ownDir / "vistrel.log", std::ios::binary);
        log.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        return log.find("FillItemsProc: <=") != std::string::npos;
    });
    EXPECT_EQ(Command(vistrel::kCommandHidePage), 1u);
    EXPECT_EQ(Command(vistrel::kCommandDestroyPage), 1u);
    EXPECT_EQ(Command(vistrel::kCommandTearDown), 1u);
    // The population's first and last lines, stamped and tagged with the worker's thread id.
    EXPECT_TRUE(std::regex_search(
        log, std::regex(R"((^|\n)\d\d:\d\d:\d\d\.\d\d\d \[\d+\] VistrelDlg:FillItemsProc: =>)")))
        << log;
    EXPECT_NE(log.find("FillItemsProc: <="), std::string::npos);

    // Unloading and loading again starts from the descriptor of load.
    ASSERT_TRUE(FreeLibrary(std::exchange(module_, nullptr)));
    ASSERT_NO_FATAL_FAILURE(Load());
    EXPECT_EQ(TextAt(Command(vistrel::kCommandGetDescriptor), 0), L"&Vistrel");
}

TEST_F(DllHostTest, FileHasOneExportBothTemplatesAVersionRecordAndAManifest) {
    // The loader has checked the headers of the 64-bit image already.
    const auto* base = reinterpret_cast<const BYTE*>(module_);
    const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS64*>(
        base + reinterpret_cast<const IMAGE_DOS_HEADER*>(base)->e_lfanew);
    const IMAGE_DATA_DIRECTORY& dir =
        nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
    ASSERT_NE(dir.VirtualAddress, 0u);
    const auto* exports =
        reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(base + dir.VirtualAddress);
    EXPECT_EQ(exports->NumberOfFunctions, 1u);
    ASSERT_EQ(exports->NumberOfNames, 1u);
    const auto* names = reinterpret_cast<const DWORD*>(base + exports->AddressOfNames);
    EXPECT_STREQ(reinterpret_cast<const char*>(base + names[0]), "process_data");
    EXPECT_NE(GetProcAddress(module_, "process_data"), nullptr);

    const struct {
        WORD id;
        DWORD styleSet, styleClear;
        WORD controls, cx, cy;
    } templates[] = {
        // The page is a control-style child of the host's window; the confirmation is a popup.
        {22000, WS_CHILD | DS_CONTROL | DS_SETFONT, WS_CAPTION | WS_POPUP | WS_VISIBLE, 8, 331,
         250},
        {22036, WS_POPUP | WS_CAPTION | WS_SYSMENU | DS_MODALFRAME | DS_SETFONT | DS_CENTER,
         WS_CHILD | WS_VISIBLE, 5, 196, 89},
    };
    for (const auto& t : templates) {
        SCOPED_TRACE(t.id);
        const std::string bytes = Resource(MAKEINTRESOURCEW(t.id), MAKEINTRESOURCEW(5));
        ASSERT_GT(bytes.size(), 26u);
        const auto* p = reinterpret_cast<const WORD*>(bytes.data());
        ASSERT_TRUE(p[0] == 1 && p[1] == 0xFFFF);  // DLGTEMPLATEEX
        DWORD style = 0;
        std::memcpy(&style, p + 6, 4);
        EXPECT_EQ(style & t.styleSet, t.styleSet);
        EXPECT_EQ(style & t.styleClear, 0u);
        EXPECT_EQ(p[8], t.controls);
        EXPECT_EQ(p[11], t.cx);
        EXPECT_EQ(p[12], t.cy);
        p += 13;
        for (int field = 0; field < 3; ++field)  // menu, class and caption
            p += *p == 0xFFFF ? 2 : std::wcslen(reinterpret_cast<const wchar_t*>(p)) + 1;
        EXPECT_EQ(p[0], 8);  // point size, then weight, italic and charset
        EXPECT_STREQ(reinterpret_cast<const wchar_t*>(p + 3), L"Arial");
    }

    const std::string manifest = Resource(MAKEINTRESOURCEW(2), MAKEINTRESOURCEW(24));
    EXPECT_NE(manifest.find("name=\"Microsoft.Windows.Common-Controls\""), std::string::npos);
    EXPECT_NE(manifest.find("version=\"6.0.0.0\""), std::string::npos);
    EXPECT_NE(manifest.find("publicKeyToken=\"6595b64144ccf1df\""), std::string::npos);
    // Texts come from the language file: a string table here would shadow the host's.
    EXPECT_EQ(FindResourceW(module_, MAKEINTRESOURCEW(22109 / 16 + 1), MAKEINTRESOURCEW(6)),
              nullptr);

    DWORD ignored = 0;
    std::vector<BYTE> block(GetFileVersionInfoSizeW(dllPath.c_str(), &ignored));
    ASSERT_FALSE(block.empty());
    ASSERT_TRUE(
        GetFileVersionInfoW(dllPath.c_str(), 0, static_cast<DWORD>(block.size()), block.data()));
    const auto query = [&block](const wchar_t* path) {
        void* value = nullptr;
        UINT length = 0;
        return VerQueryValueW(block.data(), path, &value, &length) ? value : nullptr;
    };
    const auto* fixed = static_cast<const VS_FIXEDFILEINFO*>(query(L"\\"));
    ASSERT_NE(fixed, nullptr);
    EXPECT_EQ(fixed->dwFileVersionMS, 0x00090000u);
    EXPECT_EQ(fixed->dwFileVersionLS, 0u);
    EXPECT_EQ(fixed->dwProductVersionMS, 0x00090000u);
    EXPECT_EQ(fixed->dwFileType, static_cast<DWORD>(VFT_DLL));
    EXPECT_STREQ(static_cast<const wchar_t*>(query(L"\\StringFileInfo\\040904B0\\ProductName")),
                 L"Vistrel");
    EXPECT_STREQ(static_cast<const wchar_t*>(query(L"\\StringFileInfo\\040904B0\\FileVersion")),
                 L"9.0.0.0");
}

}  // namespace
}  // namespace hostedpage
