// The files of an offline machine: Windows paths on the system drive mapped into the mounted
// folder, each component found without regard to case. Symbolic links in the mounted tree are
// not followed (a crafted image could point them anywhere on this system). Nothing is written.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/files.h"

namespace platform::offline {

// The last error of the calling thread, shared by the offline concerns.
void SetLastError(std::uint32_t code);
std::uint32_t LastError();

class OfflineFiles : public Files {
  public:
    // root: the mounted folder that stands for C:\.
    explicit OfflineFiles(std::string root);

    FindHandle FindFirst(const char16_t* pattern, FindData* data) override;
    bool FindNext(FindHandle handle, FindData* data) override;
    void FindClose(FindHandle handle) override;
    Status ReadAll(const char16_t* path, std::string* bytes) override;
    Status WriteAll(const char16_t* path, std::string_view bytes) override;
    Status Append(const char16_t* path, std::string_view bytes) override;
    Status RemoveFile(const char16_t* path) override;
    Status MakeDirectory(const char16_t* path) override;
    Status RemoveEmptyDirectory(const char16_t* path) override;
    bool GetAttributes(const char16_t* path, std::uint32_t* attributes) override;
    std::u16string CurrentDirectory() override;
    std::uint32_t ReadProfileSection(const char16_t* fileName, const char16_t* section,
                                     char16_t* buffer, std::uint32_t chars) override;

    // The host path of a Windows path, every component found as it is spelt on disk. On
    // failure the status is kErrorPathNotFound (a folder on the way is missing, or the path is
    // not on the system drive) or kErrorFileNotFound (only the last component is missing).
    Status HostPath(std::u16string_view windowsPath, std::string* hostPath);

    // Files larger than this are refused by ReadAll (a crafted image could hold huge ones).
    static constexpr std::uint64_t kMaxReadBytes = 256u << 20;

  private:
    struct Search {
        std::vector<FindData> entries;
        std::size_t next = 0;
    };
    std::string root_;
    std::mutex mutex_;
    std::map<std::uintptr_t, Search> searches_;
    std::uintptr_t nextSearch_ = 0x10;
};

// The host folder's entry that matches name without regard to case, or empty. Links are
// skipped.
std::string FindEntryNoCase(const std::string& folder, std::u16string_view name);

}  // namespace platform::offline
