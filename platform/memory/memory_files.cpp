// The memory file system: volumes (drive letters and \\server\share) holding folders and files,
// with names matched without regard to case and the status codes of the Win32 file calls.
#include <algorithm>

#include "platform/memory/memory_state.h"
#include "platform/memory/memory_text.h"

namespace platform::memory::detail {
namespace {

bool HasWildcard(std::u16string_view text) {
    return text.find_first_of(u"*?") != std::u16string_view::npos;
}

bool Glob(std::u16string_view pattern, std::u16string_view name) {
    std::size_t p = 0, n = 0, starP = std::u16string_view::npos, starN = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == u'*') {
            starP = p++;
            starN = n;
        } else if (p < pattern.size() &&
                   (pattern[p] == u'?' || FoldChar(pattern[p]) == FoldChar(name[n]))) {
            ++p;
            ++n;
        } else if (starP != std::u16string_view::npos) {
            p = starP + 1;
            n = ++starN;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == u'*') ++p;
    return p == pattern.size();
}

// The system's matching: besides plain * and ?, "x.*" also takes names without any dot (so "*.*"
// takes every name) and "x." takes a name without a dot as "x".
bool Matches(std::u16string_view pattern, std::u16string_view name) {
    if (Glob(pattern, name)) return true;
    const bool dotless = name.find(u'.') == std::u16string_view::npos;
    if (dotless && pattern.size() >= 2 && pattern.substr(pattern.size() - 2) == u".*")
        return Glob(pattern.substr(0, pattern.size() - 2), name);
    if (dotless && pattern.size() >= 2 && pattern.back() == u'.')
        return Glob(pattern.substr(0, pattern.size() - 1), name);
    return false;
}

FindData Describe(const FileNode& node) {
    FindData data;
    data.attributes = node.folder ? kFileAttributeDirectory : node.attributes;
    data.size = node.folder ? 0 : node.bytes.size();
    data.name = node.name;
    return data;
}

std::u16string Join(const ParsedPath& path) {
    std::u16string text = path.volume;
    for (const std::u16string& part : path.parts) text += u"\\" + part;
    return text;
}

}  // namespace

FileNode* FileNode::FindChild(std::u16string_view childName) const {
    auto it = children.find(Fold(childName));
    return it == children.end() ? nullptr : it->second.get();
}

MemoryFiles::MemoryFiles(MachineState& state) : state_(state) {
    Volume(u"C:", true);
}

FileNode* MemoryFiles::Volume(std::u16string_view volume, bool create) {
    std::unique_ptr<FileNode>& root = volumes_[Fold(volume)];
    if (!root && create) {
        root = std::make_unique<FileNode>();
        root->name = std::u16string(volume);
        root->folder = true;
        root->attributes = kFileAttributeDirectory;
    }
    if (!root) {
        volumes_.erase(Fold(volume));
        return nullptr;
    }
    return root.get();
}

namespace {

// "\\?\" and "\??\" hand the rest of a path to the system as it is: no "/" for "\", no "." or
// "..", no trimming. Only drive paths and "UNC\server\share" are known here.
ParsedPath ParseVerbatim(std::u16string_view rest) {
    ParsedPath result;
    const std::vector<std::u16string> pieces = SplitKeyPath(rest);
    if (pieces.empty()) return result;
    std::size_t first = 1;
    if (pieces[0].size() == 2 && pieces[0][1] == u':' && rest.size() >= 2 && rest[1] == u':') {
        result.volume = Fold(pieces[0]);
    } else if (EqualNoCase(pieces[0], u"UNC") && pieces.size() >= 3) {
        result.volume = u"\\\\" + pieces[1] + u"\\" + pieces[2];
        first = 3;
    } else {
        return result;
    }
    result.parts.assign(pieces.begin() + static_cast<std::ptrdiff_t>(first), pieces.end());
    result.trailingSeparator = rest.back() == u'\\';
    result.valid = true;
    return result;
}

bool IsBlankOrDot(char16_t c) {
    return c == u' ' || c == u'.';
}

}  // namespace

ParsedPath MemoryFiles::Parse(std::u16string_view raw) const {
    if (raw.starts_with(u"\\\\?\\") || raw.starts_with(u"\\??\\"))
        return ParseVerbatim(raw.substr(4));
    ParsedPath result;
    std::u16string path(raw);
    std::replace(path.begin(), path.end(), u'/', u'\\');
    if (path.empty()) return result;
    std::u16string rest;
    if (path.size() >= 2 && path[0] == u'\\' && path[1] == u'\\') {
        const std::vector<std::u16string> pieces = SplitKeyPath(path);
        if (pieces.size() < 2) return result;
        result.volume = u"\\\\" + pieces[0] + u"\\" + pieces[1];
        for (std::size_t i = 2; i < pieces.size(); ++i) rest += u"\\" + pieces[i];
    } else if (path.size() >= 2 && path[1] == u':') {
        result.volume = Fold(path.substr(0, 2));
        rest = path.substr(2);
        // "D:name" is relative to the current folder when that is on the same drive.
        if (!rest.empty() && rest[0] != u'\\' && EqualNoCase(current_.substr(0, 2), result.volume))
            rest = current_.substr(2) + u"\\" + rest;
    } else {
        const ParsedPath current = Parse(current_);
        result.volume = current.volume;
        rest = path[0] == u'\\' ? path : Join(current).substr(current.volume.size()) + u"\\" + path;
    }
    result.trailingSeparator = path.back() == u'\\';
    std::vector<std::u16string> pieces = SplitKeyPath(rest);
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        std::u16string& piece = pieces[i];
        if (piece == u".") continue;
        if (piece == u"..") {
            if (!result.parts.empty()) result.parts.pop_back();
            continue;
        }
        // The system drops one dot that ends a folder's name, and every blank and dot that ends
        // the path; a pattern keeps its own, since "x." is a pattern of its own.
        if (i + 1 < pieces.size()) {
            if (piece.back() == u'.') piece.pop_back();
        } else if (!result.trailingSeparator && !HasWildcard(piece)) {
            while (!piece.empty() && IsBlankOrDot(piece.back())) piece.pop_back();
            if (piece.empty()) {
                result.trailingSeparator = true;
                continue;
            }
        }
        result.parts.push_back(std::move(piece));
    }
    result.valid = true;
    return result;
}

FileNode* MemoryFiles::Lookup(const ParsedPath& path, Status* status) {
    FileNode* at = path.valid ? Volume(path.volume, false) : nullptr;
    if (at == nullptr) {
        *status = kErrorPathNotFound;
        return nullptr;
    }
    for (std::size_t i = 0; i < path.parts.size(); ++i) {
        FileNode* next = at->folder ? at->FindChild(path.parts[i]) : nullptr;
        if (next == nullptr) {
            *status = (i + 1 == path.parts.size() && at->folder) ? kErrorFileNotFound
                                                                 : kErrorPathNotFound;
            return nullptr;
        }
        at = next;
    }
    // "file\\" names a folder that isn't one.
    if (path.trailingSeparator && !at->folder) {
        *status = kErrorPathNotFound;
        return nullptr;
    }
    *status = kErrorSuccess;
    return at;
}

FileNode* MemoryFiles::Parent(const ParsedPath& path, Status* status) {
    if (!path.valid || path.parts.empty()) {
        *status = kErrorPathNotFound;
        return nullptr;
    }
    ParsedPath above = path;
    above.parts.pop_back();
    FileNode* folder = Lookup(above, status);
    if (folder == nullptr || !folder->folder) {
        *status = kErrorPathNotFound;
        return nullptr;
    }
    return folder;
}

FileNode* MemoryFiles::EnsureFolder(std::u16string_view text) {
    const ParsedPath path = Parse(text);
    if (!path.valid) return nullptr;
    FileNode* at = Volume(path.volume, true);
    for (const std::u16string& part : path.parts) {
        std::unique_ptr<FileNode>& child = at->children[Fold(part)];
        if (!child) {
            child = std::make_unique<FileNode>();
            child->name = part;
            child->folder = true;
            child->attributes = kFileAttributeDirectory;
        }
        if (!child->folder) return nullptr;
        at = child.get();
    }
    return at;
}

FileNode* MemoryFiles::EnsureFile(std::u16string_view text) {
    ParsedPath path = Parse(text);
    if (!path.valid || path.parts.empty()) return nullptr;
    const std::u16string name = path.parts.back();
    path.parts.pop_back();
    FileNode* folder = EnsureFolder(Join(path));
    if (folder == nullptr) return nullptr;
    std::unique_ptr<FileNode>& child = folder->children[Fold(name)];
    if (!child) {
        child = std::make_unique<FileNode>();
        child->name = name;
        child->attributes = kFileAttributeArchive;
    }
    return child->folder ? nullptr : child.get();
}

void MemoryFiles::SetCurrent(std::u16string_view text) {
    const ParsedPath path = Parse(text);
    if (!path.valid) return;
    EnsureFolder(Join(path));
    current_ = Join(path);
}

FindHandle MemoryFiles::FindFirst(const char16_t* pattern, FindData* data) {
    Lock lock(state_.mutex);
    ++findFirstCount;
    const ParsedPath path = Parse(WideView(pattern));
    Status status = kErrorPathNotFound;
    if (!path.valid) {
        state_.SetLastError(kErrorPathNotFound);
        return nullptr;
    }
    // A trailing backslash asks for the folder's own entry, which a search never gives.
    if (path.trailingSeparator || path.parts.empty()) {
        Status parentStatus = kErrorSuccess;
        if (!path.parts.empty() && Parent(path, &parentStatus) == nullptr)
            status = parentStatus;
        else
            status = kErrorFileNotFound;
        state_.SetLastError(static_cast<std::uint32_t>(status));
        return nullptr;
    }
    // Wildcards belong in the last component only.
    for (std::size_t i = 0; i + 1 < path.parts.size(); ++i) {
        if (HasWildcard(path.parts[i])) {
            state_.SetLastError(static_cast<std::uint32_t>(kErrorInvalidName));
            return nullptr;
        }
    }
    FileNode* folder = Parent(path, &status);
    if (folder == nullptr) {
        state_.SetLastError(static_cast<std::uint32_t>(status));
        return nullptr;
    }
    const std::u16string& last = path.parts.back();
    Search search;
    if (HasWildcard(last)) {
        // A folder below a volume's root lists its "." and ".." entries first.
        if (path.parts.size() > 1) {
            for (const char16_t* dots : {u".", u".."}) {
                if (!Matches(last, dots)) continue;
                FindData entry;
                entry.attributes = kFileAttributeDirectory;
                entry.name = dots;
                search.entries.push_back(entry);
            }
        }
        for (const auto& [key, child] : folder->children)
            if (Matches(last, child->name)) search.entries.push_back(Describe(*child));
    } else if (FileNode* exact = folder->FindChild(last)) {
        search.entries.push_back(Describe(*exact));
    }
    if (search.entries.empty()) {
        state_.SetLastError(static_cast<std::uint32_t>(kErrorFileNotFound));
        return nullptr;
    }
    if (data != nullptr) *data = search.entries[0];
    search.next = 1;
    const std::uintptr_t id = nextSearch_;
    nextSearch_ += 4;
    searches_[id] = std::move(search);
    return reinterpret_cast<FindHandle>(id);
}

bool MemoryFiles::FindNext(FindHandle handle, FindData* data) {
    Lock lock(state_.mutex);
    auto it = searches_.find(reinterpret_cast<std::uintptr_t>(handle));
    if (it == searches_.end()) {
        state_.SetLastError(static_cast<std::uint32_t>(kErrorInvalidHandle));
        return false;
    }
    Search& search = it->second;
    if (search.next >= search.entries.size()) {
        state_.SetLastError(static_cast<std::uint32_t>(kErrorNoMoreFiles));
        return false;
    }
    if (data != nullptr) *data = search.entries[search.next];
    ++search.next;
    return true;
}

void MemoryFiles::FindClose(FindHandle handle) {
    Lock lock(state_.mutex);
    if (searches_.erase(reinterpret_cast<std::uintptr_t>(handle)) == 0)
        state_.SetLastError(static_cast<std::uint32_t>(kErrorInvalidHandle));
}

Status MemoryFiles::ReadAll(const char16_t* path, std::string* bytes) {
    Lock lock(state_.mutex);
    Status status = kErrorSuccess;
    const FileNode* node = Lookup(Parse(WideView(path)), &status);
    // Opening a folder as a file is refused.
    if (node != nullptr && node->folder) status = kErrorAccessDenied;
    if (status != kErrorSuccess) {
        state_.SetLastError(static_cast<std::uint32_t>(status));
        return status;
    }
    if (bytes != nullptr) *bytes = node->bytes;
    return kErrorSuccess;
}

Status MemoryFiles::Store(const char16_t* text, std::string_view bytes, bool append) {
    Lock lock(state_.mutex);
    const ParsedPath path = Parse(WideView(text));
    Status status = kErrorSuccess;
    FileNode* folder = Parent(path, &status);
    FileNode* node = folder == nullptr ? nullptr : folder->FindChild(path.parts.back());
    if (folder != nullptr && path.trailingSeparator) status = kErrorInvalidParameter;
    if (node != nullptr && node->folder) status = kErrorAccessDenied;
    if (status != kErrorSuccess) {
        state_.SetLastError(static_cast<std::uint32_t>(status));
        return status;
    }
    if (node == nullptr) {
        auto made = std::make_unique<FileNode>();
        made->name = path.parts.back();
        made->attributes = kFileAttributeArchive;
        node = made.get();
        folder->children[Fold(made->name)] = std::move(made);
    }
    if (append) {
        node->bytes.append(bytes);
    } else {
        // New contents: whatever the old file held (a version block, a link) is gone.
        node->bytes = std::string(bytes);
        node->versionBlock.reset();
        node->link.reset();
    }
    return kErrorSuccess;
}

Status MemoryFiles::WriteAll(const char16_t* path, std::string_view bytes) {
    return Store(path, bytes, false);
}

Status MemoryFiles::Append(const char16_t* path, std::string_view bytes) {
    return Store(path, bytes, true);
}

Status MemoryFiles::RemoveFile(const char16_t* text) {
    Lock lock(state_.mutex);
    const ParsedPath path = Parse(WideView(text));
    Status status = kErrorSuccess;
    FileNode* node = Lookup(path, &status);
    if (node != nullptr && (node->folder || path.parts.empty())) status = kErrorAccessDenied;
    if (node != nullptr && status == kErrorSuccess) status = node->failDelete;
    if (status != kErrorSuccess) {
        state_.SetLastError(static_cast<std::uint32_t>(status));
        return status;
    }
    Parent(path, &status)->children.erase(Fold(path.parts.back()));
    return kErrorSuccess;
}

Status MemoryFiles::MakeDirectory(const char16_t* text) {
    Lock lock(state_.mutex);
    const ParsedPath path = Parse(WideView(text));
    Status status = kErrorSuccess;
    FileNode* folder = Parent(path, &status);
    if (folder == nullptr && path.valid && path.parts.empty() && Volume(path.volume, false))
        status = kErrorAlreadyExists;
    if (folder != nullptr && folder->FindChild(path.parts.back()) != nullptr)
        status = kErrorAlreadyExists;
    if (status != kErrorSuccess) {
        state_.SetLastError(static_cast<std::uint32_t>(status));
        return status;
    }
    auto made = std::make_unique<FileNode>();
    made->name = path.parts.back();
    made->folder = true;
    made->attributes = kFileAttributeDirectory;
    folder->children[Fold(made->name)] = std::move(made);
    return kErrorSuccess;
}

Status MemoryFiles::RemoveEmptyDirectory(const char16_t* text) {
    Lock lock(state_.mutex);
    const ParsedPath path = Parse(WideView(text));
    Status status = kErrorSuccess;
    FileNode* node = Lookup(path, &status);
    if (node != nullptr) {
        if (path.parts.empty())
            status = kErrorAccessDenied;
        else if (!node->folder)
            status = kErrorDirectory;
        else if (!node->children.empty())
            status = kErrorDirNotEmpty;
        else
            status = node->failDelete;
    }
    if (status != kErrorSuccess) {
        state_.SetLastError(static_cast<std::uint32_t>(status));
        return status;
    }
    Parent(path, &status)->children.erase(Fold(path.parts.back()));
    return kErrorSuccess;
}

bool MemoryFiles::GetAttributes(const char16_t* path, std::uint32_t* attributes) {
    Lock lock(state_.mutex);
    Status status = kErrorSuccess;
    const FileNode* node = Lookup(Parse(WideView(path)), &status);
    if (node == nullptr) {
        state_.SetLastError(static_cast<std::uint32_t>(status));
        return false;
    }
    if (attributes != nullptr)
        *attributes = node->folder ? kFileAttributeDirectory : node->attributes;
    return true;
}

std::u16string MemoryFiles::CurrentDirectory() {
    Lock lock(state_.mutex);
    std::u16string text = current_;
    while (!text.empty() && text.back() == u'\\') text.pop_back();
    return text;
}

}  // namespace platform::memory::detail

namespace platform::memory {

using detail::Lock;

void MemoryMachine::AddFolder(std::u16string_view path) {
    Lock lock(state_->mutex);
    state_->files.EnsureFolder(path);
}

void MemoryMachine::AddFile(std::u16string_view path, std::string_view bytes) {
    Lock lock(state_->mutex);
    if (detail::FileNode* node = state_->files.EnsureFile(path)) node->bytes = std::string(bytes);
}

bool MemoryMachine::HasFile(std::u16string_view path) const {
    Lock lock(state_->mutex);
    Status status = kErrorSuccess;
    const detail::FileNode* node = state_->files.Lookup(state_->files.Parse(path), &status);
    return node != nullptr && !node->folder;
}

void MemoryMachine::SetVersionBlock(std::u16string_view path, std::string block) {
    Lock lock(state_->mutex);
    if (detail::FileNode* node = state_->files.EnsureFile(path))
        node->versionBlock = std::move(block);
}

void MemoryMachine::FailDelete(std::u16string_view path, Status status) {
    Lock lock(state_->mutex);
    Status found = kErrorSuccess;
    if (detail::FileNode* node = state_->files.Lookup(state_->files.Parse(path), &found))
        node->failDelete = status;
}

void MemoryMachine::SetCurrentDirectory(std::u16string_view path) {
    Lock lock(state_->mutex);
    state_->files.SetCurrent(path);
}

int MemoryMachine::FindFirstCount() const {
    Lock lock(state_->mutex);
    return state_->files.findFirstCount;
}

}  // namespace platform::memory
