// The helper that acts in the caller's own process through platform::machine(), with the
// caller's rights.
#pragma once

#include "libs/talelev/elevated_helper.h"

namespace talelev {

class CInProcessHelper final : public IElevatedHelper {
  public:
    std::int32_t Reg_DeleteKey(platform::RegKey root, const std::u16string& keyPath) override;
    std::int32_t Reg_DeleteValue(platform::RegKey root, const std::u16string& keyPath,
                                 const std::u16string& valueName) override;
    std::int32_t Reg_SetValue(platform::RegKey root, const std::u16string& keyPath,
                              const std::u16string& valueName, const void* data,
                              std::int64_t sizeInBytes, std::uint32_t type,
                              std::uint8_t flag) override;
    std::int32_t Reg_QueryValue(platform::RegKey root, const std::u16string& keyPath,
                                const std::u16string& valueName, std::uint32_t* type,
                                std::vector<std::uint8_t>& data) override;
    std::int32_t Reg_CreateKey(platform::RegKey root, const std::u16string& keyPath) override;
    std::int32_t Reg_EnumValues(platform::RegKey root, const std::u16string& keyPath,
                                std::vector<std::u16string>& names) override;
    std::int32_t Reg_EnumKeys(platform::RegKey root, const std::u16string& keyPath,
                              std::vector<std::u16string>& names) override;
    std::int32_t Reg_DeleteTree(platform::RegKey root, const std::u16string& keyPath) override;
    std::int32_t Reg_OpenTest(platform::RegKey root, const std::u16string& keyPath,
                              std::uint32_t access) override;
    std::int32_t Release() override;
    bool IsElevated() override;

    std::int32_t Proc_Create(platform::ShellExecuteInfo* info, std::uint32_t* processId) override;
    std::int32_t Proc_Kill(std::uint32_t processId) override;
    std::int32_t Proc_Enum(std::vector<std::uint32_t>& processIds) override;
    std::int32_t Proc_EnumModules(std::uint32_t processId,
                                  std::vector<std::u16string>& modulePaths) override;
    std::int32_t Proc_GetImagePath(std::uint32_t processId, std::u16string& path) override;

    std::int32_t File_Delete(const std::u16string& path) override;

  private:
    ~CInProcessHelper() = default;
};

}  // namespace talelev
