// Windows paths resolved in a mounted folder, component by component without regard to case.
#include "platform/offline/offline_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "platform/offline/offline_text.h"

namespace platform::offline {
namespace {

thread_local std::uint32_t t_lastError = 0;

constexpr char16_t kCurrentDirectory[] = u"C:\\Windows\\System32";

bool StartsNoCase(std::u16string_view text, std::u16string_view prefix) {
    return text.size() >= prefix.size() && EqualNoCase(text.substr(0, prefix.size()), prefix);
}

// Wildcards * and ? over whole names, without regard to case.
bool Matches(std::u16string_view pattern, std::u16string_view name) {
    if (pattern.empty()) return name.empty();
    if (pattern[0] == u'*') {
        for (std::size_t skip = 0; skip <= name.size(); ++skip)
            if (Matches(pattern.substr(1), name.substr(skip))) return true;
        return false;
    }
    if (name.empty()) return false;
    if (pattern[0] != u'?' && !EqualNoCase(pattern.substr(0, 1), name.substr(0, 1))) return false;
    return Matches(pattern.substr(1), name.substr(1));
}

bool HasWildcard(std::u16string_view text) {
    return text.find_first_of(u"*?") != std::u16string_view::npos;
}

FindData Describe(const std::string& hostPath, std::u16string name) {
    FindData data;
    data.name = std::move(name);
    struct stat st {};
    if (lstat(hostPath.c_str(), &st) == 0) {
        if (S_ISDIR(st.st_mode)) {
            data.attributes = kFileAttributeDirectory;
        } else {
            data.attributes = kFileAttributeArchive;
            data.size = static_cast<std::uint64_t>(st.st_size);
        }
    }
    return data;
}

Status Refuse() {
    SetLastError(static_cast<std::uint32_t>(kErrorAccessDenied));
    return kErrorAccessDenied;
}

}  // namespace

void SetLastError(std::uint32_t code) {
    t_lastError = code;
}
std::uint32_t LastError() {
    return t_lastError;
}

std::string FindEntryNoCase(const std::string& folder, std::u16string_view name) {
    const std::string exact = folder + "/" + ToUtf8(name);
    struct stat st {};
    if (lstat(exact.c_str(), &st) == 0) return S_ISLNK(st.st_mode) ? std::string() : exact;
    DIR* dir = opendir(folder.c_str());
    if (dir == nullptr) return {};
    std::string found;
    const std::u16string folded = Fold(name);
    while (dirent* entry = readdir(dir)) {
        if (Fold(FromUtf8(entry->d_name)) != folded) continue;
        const std::string candidate = folder + "/" + entry->d_name;
        if (lstat(candidate.c_str(), &st) == 0 && !S_ISLNK(st.st_mode)) {
            found = candidate;
            break;
        }
    }
    closedir(dir);
    return found;
}

OfflineFiles::OfflineFiles(std::string root) : root_(std::move(root)) {}

Status OfflineFiles::HostPath(std::u16string_view path, std::string* hostPath) {
    // Device-namespace prefixes name the same paths.
    for (std::u16string_view prefix : {u"\\\\?\\", u"\\??\\"})
        if (StartsNoCase(path, prefix)) path.remove_prefix(prefix.size());
    std::u16string full;
    // "\SystemRoot" is left to the callers, as the file calls of the system leave it: to them it
    // is a folder of that name on the current drive.
    if (path.size() >= 2 && path[1] == u':') {
        // Only the system drive is in the image.
        if (path[0] != u'C' && path[0] != u'c') return kErrorPathNotFound;
        full = std::u16string(path);
    } else if (StartsNoCase(path, u"\\\\")) {
        return kErrorPathNotFound;
    } else if (!path.empty() && (path[0] == u'\\' || path[0] == u'/')) {
        full = u"C:" + std::u16string(path);
    } else {
        full = std::u16string(kCurrentDirectory) + u"\\" + std::u16string(path);
    }
    std::vector<std::u16string> pieces;
    for (std::u16string& piece : SplitPath(std::u16string_view(full).substr(2), true)) {
        if (piece == u".") continue;
        if (piece == u"..") {
            if (!pieces.empty()) pieces.pop_back();
            continue;
        }
        pieces.push_back(std::move(piece));
    }
    std::string at = root_;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const std::string next = FindEntryNoCase(at, pieces[i]);
        if (next.empty()) return i + 1 == pieces.size() ? kErrorFileNotFound : kErrorPathNotFound;
        if (i + 1 < pieces.size()) {
            struct stat st {};
            if (lstat(next.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) return kErrorPathNotFound;
        }
        at = next;
    }
    *hostPath = at;
    return kErrorSuccess;
}

FindHandle OfflineFiles::FindFirst(const char16_t* pattern, FindData* data) {
    const std::u16string_view text = WideView(pattern);
    const std::size_t cut = text.find_last_of(u"\\/");
    if (cut == std::u16string_view::npos || cut + 1 == text.size()) {
        SetLastError(static_cast<std::uint32_t>(kErrorFileNotFound));
        return nullptr;
    }
    const std::u16string_view last = text.substr(cut + 1);
    std::string folder;
    Status status = HostPath(text.substr(0, cut + 1), &folder);
    if (status != kErrorSuccess) {
        SetLastError(static_cast<std::uint32_t>(kErrorPathNotFound));
        return nullptr;
    }
    Search search;
    if (HasWildcard(last)) {
        // A folder below the drive's root lists its "." and ".." entries first.
        if (folder != root_) {
            for (const char16_t* dots : {u".", u".."}) {
                if (!Matches(last, dots)) continue;
                FindData entry;
                entry.attributes = kFileAttributeDirectory;
                entry.name = dots;
                search.entries.push_back(entry);
            }
        }
        std::vector<FindData> found;
        if (DIR* dir = opendir(folder.c_str())) {
            while (dirent* entry = readdir(dir)) {
                const std::string name = entry->d_name;
                if (name == "." || name == "..") continue;
                const std::string hostPath = folder + "/" + name;
                struct stat st {};
                if (lstat(hostPath.c_str(), &st) != 0 || S_ISLNK(st.st_mode)) continue;
                std::u16string wide = FromUtf8(name);
                if (Matches(last, wide)) found.push_back(Describe(hostPath, std::move(wide)));
            }
            closedir(dir);
        }
        std::sort(found.begin(), found.end(),
                  [](const FindData& a, const FindData& b) { return Fold(a.name) < Fold(b.name); });
        search.entries.insert(search.entries.end(), found.begin(), found.end());
    } else {
        const std::string hostPath = FindEntryNoCase(folder, last);
        if (!hostPath.empty())
            search.entries.push_back(
                Describe(hostPath, FromUtf8(hostPath.substr(hostPath.rfind('/') + 1))));
    }
    if (search.entries.empty()) {
        SetLastError(static_cast<std::uint32_t>(kErrorFileNotFound));
        return nullptr;
    }
    if (data != nullptr) *data = search.entries[0];
    search.next = 1;
    std::lock_guard lock(mutex_);
    const std::uintptr_t id = nextSearch_;
    nextSearch_ += 4;
    searches_[id] = std::move(search);
    return reinterpret_cast<FindHandle>(id);
}

bool OfflineFiles::FindNext(FindHandle handle, FindData* data) {
    std::lock_guard lock(mutex_);
    auto it = searches_.find(reinterpret_cast<std::uintptr_t>(handle));
    if (it == searches_.end()) {
        SetLastError(static_cast<std::uint32_t>(kErrorInvalidHandle));
        return false;
    }
    Search& search = it->second;
    if (search.next >= search.entries.size()) {
        SetLastError(static_cast<std::uint32_t>(kErrorNoMoreFiles));
        return false;
    }
    if (data != nullptr) *data = search.entries[search.next];
    ++search.next;
    return true;
}

void OfflineFiles::FindClose(FindHandle handle) {
    std::lock_guard lock(mutex_);
    if (searches_.erase(reinterpret_cast<std::uintptr_t>(handle)) == 0)
        SetLastError(static_cast<std::uint32_t>(kErrorInvalidHandle));
}

Status OfflineFiles::ReadAll(const char16_t* path, std::string* bytes) {
    std::string hostPath;
    Status status = HostPath(WideView(path), &hostPath);
    if (status != kErrorSuccess) {
        SetLastError(static_cast<std::uint32_t>(status));
        return status;
    }
    const int fd = open(hostPath.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    struct stat st {};
    if (fd < 0 || fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) ||
        static_cast<std::uint64_t>(st.st_size) > kMaxReadBytes) {
        if (fd >= 0) close(fd);
        return Refuse();
    }
    std::string content(static_cast<std::size_t>(st.st_size), '\0');
    std::size_t done = 0;
    while (done < content.size()) {
        const ssize_t n = read(fd, content.data() + done, content.size() - done);
        if (n <= 0) break;
        done += static_cast<std::size_t>(n);
    }
    close(fd);
    content.resize(done);
    if (bytes != nullptr) *bytes = std::move(content);
    return kErrorSuccess;
}

Status OfflineFiles::WriteAll(const char16_t*, std::string_view) {
    return Refuse();
}
Status OfflineFiles::Append(const char16_t*, std::string_view) {
    return Refuse();
}
Status OfflineFiles::RemoveFile(const char16_t*) {
    return Refuse();
}
Status OfflineFiles::MakeDirectory(const char16_t*) {
    return Refuse();
}
Status OfflineFiles::RemoveEmptyDirectory(const char16_t*) {
    return Refuse();
}

bool OfflineFiles::GetAttributes(const char16_t* path, std::uint32_t* attributes) {
    std::string hostPath;
    Status status = HostPath(WideView(path), &hostPath);
    if (status != kErrorSuccess) {
        SetLastError(static_cast<std::uint32_t>(status));
        return false;
    }
    if (attributes != nullptr) *attributes = Describe(hostPath, {}).attributes;
    return true;
}

std::u16string OfflineFiles::CurrentDirectory() {
    return kCurrentDirectory;
}

}  // namespace platform::offline
