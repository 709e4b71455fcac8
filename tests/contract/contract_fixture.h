// One suite of platform behaviours, run against every backend this build has: the memory
// machine always, the real Win32 machine where the build has it (the suite then runs on Windows
// or under Wine). Each test gets a scratch registry key under HKCU\Software\VistrelTest\<unique>
// and a scratch folder under %TEMP%, made the same way on both backends and removed afterwards.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/machine.h"
#include "platform/memory/memory_machine.h"

namespace contract {

enum class BackendKind { kMemory, kWin32 };

std::vector<BackendKind> AllBackends();
std::string BackendName(const testing::TestParamInfo<BackendKind>& info);

class PlatformContract : public testing::TestWithParam<BackendKind> {
  protected:
    void SetUp() override;
    void TearDown() override;

    bool IsWin32() const { return GetParam() == BackendKind::kWin32; }
    // The Win32 backend on Wine rather than on Windows (Wine keeps its own key in HKLM).
    bool RunsUnderWine();
    platform::Machine& machine() { return *machine_; }
    platform::Registry& registry() { return machine_->registry(); }
    platform::Files& files() { return machine_->files(); }
    // The memory machine under test; null on the Win32 backend.
    platform::memory::MemoryMachine* memoryMachine() { return memory_.get(); }

    // The scratch key, open with all access; below HKCU at ScratchKeyPath().
    platform::RegKey scratch() const { return scratch_; }
    const std::u16string& ScratchKeyPath() const { return scratchKeyPath_; }
    // A path in the scratch folder.
    std::u16string InFolder(std::u16string_view name) const;
    const std::u16string& ScratchFolder() const { return scratchFolder_; }

    // DenyAllAccess on a sub-key of the scratch key, undone again before clean-up.
    platform::Status DenyScratchSubKey(const std::u16string& subKey);

    // Writes a file of the scratch folder; fails the test when it can't.
    void WriteFile(std::u16string_view name, std::string_view bytes);

  private:
    void RemoveFolderTree(const std::u16string& folder);

    std::unique_ptr<platform::memory::MemoryMachine> memory_;
    platform::Machine* machine_ = nullptr;
    std::optional<platform::memory::ScopedMachine> installed_;
    platform::RegKey scratch_ = nullptr;
    std::u16string scratchKeyPath_;
    std::u16string scratchFolder_;
    std::vector<std::u16string> denied_;
};

// Text helpers for the byte-oriented interfaces.
std::string Utf16Bytes(std::u16string_view text, bool withTerminator);
std::u16string ToU16(std::string_view ascii);
std::string Narrow(std::u16string_view ascii);

}  // namespace contract
