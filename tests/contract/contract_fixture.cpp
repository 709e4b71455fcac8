#include "tests/contract/contract_fixture.h"

#include <atomic>
#include <chrono>
#include <random>

#ifdef VISTREL_HAS_WIN32_BACKEND
#include "platform/win32/win32_machine.h"
#endif

namespace contract {
namespace {

using namespace platform;

constexpr char16_t kTestRoot[] = u"Software\\VistrelTest";

// Unique among the runs that may share a registry or a temporary folder.
std::u16string UniqueName() {
    static std::atomic<unsigned> counter{0};
    static const unsigned long long seed =
        std::random_device{}() ^ static_cast<unsigned long long>(
                                     std::chrono::steady_clock::now().time_since_epoch().count());
    return ToU16("ct" + std::to_string(seed) + "-" + std::to_string(counter++));
}

}  // namespace

std::vector<BackendKind> AllBackends() {
#ifdef VISTREL_HAS_WIN32_BACKEND
    return {BackendKind::kMemory, BackendKind::kWin32};
#else
    return {BackendKind::kMemory};
#endif
}

std::string BackendName(const testing::TestParamInfo<BackendKind>& info) {
    return info.param == BackendKind::kWin32 ? "Win32" : "Memory";
}

std::string Utf16Bytes(std::u16string_view text, bool withTerminator) {
    std::string bytes;
    for (char16_t c : text) {
        bytes.push_back(static_cast<char>(c & 0xFF));
        bytes.push_back(static_cast<char>(c >> 8));
    }
    if (withTerminator) bytes.append(2, '\0');
    return bytes;
}

std::u16string ToU16(std::string_view ascii) {
    return std::u16string(ascii.begin(), ascii.end());
}

std::string Narrow(std::u16string_view ascii) {
    return std::string(ascii.begin(), ascii.end());
}

void PlatformContract::SetUp() {
    if (IsWin32()) {
#ifdef VISTREL_HAS_WIN32_BACKEND
        machine_ = &win32::Win32Machine();
#endif
    } else {
        // The memory machine is given what a fresh Windows has and the suite relies on.
        memory_ = std::make_unique<memory::MemoryMachine>();
        memory_->AddFolder(u"C:\\Users\\tester\\Temp");
        memory_->SetEnv(u"TEMP", u"C:\\Users\\tester\\Temp\\");
        memory_->AddFolder(u"C:\\windows");
        memory_->SetSpecialFolder(kCsidlWindows, u"C:\\windows");
        machine_ = memory_.get();
    }
    ASSERT_NE(machine_, nullptr);
    installed_.emplace(*machine_);

    const std::u16string unique = UniqueName();
    scratchKeyPath_ = std::u16string(kTestRoot) + u"\\" + unique;
    ASSERT_EQ(
        registry().CreateKey(kHkeyCurrentUser, scratchKeyPath_.c_str(), kKeyAllAccess, &scratch_),
        kErrorSuccess);

    std::u16string temp;
    ASSERT_TRUE(machine_->environment().GetVariable(u"TEMP", &temp));
    while (!temp.empty() && temp.back() == u'\\') temp.pop_back();
    scratchFolder_ = temp + u"\\VistrelTest-" + unique;
    ASSERT_EQ(files().MakeDirectory(scratchFolder_.c_str()), kErrorSuccess);
}

void PlatformContract::TearDown() {
    if (machine_ == nullptr) return;
    for (const std::u16string& subKey : denied_) {
        registry().AllowAllAccess(scratch_, subKey.c_str());
    }
    if (scratch_ != nullptr) registry().CloseKey(scratch_);
    if (!scratchKeyPath_.empty()) {
        EXPECT_EQ(registry().DeleteTree(kHkeyCurrentUser, scratchKeyPath_.c_str()), kErrorSuccess);
        // The shared parent goes too once no run of the suite uses it any more.
        RegKey parent = nullptr;
        if (registry().OpenKey(kHkeyCurrentUser, kTestRoot, kKeyRead, &parent) == kErrorSuccess) {
            char16_t name[256];
            std::uint32_t chars = 256;
            const bool empty = registry().EnumKey(parent, 0, name, &chars) == kErrorNoMoreItems;
            registry().CloseKey(parent);
            if (empty) registry().DeleteTree(kHkeyCurrentUser, kTestRoot);
        }
    }
    if (!scratchFolder_.empty()) {
        RemoveFolderTree(scratchFolder_);
        std::uint32_t attributes = 0;
        EXPECT_FALSE(files().GetAttributes(scratchFolder_.c_str(), &attributes));
    }
    installed_.reset();
}

bool PlatformContract::RunsUnderWine() {
    RegKey key = nullptr;
    if (!IsWin32() || registry().OpenKey(kHkeyLocalMachine, u"Software\\Wine", kKeyQueryValue,
                                         &key) != kErrorSuccess) {
        return false;
    }
    registry().CloseKey(key);
    return true;
}

std::u16string PlatformContract::InFolder(std::u16string_view name) const {
    return scratchFolder_ + u"\\" + std::u16string(name);
}

Status PlatformContract::DenyScratchSubKey(const std::u16string& subKey) {
    Status status = registry().DenyAllAccess(scratch_, subKey.c_str());
    if (status == kErrorSuccess) denied_.push_back(subKey);
    return status;
}

void PlatformContract::WriteFile(std::u16string_view name, std::string_view bytes) {
    ASSERT_EQ(files().WriteAll(InFolder(name).c_str(), bytes), kErrorSuccess);
}

void PlatformContract::RemoveFolderTree(const std::u16string& folder) {
    // Removed only once the search is closed, as Windows wants it.
    std::vector<std::pair<std::u16string, bool>> entries;
    FindData data;
    FindHandle find = files().FindFirst((folder + u"\\*").c_str(), &data);
    if (find != nullptr) {
        do {
            if (data.name == u"." || data.name == u"..") continue;
            entries.emplace_back(folder + u"\\" + data.name,
                                 (data.attributes & kFileAttributeDirectory) != 0);
        } while (files().FindNext(find, &data));
        files().FindClose(find);
    }
    for (const auto& [path, isFolder] : entries) {
        if (isFolder) {
            RemoveFolderTree(path);
        } else {
            files().RemoveFile(path.c_str());
        }
    }
    files().RemoveEmptyDirectory(folder.c_str());
}

}  // namespace contract
