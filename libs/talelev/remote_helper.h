// The plug-in's side of a helper that runs in another process: every operation becomes one
// request over a channel and waits for its answer. Statuses come back exactly as the helper's
// own in-process helper gave them; a broken channel gives kHelperBrokenPipe and a malformed
// answer kHelperMalformed, with the out-parameters left empty as after any failure.
#pragma once

#include <memory>
#include <string>

#include "libs/talelev/elevated_helper.h"
#include "libs/talelev/helper_protocol.h"

namespace talelev {

// One request and its answer at a time. A channel that fails once stays failed.
class IHelperChannel {
  public:
    virtual ~IHelperChannel() = default;
    virtual bool Exchange(const std::string& request, std::string* answer) = 0;
    // The id of the process at the other end, 0 when there is none.
    virtual std::uint32_t PeerProcessId() const { return 0; }
};

class CRemoteHelper final : public IElevatedHelper {
  public:
    explicit CRemoteHelper(std::unique_ptr<IHelperChannel> channel);
    std::uint32_t PeerProcessId() const { return channel_ ? channel_->PeerProcessId() : 0; }

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
    // Tells the helper it is given up (it then ends) and deletes this object.
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
    ~CRemoteHelper() = default;
    // Sends request and decodes the answer into *answer; the answer's status, or the channel's.
    std::int32_t Call(const HelperRequest& request, HelperAnswer* answer);

    std::unique_ptr<IHelperChannel> channel_;
};

}  // namespace talelev
