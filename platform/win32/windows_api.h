// The one place that includes <windows.h>. Everything Windows-only includes this header instead,
// so that every translation unit sees the same lean, macro-tamed view of the API.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
// mingw-w64 predefines _WIN32_WINNT to a recent version; the module must keep running on
// Windows 7, so the target is lowered on purpose and any newer API use fails to compile.
#ifdef _WIN32_WINNT
#undef _WIN32_WINNT
#endif
#define _WIN32_WINNT 0x0601
#ifdef WINVER
#undef WINVER
#endif
#define WINVER 0x0601

#include <windows.h>
// Lean mode leaves these out; the backend and the views need them.
#include <commctrl.h>
#include <objbase.h>
#include <shellapi.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <cstdint>

static_assert(sizeof(wchar_t) == sizeof(char16_t), "UTF-16 text is passed to Win32 as-is");

namespace platform::win32 {

inline const wchar_t* Wide(const char16_t* text) {
    return reinterpret_cast<const wchar_t*>(text);
}
inline wchar_t* Wide(char16_t* text) {
    return reinterpret_cast<wchar_t*>(text);
}
inline const char16_t* Utf16(const wchar_t* text) {
    return reinterpret_cast<const char16_t*>(text);
}
inline char16_t* Utf16(wchar_t* text) {
    return reinterpret_cast<char16_t*>(text);
}

}  // namespace platform::win32
