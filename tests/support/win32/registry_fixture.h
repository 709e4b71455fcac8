// What a Wine test writes into the real registry and file system, and how it puts it back: keys
// are named with their root ("HKLM\..." or "HKCU\..."), a key the test had to make goes with
// everything in it, a value or file that was there comes back byte for byte, one that wasn't
// goes. Dumps of a subtree let a test see exactly which entry an action changed.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/win32/windows_api.h"

namespace regfix {

// "HKLM\path" or "HKCU\path" as root and path.
inline std::pair<HKEY, std::wstring> Split(const std::wstring& key) {
    const std::size_t at = key.find(L'\\');
    return {key.rfind(L"HKCU", 0) == 0 ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE,
            at == std::wstring::npos ? L"" : key.substr(at + 1)};
}

inline bool KeyExists(const std::wstring& key) {
    const auto [root, path] = Split(key);
    HKEY handle;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &handle) != ERROR_SUCCESS) return false;
    RegCloseKey(handle);
    return true;
}

// The stored type and bytes of a value, as they are and without any terminator added.
inline bool Read(const std::wstring& key, const wchar_t* name, DWORD* type, std::string* bytes) {
    const auto [root, path] = Split(key);
    HKEY handle;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_QUERY_VALUE, &handle) != ERROR_SUCCESS)
        return false;
    DWORD size = 0;
    LONG status = RegQueryValueExW(handle, name, nullptr, type, nullptr, &size);
    bytes->assign(size, '\0');
    if (status == ERROR_SUCCESS)
        status = RegQueryValueExW(handle, name, nullptr, type,
                                  reinterpret_cast<BYTE*>(bytes->data()), &size);
    RegCloseKey(handle);
    return status == ERROR_SUCCESS;
}

// A type and bytes as one dump entry: "type:hex".
inline std::wstring Bytes(DWORD type, const void* data, std::size_t size) {
    std::wstring text = std::to_wstring(type) + L":";
    for (std::size_t i = 0; i < size; ++i) {
        wchar_t two[3];
        swprintf(two, 3, L"%02x", static_cast<const BYTE*>(data)[i]);
        text += two;
    }
    return text;
}
inline std::wstring Bytes(DWORD type, const std::wstring& text) {
    return Bytes(type, text.data(), text.size() * sizeof(wchar_t));
}

// A subtree, sorted: each key as its path below the dumped one ("" for that one, "\sub" ...),
// each value as "path|name" (a counted name, NULs and all) with its type and bytes.
using Dump = std::map<std::wstring, std::wstring>;
inline Dump DumpOf(const std::wstring& key, const std::wstring& below = L"") {
    Dump dump;
    const auto [root, path] = Split(key);
    HKEY handle;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &handle) != ERROR_SUCCESS) return dump;
    dump[below] = L"<key>";
    std::vector<wchar_t> name(16384);
    std::vector<BYTE> data(65536);
    for (DWORD i = 0, chars = 16384, size = 65536, type = 0;
         RegEnumValueW(handle, i, name.data(), &chars, nullptr, &type, data.data(), &size) ==
         ERROR_SUCCESS;
         ++i, chars = 16384, size = 65536)
        dump[below + L"|" + std::wstring(name.data(), chars)] = Bytes(type, data.data(), size);
    std::vector<std::wstring> subKeys;
    for (DWORD i = 0, chars = 16384; RegEnumKeyExW(handle, i, name.data(), &chars, nullptr, nullptr,
                                                   nullptr, nullptr) == ERROR_SUCCESS;
         ++i, chars = 16384)
        subKeys.emplace_back(name.data(), chars);
    RegCloseKey(handle);
    for (const std::wstring& sub : subKeys)
        dump.merge(DumpOf(key + L"\\" + sub, below + L"\\" + sub));
    return dump;
}

// The dump without entry: "path|name" is one value, "path" a key with its subtree.
inline Dump Without(Dump dump, const std::wstring& entry) {
    const bool value = entry.find(L'|') != std::wstring::npos;
    std::erase_if(dump, [&](const auto& line) {
        const std::wstring& at = line.first;
        return at == entry ||
               (!value && (at.rfind(entry + L"|", 0) == 0 || at.rfind(entry + L"\\", 0) == 0));
    });
    return dump;
}

// One value to write. Text types get their terminator, REG_MULTI_SZ's items are split at '\n'
// and end with an empty one, a REG_DWORD is given as its number; a name of "" is the key's
// default value, and no name makes the key alone.
struct Value {
    std::wstring key;
    const wchar_t* name = nullptr;
    std::wstring data;
    DWORD type = REG_SZ;
};

class Fixture {
  public:
    Fixture() = default;
    Fixture(const Fixture&) = delete;
    Fixture& operator=(const Fixture&) = delete;
    ~Fixture() { Restore(); }

    // Notes key (and the value name of it, when given) to be put back as it is now.
    void Save(const std::wstring& key, const wchar_t* name = nullptr) {
        const auto [root, path] = Split(key);
        for (std::size_t at = path.find(L'\\');; at = path.find(L'\\', at + 1)) {
            const std::wstring level = path.substr(0, at);
            if (!KeyExists(key.substr(0, 5) + level)) {
                undo_.push_back([root, level] {
                    RegDeleteTreeW(root, level.c_str());
                    RegDeleteKeyW(root, level.c_str());
                });
                return;
            }
            if (at == std::wstring::npos) break;
        }
        if (name == nullptr) return;
        DWORD type = 0;
        std::string bytes;
        const bool existed = Read(key, name, &type, &bytes);
        undo_.push_back([root, path, name = std::wstring(name), existed, type, bytes] {
            if (existed)
                RegSetKeyValueW(root, path.c_str(), name.c_str(), type, bytes.data(),
                                static_cast<DWORD>(bytes.size()));
            else
                RegDeleteKeyValueW(root, path.c_str(), name.c_str());
        });
    }
    void Write(std::initializer_list<Value> values) {
        for (const Value& v : values) {
            std::wstring text = v.data + L'\0';
            if (v.type == REG_MULTI_SZ) std::replace(text.begin(), text.end(), L'\n', L'\0');
            if (v.type == REG_MULTI_SZ) text += L'\0';
            const DWORD number = v.type == REG_DWORD ? std::stoul(v.data) : 0;
            if (v.type == REG_DWORD)
                WriteBytes(v.key, v.name, v.type, &number, sizeof number);
            else
                WriteBytes(v.key, v.name, v.type, text.data(), text.size() * sizeof(wchar_t));
        }
    }
    void WriteBytes(const std::wstring& key, const wchar_t* name, DWORD type, const void* data,
                    std::size_t size) {
        Save(key, name);
        const auto [root, path] = Split(key);
        HKEY handle;
        ASSERT_EQ(RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                  &handle, nullptr),
                  ERROR_SUCCESS);
        const LONG status =
            name ? RegSetValueExW(handle, name, 0, type, static_cast<const BYTE*>(data),
                                  static_cast<DWORD>(size))
                 : ERROR_SUCCESS;
        EXPECT_EQ(status, ERROR_SUCCESS) << testing::PrintToString(key);
        RegCloseKey(handle);
    }
    // Notes a file to be put back as it is now (or removed, when it isn't there).
    void SaveFile(const std::filesystem::path& file) {
        std::ifstream in(file, std::ios::binary);
        undo_.push_back([file, existed = bool(in),
                         bytes = std::string(std::istreambuf_iterator<char>(in), {})] {
            if (existed)
                std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
            else
                std::filesystem::remove(file);
        });
    }
    void Undo(std::function<void()> step) { undo_.push_back(std::move(step)); }
    // Puts everything back, the latest change first.
    void Restore() {
        for (auto step = undo_.rbegin(); step != undo_.rend(); ++step) (*step)();
        undo_.clear();
    }

  private:
    std::vector<std::function<void()>> undo_;
};

}  // namespace regfix
