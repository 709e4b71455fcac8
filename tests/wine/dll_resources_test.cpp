// vistrel.dll as a file a host ships: exactly one export, the two dialog templates exactly as
// the page and the confirmation need them, the version record and the common-controls manifest.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "platform/win32/windows_api.h"
#include "tests/support/win32/build_paths.h"

namespace {

std::wstring DllPath() {
    return testpaths::DistDir() + L"\\vistrel.dll";
}

// One control of a DLGTEMPLATEEX, as the dialog manager reads it.
struct Control {
    DWORD id;
    std::wstring className;  // an atom of a predefined class is given by the class's name
    short x, y, cx, cy;
    std::wstring text;
    DWORD style;
};

struct Template {
    DWORD style = 0;
    short cx = 0, cy = 0;
    WORD pointSize = 0;
    std::wstring font;
    std::vector<Control> controls;
};

// Reads an sz_Or_Ord field; an ordinal of a predefined class comes back as its name.
std::wstring ReadNameOrOrdinal(const WORD*& p) {
    if (*p == 0xFFFF) {
        const WORD ordinal = p[1];
        p += 2;
        switch (ordinal) {
            case 0x80:
                return L"Button";
            case 0x81:
                return L"Edit";
            case 0x82:
                return L"Static";
            default:
                return L"#" + std::to_wstring(ordinal);
        }
    }
    std::wstring text(reinterpret_cast<const wchar_t*>(p));
    p += text.size() + 1;
    return text;
}

const WORD* AlignToDword(const WORD* p) {
    return reinterpret_cast<const WORD*>((reinterpret_cast<std::uintptr_t>(p) + 3) &
                                         ~std::uintptr_t{3});
}

bool ParseTemplate(const void* data, Template* out) {
    const WORD* p = static_cast<const WORD*>(data);
    if (p[0] != 1 || p[1] != 0xFFFF) return false;  // DLGTEMPLATEEX only
    DWORD style;
    std::memcpy(&style, p + 6, 4);
    out->style = style;
    const WORD count = p[8];
    out->cx = static_cast<short>(p[11]);
    out->cy = static_cast<short>(p[12]);
    p += 13;
    ReadNameOrOrdinal(p);  // menu
    ReadNameOrOrdinal(p);  // class
    ReadNameOrOrdinal(p);  // caption
    if (style & DS_SETFONT) {
        out->pointSize = p[0];
        p += 3;  // point size, weight, italic and charset
        out->font = ReadNameOrOrdinal(p);
    }
    for (WORD i = 0; i < count; ++i) {
        p = AlignToDword(p);
        Control c;
        std::memcpy(&c.style, p + 4, 4);
        c.x = static_cast<short>(p[6]);
        c.y = static_cast<short>(p[7]);
        c.cx = static_cast<short>(p[8]);
        c.cy = static_cast<short>(p[9]);
        std::memcpy(&c.id, p + 10, 4);
        p += 12;
        c.className = ReadNameOrOrdinal(p);
        c.text = ReadNameOrOrdinal(p);
        const WORD extra = *p++;
        p = reinterpret_cast<const WORD*>(reinterpret_cast<const BYTE*>(p) + extra);
        out->controls.push_back(c);
    }
    return true;
}

bool SameControl(const Control& a, const Control& b) {
    return a.id == b.id && _wcsicmp(a.className.c_str(), b.className.c_str()) == 0 && a.x == b.x &&
           a.y == b.y && a.cx == b.cx && a.cy == b.cy && a.text == b.text && a.style == b.style;
}

std::string Describe(const Control& c) {
    std::ostringstream out;
    out << c.id << ' ';
    for (wchar_t ch : c.className) out << static_cast<char>(ch);
    out << ' ' << c.x << ',' << c.y << ',' << c.cx << ',' << c.cy << " \"";
    for (wchar_t ch : c.text) out << static_cast<char>(ch);
    out << "\" " << std::hex << std::uppercase << c.style;
    return out.str();
}

class DllResourcesTest : public ::testing::Test {
  protected:
    void SetUp() override {
        module = LoadLibraryW(DllPath().c_str());
        ASSERT_NE(module, nullptr) << "LoadLibraryW failed: " << GetLastError();
    }
    void TearDown() override {
        if (module) FreeLibrary(module);
    }

    std::string Resource(LPCWSTR name, LPCWSTR type) {
        HRSRC found = FindResourceW(module, name, type);
        if (!found) return {};
        HGLOBAL loaded = LoadResource(module, found);
        const void* data = loaded ? LockResource(loaded) : nullptr;
        return data ? std::string(static_cast<const char*>(data), SizeofResource(module, found))
                    : std::string();
    }

    HMODULE module = nullptr;
};

TEST_F(DllResourcesTest, ExportsProcessDataAndNothingElse) {
    const auto* base = reinterpret_cast<const BYTE*>(module);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    ASSERT_EQ(dos->e_magic, IMAGE_DOS_SIGNATURE);
    const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
    ASSERT_EQ(nt->Signature, IMAGE_NT_SIGNATURE);
    EXPECT_EQ(nt->FileHeader.Machine, IMAGE_FILE_MACHINE_AMD64);
    const IMAGE_DATA_DIRECTORY& dir =
        nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
    ASSERT_NE(dir.VirtualAddress, 0u);
    const auto* exports =
        reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(base + dir.VirtualAddress);
    EXPECT_EQ(exports->NumberOfFunctions, 1u);
    ASSERT_EQ(exports->NumberOfNames, 1u);
    const auto* names = reinterpret_cast<const DWORD*>(base + exports->AddressOfNames);
    EXPECT_STREQ(reinterpret_cast<const char*>(base + names[0]), "process_data");
    EXPECT_NE(GetProcAddress(module, "process_data"), nullptr);
    EXPECT_EQ(GetProcAddress(module, "ProcessData"), nullptr);
    EXPECT_EQ(GetProcAddress(module, "DllMain"), nullptr);
}

TEST_F(DllResourcesTest, PageTemplateHoldsTheControlsWhereThePageExpectsThem) {
    const std::string bytes = Resource(MAKEINTRESOURCEW(22000), MAKEINTRESOURCEW(5));
    ASSERT_FALSE(bytes.empty());
    Template t;
    ASSERT_TRUE(ParseTemplate(bytes.data(), &t));
    EXPECT_EQ(t.style & (WS_CHILD | DS_CONTROL | DS_SETFONT),
              static_cast<DWORD>(WS_CHILD | DS_CONTROL | DS_SETFONT));
    EXPECT_EQ(t.style & (WS_CAPTION | WS_POPUP | WS_VISIBLE), 0u);
    EXPECT_EQ(t.cx, 331);
    EXPECT_EQ(t.cy, 250);
    EXPECT_EQ(t.pointSize, 8);
    EXPECT_EQ(t.font, L"Arial");
    const DWORD base = WS_CHILD | WS_VISIBLE;
    const std::vector<Control> expected = {
        {22007, L"Button", 260, 225, 50, 12, L"Button1", base | WS_TABSTOP},
        {22008, L"Button", 200, 225, 50, 12, L"Button2", base | WS_TABSTOP},
        {22009, L"Button", 140, 225, 50, 12, L"Button3", base | WS_TABSTOP},
        {22010, L"Button", 79, 225, 50, 12, L"Button4", base | WS_TABSTOP},
        {22011, L"Button", 20, 225, 50, 12, L"Button5", base | WS_TABSTOP},
        {22033, L"SysTreeView32", 7, 26, 310, 128, L"",
         base | WS_BORDER | WS_TABSTOP | TVS_HASBUTTONS | TVS_LINESATROOT | TVS_SHOWSELALWAYS},
        {22032, L"Edit", 7, 158, 310, 60, L"",
         base | WS_VSCROLL | WS_BORDER | WS_TABSTOP | ES_MULTILINE | ES_READONLY},
        {22101, L"Static", 7, 7, 179, 8, L"Current system settings", base | WS_GROUP},
    };
    ASSERT_EQ(t.controls.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_TRUE(SameControl(t.controls[i], expected[i]))
            << Describe(t.controls[i]) << " instead of " << Describe(expected[i]);
}

TEST_F(DllResourcesTest, ConfirmationTemplateIsACenteredPopupWithAHiddenTitle) {
    const std::string bytes = Resource(MAKEINTRESOURCEW(22036), MAKEINTRESOURCEW(5));
    ASSERT_FALSE(bytes.empty());
    Template t;
    ASSERT_TRUE(ParseTemplate(bytes.data(), &t));
    const DWORD style = WS_POPUP | WS_CAPTION | WS_SYSMENU | DS_MODALFRAME | DS_SETFONT | DS_CENTER;
    EXPECT_EQ(t.style & style, style);
    EXPECT_EQ(t.style & (WS_CHILD | WS_VISIBLE), 0u);
    EXPECT_EQ(t.cx, 196);
    EXPECT_EQ(t.cy, 89);
    EXPECT_EQ(t.pointSize, 8);
    EXPECT_EQ(t.font, L"Arial");
    const DWORD base = WS_CHILD | WS_VISIBLE;
    const std::vector<Control> expected = {
        {IDOK, L"Button", 58, 69, 31, 13, L"&OK", base | WS_TABSTOP | BS_DEFPUSHBUTTON},
        {22037, L"Static", 19, 19, 157, 17, L"?", base | WS_GROUP | SS_CENTER | SS_CENTERIMAGE},
        {IDCANCEL, L"Button", 102, 69, 33, 13, L"&Cancel", base | WS_TABSTOP},
        {22035, L"Button", 19, 49, 157, 9, L"Always", base | WS_TABSTOP | BS_AUTOCHECKBOX},
        {22001, L"Static", 5, 2, 60, 8, L"", WS_CHILD | WS_GROUP},
    };
    ASSERT_EQ(t.controls.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_TRUE(SameControl(t.controls[i], expected[i]))
            << Describe(t.controls[i]) << " instead of " << Describe(expected[i]);
}

TEST_F(DllResourcesTest, CarriesVersionRecordAndCommonControlsManifestButNoStrings) {
    const std::string manifest = Resource(MAKEINTRESOURCEW(2), MAKEINTRESOURCEW(24));
    ASSERT_FALSE(manifest.empty());
    EXPECT_NE(manifest.find("name=\"Microsoft.Windows.Common-Controls\""), std::string::npos);
    EXPECT_NE(manifest.find("version=\"6.0.0.0\""), std::string::npos);
    EXPECT_NE(manifest.find("publicKeyToken=\"6595b64144ccf1df\""), std::string::npos);
    // Texts come from the language file: a string table here would shadow the host's.
    EXPECT_EQ(FindResourceW(module, MAKEINTRESOURCEW(22109 / 16 + 1), MAKEINTRESOURCEW(6)),
              nullptr);

    const std::wstring path = DllPath();
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &ignored);
    ASSERT_GT(size, 0u);
    std::vector<BYTE> block(size);
    ASSERT_TRUE(GetFileVersionInfoW(path.c_str(), 0, size, block.data()));
    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&fixed), &length));
    EXPECT_EQ(fixed->dwFileVersionMS, 0x00090000u);
    EXPECT_EQ(fixed->dwFileVersionLS, 0u);
    EXPECT_EQ(fixed->dwProductVersionMS, 0x00090000u);
    EXPECT_EQ(fixed->dwFileType, static_cast<DWORD>(VFT_DLL));
    wchar_t* product = nullptr;
    ASSERT_TRUE(VerQueryValueW(block.data(), L"\\StringFileInfo\\040904B0\\ProductName",
                               reinterpret_cast<void**>(&product), &length));
    EXPECT_STREQ(product, L"Vistrel");
    wchar_t* fileVersion = nullptr;
    ASSERT_TRUE(VerQueryValueW(block.data(), L"\\StringFileInfo\\040904B0\\FileVersion",
                               reinterpret_cast<void**>(&fileVersion), &length));
    EXPECT_STREQ(fileVersion, L"9.0.0.0");
}

}  // namespace
