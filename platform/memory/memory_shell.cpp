// The memory shell: special folders as set up, COM start-up per thread, and shell links stored
// with the files they are read from.
#include "platform/memory/memory_state.h"
#include "platform/memory/memory_text.h"

namespace platform::memory::detail {

SpecialFolder MemoryShell::GetSpecialFolder(int csidl) {
    Lock lock(state_.mutex);
    auto it = folders.find(csidl);
    if (it != folders.end()) return it->second;
    // A folder the machine doesn't have: the system answers "file not found" as an HRESULT.
    SpecialFolder missing;
    missing.locationResult = HResultFromWin32(kErrorFileNotFound);
    return missing;
}

HResult MemoryShell::ComInitialize() {
    Lock lock(state_.mutex);
    if (comFailure) return *comFailure;
    return comThreads_.insert(std::this_thread::get_id()).second ? kSOk : kSFalse;
}

LinkStep MemoryShell::ReadLink(const char16_t* linkPath, std::u16string* target) {
    Lock lock(state_.mutex);
    Status status = kErrorSuccess;
    const FileNode* node = state_.files.Lookup(state_.files.Parse(WideView(linkPath)), &status);
    // A missing file, a folder or a file that holds no link fails where the file is loaded.
    if (node == nullptr || node->folder || !node->link) return LinkStep::kLoad;
    if (node->link->failsAt != LinkStep::kNone) return node->link->failsAt;
    if (target != nullptr) *target = node->link->target;
    return LinkStep::kNone;
}

HResult MemoryShell::CreateLink(const char16_t* linkPath, const char16_t* target) {
    Lock lock(state_.mutex);
    if (linkPath == nullptr || target == nullptr) return kEInvalidArg;
    if (Status s = state_.files.WriteAll(linkPath, "L"); s != kErrorSuccess)
        return HResultFromWin32(s);
    Status status = kErrorSuccess;
    FileNode* node = state_.files.Lookup(state_.files.Parse(WideView(linkPath)), &status);
    node->link = LinkInfo{LinkStep::kNone, std::u16string(WideView(target))};
    return kSOk;
}

int MemoryResources::LoadText(std::uint32_t id, std::u16string* text) {
    Lock lock(state_.mutex);
    auto it = strings.find(id);
    if (it == strings.end()) {
        state_.SetLastError(static_cast<std::uint32_t>(kErrorResourceNameNotFound));
        if (text != nullptr) text->clear();
        return 0;
    }
    if (text != nullptr) *text = it->second;
    return static_cast<int>(it->second.size());
}

}  // namespace platform::memory::detail

namespace platform::memory {

using detail::Lock;

void MemoryMachine::SetSpecialFolder(int csidl, std::u16string_view path) {
    Lock lock(state_->mutex);
    SpecialFolder folder;
    folder.locationResult = kSOk;
    folder.pathFound = true;
    folder.path = std::u16string(path);
    while (!folder.path.empty() && folder.path.back() == u'\\') folder.path.pop_back();
    state_->shell.folders[csidl] = folder;
}

void MemoryMachine::FailSpecialFolderLocation(int csidl, HResult result) {
    Lock lock(state_->mutex);
    SpecialFolder folder;
    folder.locationResult = result;
    state_->shell.folders[csidl] = folder;
}

void MemoryMachine::FailSpecialFolderPath(int csidl) {
    Lock lock(state_->mutex);
    SpecialFolder folder;
    folder.locationResult = kSOk;
    folder.pathFound = false;
    state_->shell.folders[csidl] = folder;
}

void MemoryMachine::AddLink(std::u16string_view linkPath, std::u16string_view target) {
    Lock lock(state_->mutex);
    if (detail::FileNode* node = state_->files.EnsureFile(linkPath))
        node->link = detail::LinkInfo{LinkStep::kNone, std::u16string(target)};
}

void MemoryMachine::AddBrokenLink(std::u16string_view linkPath, LinkStep step) {
    Lock lock(state_->mutex);
    if (detail::FileNode* node = state_->files.EnsureFile(linkPath))
        node->link = detail::LinkInfo{step, u""};
}

void MemoryMachine::FailComInitialize(HResult result) {
    Lock lock(state_->mutex);
    state_->shell.comFailure = result;
}

void MemoryMachine::SetStringResource(std::uint32_t id, std::u16string_view text) {
    Lock lock(state_->mutex);
    state_->resources.strings[id] = std::u16string(text);
}

}  // namespace platform::memory
