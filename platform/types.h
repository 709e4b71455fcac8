// Portable platform vocabulary: handle kinds, status codes and constants, all with their Win32
// values. No declarations of operations here; each concern has its own header.
#pragma once

#include <cstdint>

namespace platform {

// A Win32 error code (what the registry functions return and GetLastError reports).
using Status = std::int32_t;

inline constexpr Status kErrorSuccess = 0;
inline constexpr Status kErrorFileNotFound = 2;
inline constexpr Status kErrorPathNotFound = 3;
inline constexpr Status kErrorAccessDenied = 5;
inline constexpr Status kErrorInvalidHandle = 6;
inline constexpr Status kErrorNotEnoughMemory = 8;
inline constexpr Status kErrorNoMoreFiles = 18;
inline constexpr Status kErrorGenFailure = 31;
inline constexpr Status kErrorFileExists = 80;
inline constexpr Status kErrorInvalidParameter = 87;
inline constexpr Status kErrorCallNotImplemented = 120;
inline constexpr Status kErrorInsufficientBuffer = 122;
inline constexpr Status kErrorDirNotEmpty = 145;
inline constexpr Status kErrorAlreadyExists = 183;
inline constexpr Status kErrorMoreData = 234;
inline constexpr Status kErrorNoMoreItems = 259;
inline constexpr Status kErrorResourceTypeNotFound = 1813;
inline constexpr Status kErrorResourceDataNotFound = 1812;

// HRESULT values used across the layer.
using HResult = std::int32_t;
inline constexpr HResult kSOk = 0;
inline constexpr HResult kSFalse = 1;
inline constexpr HResult kEFail = static_cast<HResult>(0x80004005u);
inline constexpr HResult kEAccessDenied = static_cast<HResult>(0x80070005u);
inline constexpr HResult kEInvalidArg = static_cast<HResult>(0x80070057u);
inline constexpr HResult kENotImpl = static_cast<HResult>(0x80004001u);
inline constexpr HResult kEOutOfMemory = static_cast<HResult>(0x8007000Eu);
inline constexpr HResult HResultFromWin32(Status s) {
    return s <= 0 ? s
                  : static_cast<HResult>((static_cast<std::uint32_t>(s) & 0xFFFFu) | 0x80070000u);
}

// Opaque handles. Each maps one to one onto its Win32 kind in the real backend.
struct RegKeyTag;
using RegKey = RegKeyTag*;  // HKEY
struct FindTag;
using FindHandle = FindTag*;  // HANDLE of FindFirstFileW; null stands for INVALID_HANDLE_VALUE
struct WindowTag;
using WindowHandle = WindowTag*;  // HWND

// Predefined registry roots, sign-extended as HKEY values are on 64-bit Windows.
inline RegKey PredefinedKey(std::uint32_t value) {
    return reinterpret_cast<RegKey>(static_cast<std::intptr_t>(static_cast<std::int32_t>(value)));
}
inline const RegKey kHkeyClassesRoot = PredefinedKey(0x80000000u);
inline const RegKey kHkeyCurrentUser = PredefinedKey(0x80000001u);
inline const RegKey kHkeyLocalMachine = PredefinedKey(0x80000002u);
inline const RegKey kHkeyUsers = PredefinedKey(0x80000003u);
inline const RegKey kHkeyPerformanceData = PredefinedKey(0x80000004u);
inline const RegKey kHkeyCurrentConfig = PredefinedKey(0x80000005u);

// Registry access rights.
inline constexpr std::uint32_t kKeyQueryValue = 0x0001;
inline constexpr std::uint32_t kKeySetValue = 0x0002;
inline constexpr std::uint32_t kKeyCreateSubKey = 0x0004;
inline constexpr std::uint32_t kKeyEnumerateSubKeys = 0x0008;
inline constexpr std::uint32_t kKeyRead = 0x20019;
inline constexpr std::uint32_t kKeyWrite = 0x20006;
inline constexpr std::uint32_t kKeyAllAccess = 0xF003F;

// Registry value types.
inline constexpr std::uint32_t kRegNone = 0;
inline constexpr std::uint32_t kRegSz = 1;
inline constexpr std::uint32_t kRegExpandSz = 2;
inline constexpr std::uint32_t kRegBinary = 3;
inline constexpr std::uint32_t kRegDword = 4;
inline constexpr std::uint32_t kRegMultiSz = 7;
inline constexpr std::uint32_t kRegQword = 11;

// File attributes.
inline constexpr std::uint32_t kFileAttributeReadOnly = 0x01;
inline constexpr std::uint32_t kFileAttributeDirectory = 0x10;
inline constexpr std::uint32_t kFileAttributeArchive = 0x20;
inline constexpr std::uint32_t kFileAttributeNormal = 0x80;

// Special folder ids (CSIDL).
inline constexpr int kCsidlStartup = 7;
inline constexpr int kCsidlCommonStartup = 24;
inline constexpr int kCsidlWindows = 36;
inline constexpr int kCsidlSystem = 37;

// ShowWindow commands.
inline constexpr int kSwHide = 0;
inline constexpr int kSwShowMinimized = 2;
inline constexpr int kSwShow = 5;
inline constexpr int kSwRestore = 9;
inline constexpr int kSwShowDefault = 10;

}  // namespace platform
