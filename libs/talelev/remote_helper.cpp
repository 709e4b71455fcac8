#include "libs/talelev/remote_helper.h"

#include <limits>
#include <utility>

namespace talelev {
namespace {

HelperRequest On(HelperOp op, platform::RegKey root = nullptr, const std::u16string& keyPath = {}) {
    HelperRequest request;
    request.op = op;
    request.root = root;
    request.keyPath = keyPath;
    return request;
}

std::u16string TextOf(const char16_t* text) {
    return text ? std::u16string(text) : std::u16string();
}

}  // namespace

CRemoteHelper::CRemoteHelper(std::unique_ptr<IHelperChannel> channel)
    : channel_(std::move(channel)) {}

std::int32_t CRemoteHelper::Call(const HelperRequest& request, HelperAnswer* answer) {
    *answer = HelperAnswer();
    const std::string message = EncodeRequest(request);
    if (message.size() > kMaxHelperMessageBytes) return kHelperTooLarge;
    std::string reply;
    if (!channel_ || !channel_->Exchange(message, &reply)) return kHelperBrokenPipe;
    if (!DecodeAnswer(request.op, reply, answer)) return kHelperMalformed;
    return answer->status;
}

std::int32_t CRemoteHelper::Reg_DeleteKey(platform::RegKey root, const std::u16string& keyPath) {
    HelperAnswer answer;
    return Call(On(HelperOp::kRegDeleteKey, root, keyPath), &answer);
}

std::int32_t CRemoteHelper::Reg_DeleteValue(platform::RegKey root, const std::u16string& keyPath,
                                            const std::u16string& valueName) {
    HelperRequest request = On(HelperOp::kRegDeleteValue, root, keyPath);
    request.valueName = valueName;
    HelperAnswer answer;
    return Call(request, &answer);
}

std::int32_t CRemoteHelper::Reg_SetValue(platform::RegKey root, const std::u16string& keyPath,
                                         const std::u16string& valueName, const void* data,
                                         std::int64_t sizeInBytes, std::uint32_t type,
                                         std::uint8_t flag) {
    HelperRequest request = On(HelperOp::kRegSetValue, root, keyPath);
    request.valueName = valueName;
    request.type = type;
    request.flag = flag;
    request.sizeInBytes = sizeInBytes;
    request.hasData = data != nullptr;
    // Only a size the helper can accept is read from the caller's data; any other reaches the
    // helper without bytes and is refused there, as in-process.
    if (data != nullptr && sizeInBytes > 0 &&
        static_cast<std::uint64_t>(sizeInBytes) <= kMaxHelperMessageBytes) {
        const auto* bytes = static_cast<const std::uint8_t*>(data);
        request.data.assign(bytes, bytes + sizeInBytes);
    } else if (data != nullptr && sizeInBytes > 0 &&
               sizeInBytes <= std::numeric_limits<std::uint32_t>::max()) {
        return kHelperTooLarge;
    }
    HelperAnswer answer;
    return Call(request, &answer);
}

std::int32_t CRemoteHelper::Reg_QueryValue(platform::RegKey root, const std::u16string& keyPath,
                                           const std::u16string& valueName, std::uint32_t* type,
                                           std::vector<std::uint8_t>& data) {
    HelperRequest request = On(HelperOp::kRegQueryValue, root, keyPath);
    request.valueName = valueName;
    HelperAnswer answer;
    const std::int32_t status = Call(request, &answer);
    data = std::move(answer.data);
    if (type) *type = answer.number;
    return status;
}

std::int32_t CRemoteHelper::Reg_CreateKey(platform::RegKey root, const std::u16string& keyPath) {
    HelperAnswer answer;
    return Call(On(HelperOp::kRegCreateKey, root, keyPath), &answer);
}

std::int32_t CRemoteHelper::Reg_EnumValues(platform::RegKey root, const std::u16string& keyPath,
                                           std::vector<std::u16string>& names) {
    HelperAnswer answer;
    const std::int32_t status = Call(On(HelperOp::kRegEnumValues, root, keyPath), &answer);
    names = std::move(answer.texts);
    return status;
}

std::int32_t CRemoteHelper::Reg_EnumKeys(platform::RegKey root, const std::u16string& keyPath,
                                         std::vector<std::u16string>& names) {
    HelperAnswer answer;
    const std::int32_t status = Call(On(HelperOp::kRegEnumKeys, root, keyPath), &answer);
    names = std::move(answer.texts);
    return status;
}

std::int32_t CRemoteHelper::Reg_DeleteTree(platform::RegKey root, const std::u16string& keyPath) {
    HelperAnswer answer;
    return Call(On(HelperOp::kRegDeleteTree, root, keyPath), &answer);
}

std::int32_t CRemoteHelper::Reg_OpenTest(platform::RegKey root, const std::u16string& keyPath,
                                         std::uint32_t access) {
    HelperRequest request = On(HelperOp::kRegOpenTest, root, keyPath);
    request.access = access;
    HelperAnswer answer;
    return Call(request, &answer);
}

std::int32_t CRemoteHelper::Release() {
    HelperAnswer answer;
    Call(On(HelperOp::kRelease), &answer);
    delete this;
    return platform::kSOk;
}

bool CRemoteHelper::IsElevated() {
    HelperAnswer answer;
    return Call(On(HelperOp::kIsElevated), &answer) >= 0 && answer.number == 1;
}

std::int32_t CRemoteHelper::Proc_Create(platform::ShellExecuteInfo* info,
                                        std::uint32_t* processId) {
    if (info == nullptr || processId == nullptr) return platform::kEInvalidArg;
    *processId = 0;
    HelperRequest request = On(HelperOp::kProcCreate);
    request.verb = TextOf(info->lpVerb);
    request.file = TextOf(info->lpFile);
    request.parameters = TextOf(info->lpParameters);
    request.directory = TextOf(info->lpDirectory);
    request.size = info->cbSize;
    request.mask = info->fMask;
    request.show = info->nShow;
    HelperAnswer answer;
    const std::int32_t status = Call(request, &answer);
    if (status >= 0) *processId = answer.number;
    return status;
}

std::int32_t CRemoteHelper::Proc_Kill(std::uint32_t processId) {
    HelperRequest request = On(HelperOp::kProcKill);
    request.processId = processId;
    HelperAnswer answer;
    return Call(request, &answer);
}

std::int32_t CRemoteHelper::Proc_Enum(std::vector<std::uint32_t>& processIds) {
    HelperAnswer answer;
    const std::int32_t status = Call(On(HelperOp::kProcEnum), &answer);
    processIds = std::move(answer.ids);
    return status;
}

std::int32_t CRemoteHelper::Proc_EnumModules(std::uint32_t processId,
                                             std::vector<std::u16string>& modulePaths) {
    HelperRequest request = On(HelperOp::kProcEnumModules);
    request.processId = processId;
    HelperAnswer answer;
    const std::int32_t status = Call(request, &answer);
    modulePaths = std::move(answer.texts);
    return status;
}

std::int32_t CRemoteHelper::Proc_GetImagePath(std::uint32_t processId, std::u16string& path) {
    HelperRequest request = On(HelperOp::kProcGetImagePath);
    request.processId = processId;
    HelperAnswer answer;
    const std::int32_t status = Call(request, &answer);
    path = std::move(answer.text);
    return status;
}

std::int32_t CRemoteHelper::File_Delete(const std::u16string& path) {
    HelperRequest request = On(HelperOp::kFileDelete);
    request.path = path;
    HelperAnswer answer;
    return Call(request, &answer);
}

}  // namespace talelev
