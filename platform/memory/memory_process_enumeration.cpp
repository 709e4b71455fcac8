// The memory process enumeration: two system libraries with the toolhelp exports, snapshots of
// the process table, the version words, code pages 1252 and 65001, and the process queries.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>

#include "platform/memory/memory_state.h"
#include "platform/memory/memory_text.h"
#include "platform/untrusted_bytes.h"

namespace platform::memory::detail {
namespace {

constexpr Status kErrorInvalidFlags = 1004;
constexpr std::uint32_t kCodePage1252 = 1252;
constexpr std::uint32_t kCodePageUtf8 = 65001;
constexpr std::uint32_t kDefaultBuild = 19045;

std::u16string Decode(std::uint32_t codePage, std::string_view bytes) {
    std::u16string out;
    if (codePage == kCodePage1252) {
        for (unsigned char c : bytes) out.push_back(bytes::FromCp1252(c));
        return out;
    }
    for (std::size_t i = 0; i < bytes.size();) {
        const auto c = static_cast<unsigned char>(bytes[i]);
        const int extra = c < 0x80         ? 0
                          : (c >> 5) == 6  ? 1
                          : (c >> 4) == 14 ? 2
                          : (c >> 3) == 30 ? 3
                                           : -1;
        std::uint32_t code = extra == 0 ? c : extra == 1 ? c & 0x1F : extra == 2 ? c & 0x0F : c & 7;
        bool valid = extra >= 0 && i + static_cast<std::size_t>(extra) < bytes.size();
        for (int k = 1; valid && k <= extra; ++k) {
            const auto next = static_cast<unsigned char>(bytes[i + static_cast<std::size_t>(k)]);
            valid = (next & 0xC0) == 0x80;
            code = (code << 6) | (next & 0x3F);
        }
        if (!valid) {
            out.push_back(0xFFFD);
            ++i;
            continue;
        }
        i += static_cast<std::size_t>(extra) + 1;
        if (code >= 0x10000) {
            code -= 0x10000;
            out.push_back(static_cast<char16_t>(0xD800 + (code >> 10)));
            out.push_back(static_cast<char16_t>(0xDC00 + (code & 0x3FF)));
        } else {
            out.push_back(static_cast<char16_t>(code));
        }
    }
    return out;
}

// Wide to ANSI as the ANSI toolhelp functions convert; what the code page lacks becomes '?'.
std::string Encode(std::uint32_t codePage, std::u16string_view text) {
    if (codePage == kCodePageUtf8) return ToUtf8(text);
    std::string out;
    for (char16_t c : text) {
        if (c < 0x80 || (c >= 0xA0 && c < 0x100)) {
            out.push_back(static_cast<char>(c));
            continue;
        }
        char mapped = '?';
        for (int i = 0; i < 32; ++i)
            if (bytes::kCp1252High[i] == c) mapped = static_cast<char>(0x80 + i);
        out.push_back(mapped);
    }
    return out;
}

// A wide field gets at most its capacity less one and a terminator, as the system's own copy.
void FillWide(char16_t* field, std::size_t capacity, std::u16string_view text) {
    const std::size_t n = std::min(text.size(), capacity - 1);
    std::memcpy(field, text.data(), n * sizeof(char16_t));
    field[n] = u'\0';
}

// An ANSI field gets the converted bytes up to its brim: a text that fills it has no terminator,
// as a conversion into too small a buffer leaves it.
void FillAnsi(char* field, std::size_t capacity, const std::string& bytes) {
    const std::size_t n = std::min(bytes.size(), capacity);
    std::memcpy(field, bytes.data(), n);
    if (n < capacity) field[n] = '\0';
}

std::u16string FileName(const std::u16string& path) {
    return path.substr(path.find_last_of(u'\\') + 1);
}

}  // namespace

MemoryProcessEnumeration::MemoryProcessEnumeration(MachineState& state) : state_(state) {
    Library& kernel32 = libraries[Fold(u"kernel32.dll")];
    for (const char* name :
         {"CreateToolhelp32Snapshot", "Process32First", "Process32Next", "Process32FirstW",
          "Process32NextW", "Module32First", "Module32Next", "Module32FirstW", "Module32NextW"})
        kernel32.exports.insert(name);
    libraries[Fold(u"psapi.dll")].exports = {"EnumProcesses", "EnumProcessModules",
                                             "GetModuleFileNameExW"};
}

Status MemoryProcessEnumeration::Fail(Status status) {
    state_.SetLastError(static_cast<std::uint32_t>(status));
    return status;
}

int MemoryProcessEnumeration::LoadedLibraries() const {
    int loaded = 0;
    for (const auto& [name, library] : libraries) loaded += library.references;
    return loaded;
}

ModuleHandle MemoryProcessEnumeration::LoadSystemLibrary(const char16_t* name) {
    Lock lock(state_.mutex);
    ++calls;
    auto it = libraries.find(Fold(WideView(name)));
    if (it == libraries.end() || !it->second.loadable) {
        Fail(kErrorModNotFound);
        return nullptr;
    }
    ++it->second.references;
    const std::uintptr_t handle = nextHandle_++;
    modules_[handle] = it->first;
    return reinterpret_cast<ModuleHandle>(handle);
}

void MemoryProcessEnumeration::FreeSystemLibrary(ModuleHandle module) {
    Lock lock(state_.mutex);
    ++calls;
    auto it = modules_.find(reinterpret_cast<std::uintptr_t>(module));
    if (it == modules_.end()) return;
    --libraries[it->second].references;
    modules_.erase(it);
}

FunctionHandle MemoryProcessEnumeration::FindFunction(ModuleHandle module, const char* name) {
    Lock lock(state_.mutex);
    ++calls;
    auto it = modules_.find(reinterpret_cast<std::uintptr_t>(module));
    if (it == modules_.end()) {
        Fail(kErrorInvalidHandle);
        return nullptr;
    }
    if (name == nullptr || libraries[it->second].exports.count(name) == 0) {
        Fail(kErrorProcNotFound);
        return nullptr;
    }
    // An export has one address for the life of its library, whoever asks for it.
    for (const auto& [handle, function] : functions_)
        if (function.library == it->second && function.name == name)
            return reinterpret_cast<FunctionHandle>(handle);
    const std::uintptr_t handle = nextHandle_++;
    functions_[handle] = {it->second, name};
    return reinterpret_cast<FunctionHandle>(handle);
}

std::uint32_t MemoryProcessEnumeration::VersionWord() {
    Lock lock(state_.mutex);
    ++calls;
    if (versionWord) return *versionWord;
    return (kDefaultBuild << 16) | ((state_.processes.osMinor & 0xFF) << 8) |
           (state_.processes.osMajor & 0xFF);
}

bool MemoryProcessEnumeration::VersionEx(OsVersionEx* version) {
    Lock lock(state_.mutex);
    ++calls;
    if (!state_.processes.osVersionReadable) {
        Fail(kErrorInvalidParameter);
        return false;
    }
    version->major = state_.processes.osMajor;
    version->minor = state_.processes.osMinor;
    version->build = kDefaultBuild;
    version->platformId = platformId;
    return true;
}

SnapshotHandle MemoryProcessEnumeration::CallCreateSnapshot(FunctionHandle create,
                                                            std::uint32_t flags,
                                                            std::uint32_t processId) {
    Lock lock(state_.mutex);
    ++calls;
    auto function = functions_.find(reinterpret_cast<std::uintptr_t>(create));
    if (function == functions_.end() || function->second.name != "CreateToolhelp32Snapshot") {
        Fail(kErrorInvalidParameter);
        return nullptr;
    }
    Snapshot snapshot;
    const auto& table = state_.processes.running;
    if (flags == kTh32csSnapProcess) {
        if (failProcessSnapshot != kErrorSuccess) {
            Fail(failProcessSnapshot);
            return nullptr;
        }
        snapshot.processes.assign(table.begin(), table.end());
    } else if (flags == kTh32csSnapModule) {
        auto process = table.find(processId);
        if (process == table.end()) {
            Fail(kErrorInvalidParameter);
            return nullptr;
        }
        if (process->second.moduleSnapshotDenied) {
            Fail(kErrorAccessDenied);
            return nullptr;
        }
        snapshot.modules = true;
        snapshot.processId = processId;
        if (!process->second.moduleSnapshotEmpty) snapshot.modulePaths = process->second.modules;
    } else {
        Fail(kErrorInvalidParameter);
        return nullptr;
    }
    const std::uintptr_t handle = nextHandle_++;
    snapshots_[handle] = std::move(snapshot);
    return reinterpret_cast<SnapshotHandle>(handle);
}

bool MemoryProcessEnumeration::CallSnapshotWalk(FunctionHandle walk, SnapshotHandle snapshot,
                                                void* entry) {
    Lock lock(state_.mutex);
    ++calls;
    auto function = functions_.find(reinterpret_cast<std::uintptr_t>(walk));
    auto taken = snapshots_.find(reinterpret_cast<std::uintptr_t>(snapshot));
    if (function == functions_.end() || taken == snapshots_.end() || entry == nullptr) {
        Fail(kErrorInvalidParameter);
        return false;
    }
    return Walk(function->second, taken->second, entry);
}

bool MemoryProcessEnumeration::Walk(const Function& function, Snapshot& snapshot, void* entry) {
    const std::string& name = function.name;
    const bool wide = name.back() == 'W';
    const bool first = name.find("First") != std::string::npos;
    const bool moduleWalk = name.rfind("Module32", 0) == 0;
    std::uint32_t size = 0;
    std::memcpy(&size, entry, sizeof(size));
    const std::size_t expected = moduleWalk
                                     ? (wide ? sizeof(ModuleEntry32W) : sizeof(ModuleEntry32A))
                                     : (wide ? sizeof(ProcessEntry32W) : sizeof(ProcessEntry32A));
    if (size < expected) {
        Fail(kErrorBadLength);
        return false;
    }
    if (first) snapshot.next = 0;
    const std::size_t count =
        snapshot.modules ? snapshot.modulePaths.size() : snapshot.processes.size();
    if (moduleWalk != snapshot.modules || snapshot.next >= count) {
        Fail(kErrorNoMoreFiles);
        return false;
    }
    const std::size_t index = snapshot.next++;
    const std::uint32_t codePage = acp;
    if (moduleWalk) {
        const std::u16string& path = snapshot.modulePaths[index];
        const std::u16string file = FileName(path);
        if (wide) {
            auto* e = static_cast<ModuleEntry32W*>(entry);
            e->th32ModuleID = 1;
            e->th32ProcessID = snapshot.processId;
            FillWide(e->szModule, std::size(e->szModule), file);
            FillWide(e->szExePath, std::size(e->szExePath), path);
        } else {
            auto* e = static_cast<ModuleEntry32A*>(entry);
            e->th32ModuleID = 1;
            e->th32ProcessID = snapshot.processId;
            FillAnsi(e->szModule, std::size(e->szModule), Encode(codePage, file));
            FillAnsi(e->szExePath, std::size(e->szExePath), Encode(codePage, path));
        }
        return true;
    }
    const auto& [processId, process] = snapshot.processes[index];
    if (wide) {
        auto* e = static_cast<ProcessEntry32W*>(entry);
        e->th32ProcessID = processId;
        e->cntThreads = 1;
        FillWide(e->szExeFile, std::size(e->szExeFile), process.exeName);
    } else {
        auto* e = static_cast<ProcessEntry32A*>(entry);
        e->th32ProcessID = processId;
        e->cntThreads = 1;
        FillAnsi(e->szExeFile, std::size(e->szExeFile), Encode(codePage, process.exeName));
    }
    return true;
}

void MemoryProcessEnumeration::CloseSnapshot(SnapshotHandle snapshot) {
    Lock lock(state_.mutex);
    ++calls;
    snapshots_.erase(reinterpret_cast<std::uintptr_t>(snapshot));
}

int MemoryProcessEnumeration::LocaleInfoA(std::uint32_t lcType, char* buffer, int capacity) {
    Lock lock(state_.mutex);
    ++calls;
    if (lcType != kLocaleIDefaultAnsiCodePage) return Fail(kErrorInvalidFlags), 0;
    const std::string text = std::to_string(localeCodePage);
    const int needed = static_cast<int>(text.size()) + 1;
    if (capacity == 0) return needed;
    if (buffer == nullptr || capacity < needed) return Fail(kErrorInsufficientBuffer), 0;
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return needed;
}

std::uint32_t MemoryProcessEnumeration::AnsiCodePage() {
    Lock lock(state_.mutex);
    ++calls;
    return acp;
}

int MemoryProcessEnumeration::ToWide(std::uint32_t codePage, std::uint32_t flags, const char* bytes,
                                     int byteCount, char16_t* out, int outChars) {
    Lock lock(state_.mutex);
    ++calls;
    if ((codePage != kCodePage1252 && codePage != kCodePageUtf8) || flags != 0 ||
        bytes == nullptr || byteCount < -1 || outChars < 0 || (outChars > 0 && out == nullptr))
        return Fail(kErrorInvalidParameter), 0;
    const std::size_t length =
        byteCount == -1 ? std::strlen(bytes) + 1 : static_cast<std::size_t>(byteCount);
    if (length == 0) return Fail(kErrorInvalidParameter), 0;
    const std::u16string text = Decode(codePage, std::string_view(bytes, length));
    const int needed = static_cast<int>(text.size());
    if (outChars == 0) return needed;
    if (needed > outChars) return Fail(kErrorInsufficientBuffer), 0;
    std::memcpy(out, text.data(), text.size() * sizeof(char16_t));
    return needed;
}

Status MemoryProcessEnumeration::ProcessIds(std::vector<std::uint32_t>* ids) {
    Lock lock(state_.mutex);
    ++calls;
    ids->clear();
    if (failProcessIds != kErrorSuccess) return Fail(failProcessIds);
    for (const auto& [id, process] : state_.processes.running) ids->push_back(id);
    return kErrorSuccess;
}

Status MemoryProcessEnumeration::ProcessImagePath(std::uint32_t processId, std::u16string* path) {
    Lock lock(state_.mutex);
    ++calls;
    path->clear();
    auto it = state_.processes.running.find(processId);
    if (it == state_.processes.running.end()) return Fail(kErrorInvalidParameter);
    if (it->second.imagePathDenied) return Fail(kErrorAccessDenied);
    *path = it->second.imagePath;
    return kErrorSuccess;
}

Status MemoryProcessEnumeration::ProcessModulePaths(std::uint32_t processId,
                                                    std::vector<std::u16string>* paths) {
    Lock lock(state_.mutex);
    ++calls;
    paths->clear();
    auto it = state_.processes.running.find(processId);
    if (it == state_.processes.running.end()) return Fail(kErrorInvalidParameter);
    if (it->second.moduleQueryDenied) return Fail(kErrorAccessDenied);
    if (!it->second.moduleSnapshotEmpty) *paths = it->second.modules;
    return kErrorSuccess;
}

}  // namespace platform::memory::detail

namespace platform::memory {

using detail::Fold;
using detail::Lock;

void MemoryMachine::FailLibraryLoad(std::u16string_view name) {
    Lock lock(state_->mutex);
    state_->processEnumeration.libraries[Fold(name)].loadable = false;
}

void MemoryMachine::RemoveExport(std::u16string_view library, std::string_view function) {
    Lock lock(state_->mutex);
    state_->processEnumeration.libraries[Fold(library)].exports.erase(std::string(function));
}

void MemoryMachine::FailProcessSnapshot(Status status) {
    Lock lock(state_->mutex);
    state_->processEnumeration.failProcessSnapshot = status;
}

void MemoryMachine::FailProcessIds(Status status) {
    Lock lock(state_->mutex);
    state_->processEnumeration.failProcessIds = status;
}

void MemoryMachine::SetVersionWord(std::uint32_t versionWord) {
    Lock lock(state_->mutex);
    state_->processEnumeration.versionWord = versionWord;
}

void MemoryMachine::SetPlatformId(std::uint32_t platformId) {
    Lock lock(state_->mutex);
    state_->processEnumeration.platformId = platformId;
}

void MemoryMachine::SetAnsiCodePages(std::uint32_t localeCodePage, std::uint32_t acp) {
    Lock lock(state_->mutex);
    state_->processEnumeration.localeCodePage = localeCodePage;
    state_->processEnumeration.acp = acp;
}

int MemoryMachine::ProcessEnumerationCalls() const {
    Lock lock(state_->mutex);
    return state_->processEnumeration.calls;
}

int MemoryMachine::LoadedLibraries() const {
    Lock lock(state_->mutex);
    return state_->processEnumeration.LoadedLibraries();
}

int MemoryMachine::OpenSnapshots() const {
    Lock lock(state_->mutex);
    return state_->processEnumeration.OpenSnapshots();
}

}  // namespace platform::memory
