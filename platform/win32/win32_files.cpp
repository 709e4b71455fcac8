// The files concern on the real file system.
#include <string>

#include "platform/files.h"
#include "platform/win32/win32_concerns.h"
#include "platform/win32/win32_handles.h"
#include "platform/win32/windows_api.h"

namespace platform::win32 {
namespace {

void CopyFindData(const WIN32_FIND_DATAW& found, FindData* data) {
    data->attributes = found.dwFileAttributes;
    data->size = (static_cast<std::uint64_t>(found.nFileSizeHigh) << 32) | found.nFileSizeLow;
    data->name.assign(Utf16(found.cFileName));
}

// FindFirstFileW gives INVALID_HANDLE_VALUE for nothing found; the interface uses null.
HANDLE ToFindHandle(FindHandle handle) {
    return reinterpret_cast<HANDLE>(handle);
}

Status LastStatus() {
    return static_cast<Status>(::GetLastError());
}

Status WriteBytes(HANDLE file, std::string_view bytes) {
    while (!bytes.empty()) {
        DWORD chunk = bytes.size() > 0x10000000u ? 0x10000000u : static_cast<DWORD>(bytes.size());
        DWORD written = 0;
        if (!::WriteFile(file, bytes.data(), chunk, &written, nullptr)) return LastStatus();
        if (written == 0) return kErrorGenFailure;
        bytes.remove_prefix(written);
    }
    return kErrorSuccess;
}

class Win32Files final : public Files {
  public:
    FindHandle FindFirst(const char16_t* pattern, FindData* data) override {
        WIN32_FIND_DATAW found;
        HANDLE handle = ::FindFirstFileW(Wide(pattern), &found);
        if (handle == INVALID_HANDLE_VALUE) return nullptr;
        CopyFindData(found, data);
        return reinterpret_cast<FindHandle>(handle);
    }

    bool FindNext(FindHandle handle, FindData* data) override {
        WIN32_FIND_DATAW found;
        if (!::FindNextFileW(ToFindHandle(handle), &found)) return false;
        CopyFindData(found, data);
        return true;
    }

    void FindClose(FindHandle handle) override { ::FindClose(ToFindHandle(handle)); }

    Status ReadAll(const char16_t* path, std::string* bytes) override {
        UniqueFile file(::CreateFileW(Wide(path), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!file) return LastStatus();
        LARGE_INTEGER size;
        if (!::GetFileSizeEx(file.get(), &size)) return LastStatus();
        if (size.QuadPart < 0 || static_cast<std::uint64_t>(size.QuadPart) > 0x7FFFFFFFu) {
            return kErrorNotEnoughMemory;
        }
        std::string content(static_cast<std::size_t>(size.QuadPart), '\0');
        std::size_t filled = 0;
        while (filled < content.size()) {
            DWORD got = 0;
            DWORD want = static_cast<DWORD>(content.size() - filled);
            if (!::ReadFile(file.get(), content.data() + filled, want, &got, nullptr)) {
                return LastStatus();
            }
            if (got == 0) break;  // the file shrank meanwhile
            filled += got;
        }
        content.resize(filled);
        *bytes = std::move(content);
        return kErrorSuccess;
    }

    Status WriteAll(const char16_t* path, std::string_view bytes) override {
        UniqueFile file(::CreateFileW(Wide(path), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                      CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!file) return LastStatus();
        return WriteBytes(file.get(), bytes);
    }

    Status Append(const char16_t* path, std::string_view bytes) override {
        UniqueFile file(::CreateFileW(Wide(path), FILE_APPEND_DATA,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!file) return LastStatus();
        return WriteBytes(file.get(), bytes);
    }

    Status RemoveFile(const char16_t* path) override {
        return ::DeleteFileW(Wide(path)) ? kErrorSuccess : LastStatus();
    }

    Status MakeDirectory(const char16_t* path) override {
        return ::CreateDirectoryW(Wide(path), nullptr) ? kErrorSuccess : LastStatus();
    }

    Status RemoveEmptyDirectory(const char16_t* path) override {
        return ::RemoveDirectoryW(Wide(path)) ? kErrorSuccess : LastStatus();
    }

    bool GetAttributes(const char16_t* path, std::uint32_t* attributes) override {
        DWORD found = ::GetFileAttributesW(Wide(path));
        if (found == INVALID_FILE_ATTRIBUTES) return false;
        *attributes = found;
        return true;
    }

    std::u16string CurrentDirectory() override {
        DWORD needed = ::GetCurrentDirectoryW(0, nullptr);
        if (needed == 0) return {};
        std::u16string folder(needed, u'\0');
        DWORD got = ::GetCurrentDirectoryW(needed, Wide(folder.data()));
        if (got == 0 || got >= needed) return {};
        folder.resize(got);
        if (!folder.empty() && folder.back() == u'\\') folder.pop_back();
        return folder;
    }

    std::uint32_t ReadProfileSection(const char16_t* fileName, const char16_t* section,
                                     char16_t* buffer, std::uint32_t chars) override {
        if (fileName == nullptr) return ::GetProfileSectionW(Wide(section), Wide(buffer), chars);
        return ::GetPrivateProfileSectionW(Wide(section), Wide(buffer), chars, Wide(fileName));
    }
};

}  // namespace

Files& FilesBackend() {
    static Win32Files instance;
    return instance;
}

}  // namespace platform::win32
