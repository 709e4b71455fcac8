// The console host: a main window that loads vistrel.dll from its own folder and shows its page.
//
// Flags: /trace (the plug-in writes its log), /refuse (the host's service refuses every action),
// /print (wait for the page to be filled, write its tree as indented text, take a screenshot,
// exit), /screenshot:<file> (where the screenshot goes), /out:<file> (where the text goes; a
// GUI program has no console of its own, so the text goes to a file that a script can show).
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "host/png_writer.h"
#include "include/vistrel/host.h"
#include "platform/win32/windows_api.h"

namespace {

constexpr int kTreeId = 22033;
constexpr int kTitleId = 22101;
constexpr UINT_PTR kPollTimer = 1;
constexpr int kPollMs = 100;
constexpr int kGiveUpPolls = 1800;  // three minutes

struct Options {
    bool trace = false;
    bool refuse = false;
    bool print = false;
    std::wstring screenshot;
    std::wstring out;
};

struct HostState {
    Options options;
    std::wstring folder;
    HMODULE library = nullptr;
    vistrel::ProcessDataFunction processData = nullptr;
    vistrel::HostContext context{};
    vistrel::ParentWindowObject parent{};
    HWND main = nullptr;
    HWND page = nullptr;
    std::wstring waitingTitle;
    int polls = 0;
    int stablePolls = 0;
    LRESULT lastCount = -1;
    int exitCode = 0;
    bool closed = false;
};

HostState g_host;
int g_gdiStandIn = 0;  // the host's drawing resources: handed over, never used by the page

void HostService(std::uint32_t code, std::int32_t* answer) {
    if (code == vistrel::kHostCodeAllowAction && answer) *answer = g_host.options.refuse ? 0 : 1;
}

Options ParseOptions(const wchar_t* commandLine) {
    Options options;
    std::wstring line = commandLine ? commandLine : L"";
    std::size_t at = 0;
    while (at < line.size()) {
        while (at < line.size() && line[at] == L' ') ++at;
        std::size_t end = at;
        bool quoted = false;
        std::wstring word;
        while (end < line.size() && (quoted || line[end] != L' ')) {
            if (line[end] == L'"')
                quoted = !quoted;
            else
                word += line[end];
            ++end;
        }
        at = end;
        if (_wcsicmp(word.c_str(), L"/trace") == 0) options.trace = true;
        if (_wcsicmp(word.c_str(), L"/refuse") == 0) options.refuse = true;
        if (_wcsicmp(word.c_str(), L"/print") == 0) options.print = true;
        if (_wcsnicmp(word.c_str(), L"/screenshot:", 12) == 0) options.screenshot = word.substr(12);
        if (_wcsnicmp(word.c_str(), L"/out:", 5) == 0) options.out = word.substr(5);
    }
    return options;
}

std::wstring OwnFolder() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder = path;
    const std::size_t slash = folder.find_last_of(L"\\/");
    return slash == std::wstring::npos ? L"." : folder.substr(0, slash);
}

std::wstring WindowText(HWND window) {
    wchar_t buffer[512] = {};
    GetWindowTextW(window, buffer, 512);
    return buffer;
}

std::string Utf8(const std::wstring& text) {
    if (text.empty()) return {};
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), static_cast<int>(text.size()),
                                         nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.c_str(), static_cast<int>(text.size()), out.data(), size,
                        nullptr, nullptr);
    return out;
}

// The tree as indented lines, two blanks a level; bold (source) nodes as **label**.
void DumpTree(HWND tree, HTREEITEM parent, int depth, std::string& out) {
    for (HTREEITEM item = TreeView_GetChild(tree, parent); item != nullptr;
         item = TreeView_GetNextSibling(tree, item)) {
        wchar_t text[1024] = {};
        TVITEMW info = {};
        info.mask = TVIF_TEXT | TVIF_STATE;
        info.hItem = item;
        info.stateMask = TVIS_BOLD;
        info.pszText = text;
        info.cchTextMax = 1024;
        SendMessageW(tree, TVM_GETITEMW, 0, reinterpret_cast<LPARAM>(&info));
        const bool bold = (info.state & TVIS_BOLD) != 0;
        out += std::string(static_cast<std::size_t>(2 * depth), ' ');
        out += bold ? "**" + Utf8(text) + "**" : Utf8(text);
        out += "\n";
        DumpTree(tree, item, depth + 1, out);
    }
}

bool WriteFileBytes(const std::wstring& path, const void* data, std::size_t size) {
    HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    DWORD written = 0;
    const BOOL ok = WriteFile(file, data, static_cast<DWORD>(size), &written, nullptr);
    CloseHandle(file);
    return ok && written == size;
}

// Copies the main window's pixels from the screen into a PNG file.
bool Screenshot(HWND window, const std::wstring& path) {
    RECT rect = {};
    GetWindowRect(window, &rect);
    const int width = rect.right - rect.left;
    const int height = rect.bottom - rect.top;
    if (width <= 0 || height <= 0) return false;
    HDC screen = GetDC(nullptr);
    HDC memory = CreateCompatibleDC(screen);
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof(info.bmiHeader);
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height;  // top row first
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    void* bits = nullptr;
    HBITMAP bitmap = CreateDIBSection(screen, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    bool ok = false;
    if (bitmap && bits) {
        HGDIOBJ old = SelectObject(memory, bitmap);
        BitBlt(memory, 0, 0, width, height, screen, rect.left, rect.top, SRCCOPY);
        GdiFlush();
        const auto* bgra = static_cast<const std::uint8_t*>(bits);
        std::vector<std::uint8_t> rgb(static_cast<std::size_t>(width) * height * 3);
        for (std::size_t i = 0, n = static_cast<std::size_t>(width) * height; i < n; ++i) {
            rgb[3 * i] = bgra[4 * i + 2];
            rgb[3 * i + 1] = bgra[4 * i + 1];
            rgb[3 * i + 2] = bgra[4 * i];
        }
        const auto png = hostpng::EncodePng(static_cast<std::uint32_t>(width),
                                            static_cast<std::uint32_t>(height), rgb);
        ok = WriteFileBytes(path, png.data(), png.size());
        SelectObject(memory, old);
    }
    if (bitmap) DeleteObject(bitmap);
    DeleteDC(memory);
    ReleaseDC(nullptr, screen);
    return ok;
}

// Commands 6, 4 and 1, once.
void ClosePlugin() {
    if (g_host.closed || g_host.processData == nullptr) return;
    g_host.closed = true;
    g_host.processData(vistrel::kCommandHidePage, 0);
    g_host.processData(vistrel::kCommandDestroyPage, 0);
    g_host.processData(vistrel::kCommandTearDown, 0);
}

void FinishPrint(bool filled) {
    std::string out;
    HWND tree = GetDlgItem(g_host.page, kTreeId);
    if (!filled) {
        out += "error: the page was not filled in time\n";
        g_host.exitCode = 2;
    }
    out += "title: " + Utf8(WindowText(GetDlgItem(g_host.page, kTitleId))) + "\n";
    DumpTree(tree, TVI_ROOT, 0, out);
    UpdateWindow(g_host.main);
    if (!g_host.options.screenshot.empty()) {
        if (Screenshot(g_host.main, g_host.options.screenshot)) {
            out += "screenshot: " + Utf8(g_host.options.screenshot) + "\n";
        } else {
            out += "error: no screenshot written to " + Utf8(g_host.options.screenshot) + "\n";
            g_host.exitCode = 3;
        }
    }
    const std::wstring target =
        g_host.options.out.empty() ? g_host.folder + L"\\host-output.txt" : g_host.options.out;
    if (!WriteFileBytes(target, out.data(), out.size())) g_host.exitCode = 4;
    PostMessageW(g_host.main, WM_CLOSE, 0, 0);
}

// The page is filled when its title leaves the waiting text or, when the title never changes (no
// language file, so no waiting text), when its tree has nodes and their count holds still for a
// second: a population fills the tree in one pass.
void Poll() {
    ++g_host.polls;
    HWND tree = GetDlgItem(g_host.page, kTreeId);
    const LRESULT count = SendMessageW(tree, TVM_GETCOUNT, 0, 0);
    g_host.stablePolls = count > 0 && count == g_host.lastCount ? g_host.stablePolls + 1 : 0;
    g_host.lastCount = count;
    const std::wstring title = WindowText(GetDlgItem(g_host.page, kTitleId));
    const bool titleDone = !g_host.waitingTitle.empty() && title != g_host.waitingTitle;
    const bool stable = g_host.stablePolls >= 10;
    if (titleDone || stable || g_host.polls > kGiveUpPolls) {
        KillTimer(g_host.main, kPollTimer);
        // Let the last paint of the page happen before the screenshot.
        RedrawWindow(g_host.main, nullptr, nullptr,
                     RDW_INVALIDATE | RDW_UPDATENOW | RDW_ALLCHILDREN);
        FinishPrint(titleDone || stable);
    }
}

LRESULT CALLBACK MainProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_TIMER:
            if (wParam == kPollTimer) Poll();
            return 0;
        case WM_CLOSE:
            ClosePlugin();
            DestroyWindow(window);
            return 0;
        case WM_DESTROY:
            PostQuitMessage(g_host.exitCode);
            return 0;
        default:
            return DefWindowProcW(window, message, wParam, lParam);
    }
}

int Fail(const wchar_t* what) {
    if (g_host.options.print) {
        const std::string text = "error: " + Utf8(what) + "\n";
        WriteFileBytes(
            g_host.options.out.empty() ? g_host.folder + L"\\host-output.txt" : g_host.options.out,
            text.data(), text.size());
    } else {
        MessageBoxW(nullptr, what, L"Vistrel host", MB_OK | MB_ICONERROR);
    }
    return 1;
}

}  // namespace

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, PWSTR commandLine, int showCommand) {
    g_host.options = ParseOptions(commandLine);
    g_host.folder = OwnFolder();
    INITCOMMONCONTROLSEX controls = {sizeof(controls), ICC_TREEVIEW_CLASSES};
    InitCommonControlsEx(&controls);

    WNDCLASSEXW windowClass = {};
    windowClass.cbSize = sizeof(windowClass);
    windowClass.lpfnWndProc = &MainProc;
    windowClass.hInstance = instance;
    windowClass.hCursor = LoadCursorW(nullptr, MAKEINTRESOURCEW(32512));  // IDC_ARROW
    windowClass.hbrBackground = GetSysColorBrush(COLOR_BTNFACE);
    windowClass.lpszClassName = L"VistrelHostWindow";
    if (!RegisterClassExW(&windowClass)) return Fail(L"cannot register the main window class");

    const std::wstring dll = g_host.folder + L"\\vistrel.dll";
    g_host.library = LoadLibraryW(dll.c_str());
    if (g_host.library == nullptr) return Fail(L"cannot load vistrel.dll");
    g_host.processData = reinterpret_cast<vistrel::ProcessDataFunction>(
        reinterpret_cast<void*>(GetProcAddress(g_host.library, vistrel::kProcessDataName)));
    if (g_host.processData == nullptr) return Fail(L"vistrel.dll has no process_data");

    g_host.context.install_path = reinterpret_cast<const char16_t*>(g_host.folder.c_str());
    g_host.context.trace_mode = g_host.options.trace ? 1 : 0;
    g_host.context.host_callback = &HostService;
    g_host.context.gdi_manager = &g_gdiStandIn;
    if (g_host.processData(vistrel::kCommandInitialise,
                           reinterpret_cast<std::uintptr_t>(&g_host.context)) != 1)
        return Fail(L"the plug-in did not initialise");
    const auto* descriptor = reinterpret_cast<const vistrel::PluginDescriptor*>(
        static_cast<std::uintptr_t>(g_host.processData(vistrel::kCommandGetDescriptor, 0)));

    RECT frame = {0, 0, 560, 440};
    AdjustWindowRect(&frame, WS_OVERLAPPEDWINDOW, FALSE);
    g_host.main =
        CreateWindowExW(0, windowClass.lpszClassName, L"Vistrel host",
                        WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, 40, 40, frame.right - frame.left,
                        frame.bottom - frame.top, nullptr, nullptr, instance, nullptr);
    if (g_host.main == nullptr) return Fail(L"cannot create the main window");

    g_host.parent.window = g_host.main;
    if (g_host.processData(vistrel::kCommandCreatePage,
                           reinterpret_cast<std::uintptr_t>(&g_host.parent)) == 0) {
        ClosePlugin();
        return Fail(L"the plug-in made no page");
    }
    // The descriptor's name has become the catalogue's; the window's title says whose page it is.
    if (descriptor) {
        std::wstring title(reinterpret_cast<const wchar_t*>(descriptor->name));
        title.erase(std::remove(title.begin(), title.end(), L'&'), title.end());
        title += L" - ";
        title += reinterpret_cast<const wchar_t*>(descriptor->description);
        SetWindowTextW(g_host.main, title.c_str());
    }
    g_host.page = FindWindowExW(g_host.main, nullptr, L"#32770", nullptr);
    if (g_host.page == nullptr) {
        ClosePlugin();
        return Fail(L"the page window was not found");
    }
    SetWindowPos(g_host.page, nullptr, 0, 0, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
    ShowWindow(g_host.main, g_host.options.print ? SW_SHOWNORMAL : showCommand);
    UpdateWindow(g_host.main);

    g_host.processData(vistrel::kCommandShowPage, 0);
    // Showing starts the population at once, which puts up the waiting title.
    g_host.waitingTitle = WindowText(GetDlgItem(g_host.page, kTitleId));
    if (g_host.options.print) SetTimer(g_host.main, kPollTimer, kPollMs, nullptr);

    MSG msg;
    while (GetMessageW(&msg, nullptr, 0, 0) > 0) {
        if (g_host.page && IsWindow(g_host.page) && IsDialogMessageW(g_host.page, &msg)) continue;
        TranslateMessage(&msg);
        DispatchMessageW(&msg);
    }
    ClosePlugin();
    FreeLibrary(g_host.library);
    return g_host.exitCode;
}
