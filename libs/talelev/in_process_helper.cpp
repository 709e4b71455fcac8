#include "libs/talelev/in_process_helper.h"

#include <limits>

#include "platform/machine.h"
#include "platform/unique_handle.h"

namespace talelev {

namespace {

using platform::HResultFromWin32;

platform::Registry& Reg() {
    return platform::machine().registry();
}

// Value names may have 16383 characters, key names 255.
constexpr std::uint32_t kNameChars = 16384;

// The registry's key calls end a path at its first NUL, so a path with one would reach another
// key than the one named: it is refused.
bool HasNul(const std::u16string& text) {
    return text.find(u'\0') != std::u16string::npos;
}

std::int32_t OpenKey(platform::RegKey root, const std::u16string& keyPath, std::uint32_t access,
                     platform::UniqueRegKey& key) {
    if (HasNul(keyPath)) return platform::kEInvalidArg;
    return HResultFromWin32(Reg().OpenKey(root, keyPath.c_str(), access, key.put()));
}

// Collects names until the registry reports the end; any other error is the result.
template <class EnumFunction>
std::int32_t CollectNames(EnumFunction enumerate, std::vector<std::u16string>& names) {
    std::u16string buffer(kNameChars, u'\0');
    for (std::uint32_t index = 0;; ++index) {
        std::uint32_t chars = kNameChars;
        platform::Status status = enumerate(index, buffer.data(), &chars);
        if (status == platform::kErrorNoMoreItems) return platform::kSOk;
        if (status != platform::kErrorSuccess) {
            names.clear();
            return HResultFromWin32(status);
        }
        names.emplace_back(buffer.data(), chars < kNameChars ? chars : kNameChars);
    }
}

}  // namespace

std::int32_t CInProcessHelper::Reg_DeleteKey(platform::RegKey root, const std::u16string& keyPath) {
    if (keyPath.empty() || HasNul(keyPath)) return platform::kEInvalidArg;
    return HResultFromWin32(Reg().DeleteTree(root, keyPath.c_str()));
}

std::int32_t CInProcessHelper::Reg_DeleteValue(platform::RegKey root, const std::u16string& keyPath,
                                               const std::u16string& valueName) {
    platform::UniqueRegKey key;
    std::int32_t result = OpenKey(root, keyPath, platform::kKeySetValue, key);
    if (result < 0) return result;
    return HResultFromWin32(Reg().DeleteCountedValue(key.get(), valueName));
}

std::int32_t CInProcessHelper::Reg_SetValue(platform::RegKey root, const std::u16string& keyPath,
                                            const std::u16string& valueName, const void* data,
                                            std::int64_t sizeInBytes, std::uint32_t type,
                                            std::uint8_t flag) {
    if (sizeInBytes < 0 || sizeInBytes > std::numeric_limits<std::uint32_t>::max())
        return platform::kEInvalidArg;
    if (data == nullptr && sizeInBytes != 0) return platform::kEInvalidArg;
    if (HasNul(keyPath)) return platform::kEInvalidArg;
    platform::UniqueRegKey key;
    platform::Status status =
        flag == 1 ? Reg().CreateKey(root, keyPath.c_str(), platform::kKeySetValue, key.put())
                  : Reg().OpenKey(root, keyPath.c_str(), platform::kKeySetValue, key.put());
    if (status != platform::kErrorSuccess) return HResultFromWin32(status);
    return HResultFromWin32(Reg().SetCountedValue(key.get(), valueName, type, data,
                                                  static_cast<std::uint32_t>(sizeInBytes)));
}

std::int32_t CInProcessHelper::Reg_QueryValue(platform::RegKey root, const std::u16string& keyPath,
                                              const std::u16string& valueName, std::uint32_t* type,
                                              std::vector<std::uint8_t>& data) {
    data.clear();
    if (type) *type = platform::kRegNone;
    // Reading has no counted-name call: a name with a NUL would read another value.
    if (HasNul(valueName)) return platform::kEInvalidArg;
    platform::UniqueRegKey key;
    std::int32_t result = OpenKey(root, keyPath, platform::kKeyQueryValue, key);
    if (result < 0) return result;
    // The value may grow between the size query and the read: ask again while it does.
    for (int attempt = 0; attempt < 8; ++attempt) {
        std::uint32_t bytes = 0;
        platform::Status status =
            Reg().QueryValue(key.get(), valueName.c_str(), nullptr, nullptr, &bytes);
        if (status != platform::kErrorSuccess) return HResultFromWin32(status);
        data.assign(bytes, 0);
        std::uint32_t valueType = platform::kRegNone;
        status = Reg().QueryValue(key.get(), valueName.c_str(), &valueType,
                                  data.empty() ? nullptr : data.data(), &bytes);
        if (status == platform::kErrorMoreData) continue;
        if (status != platform::kErrorSuccess) {
            data.clear();
            return HResultFromWin32(status);
        }
        data.resize(bytes);
        if (type) *type = valueType;
        return platform::kSOk;
    }
    data.clear();
    return HResultFromWin32(platform::kErrorMoreData);
}

std::int32_t CInProcessHelper::Reg_CreateKey(platform::RegKey root, const std::u16string& keyPath) {
    if (HasNul(keyPath)) return platform::kEInvalidArg;
    platform::UniqueRegKey key;
    return HResultFromWin32(
        Reg().CreateKey(root, keyPath.c_str(), platform::kKeyQueryValue, key.put()));
}

std::int32_t CInProcessHelper::Reg_EnumValues(platform::RegKey root, const std::u16string& keyPath,
                                              std::vector<std::u16string>& names) {
    names.clear();
    platform::UniqueRegKey key;
    std::int32_t result = OpenKey(root, keyPath, platform::kKeyQueryValue, key);
    if (result < 0) return result;
    return CollectNames(
        [&key](std::uint32_t index, char16_t* name, std::uint32_t* chars) {
            return Reg().EnumValue(key.get(), index, name, chars, nullptr, nullptr, nullptr);
        },
        names);
}

std::int32_t CInProcessHelper::Reg_EnumKeys(platform::RegKey root, const std::u16string& keyPath,
                                            std::vector<std::u16string>& names) {
    names.clear();
    platform::UniqueRegKey key;
    std::int32_t result = OpenKey(root, keyPath, platform::kKeyEnumerateSubKeys, key);
    if (result < 0) return result;
    return CollectNames(
        [&key](std::uint32_t index, char16_t* name, std::uint32_t* chars) {
            return Reg().EnumKey(key.get(), index, name, chars);
        },
        names);
}

std::int32_t CInProcessHelper::Reg_DeleteTree(platform::RegKey root,
                                              const std::u16string& keyPath) {
    // Names are collected before anything is deleted, since deleting renumbers the lists.
    std::vector<std::u16string> subKeys;
    std::int32_t result = Reg_EnumKeys(root, keyPath, subKeys);
    if (result < 0) return result;
    for (const std::u16string& subKey : subKeys)
        if (HasNul(subKey)) return platform::kEInvalidArg;
    std::vector<std::u16string> values;
    result = Reg_EnumValues(root, keyPath, values);
    if (result < 0) return result;

    platform::UniqueRegKey key;
    result = OpenKey(root, keyPath, platform::kKeyAllAccess, key);
    if (result < 0) return result;
    for (const std::u16string& subKey : subKeys) {
        platform::Status status = Reg().DeleteTree(key.get(), subKey.c_str());
        if (status != platform::kErrorSuccess) return HResultFromWin32(status);
    }
    for (const std::u16string& value : values) {
        platform::Status status = Reg().DeleteCountedValue(key.get(), value);
        if (status != platform::kErrorSuccess) return HResultFromWin32(status);
    }
    return platform::kSOk;
}

std::int32_t CInProcessHelper::Reg_OpenTest(platform::RegKey root, const std::u16string& keyPath,
                                            std::uint32_t access) {
    platform::UniqueRegKey key;
    return OpenKey(root, keyPath, access, key);
}

std::int32_t CInProcessHelper::Release() {
    delete this;
    return platform::kSOk;
}

bool CInProcessHelper::IsElevated() {
    bool elevated = false;
    int elevationType = 0;
    if (!platform::machine().processes().GetTokenElevation(&elevated, &elevationType)) return false;
    return elevated;
}

std::int32_t CInProcessHelper::Proc_Create(platform::ShellExecuteInfo* info,
                                           std::uint32_t* processId) {
    if (info == nullptr || processId == nullptr) return platform::kEInvalidArg;
    *processId = 0;
    std::uint32_t started = 0;
    platform::Status status = platform::machine().processes().Start(*info, &started);
    if (status != platform::kErrorSuccess) return HResultFromWin32(status);
    *processId = started;
    return platform::kSOk;
}

std::int32_t CInProcessHelper::Proc_Kill(std::uint32_t processId) {
    return HResultFromWin32(platform::machine().processes().Terminate(processId));
}

std::int32_t CInProcessHelper::Proc_Enum(std::vector<std::uint32_t>& processIds) {
    return HResultFromWin32(platform::machine().processEnumeration().ProcessIds(&processIds));
}

std::int32_t CInProcessHelper::Proc_EnumModules(std::uint32_t processId,
                                                std::vector<std::u16string>& modulePaths) {
    return HResultFromWin32(
        platform::machine().processEnumeration().ProcessModulePaths(processId, &modulePaths));
}

std::int32_t CInProcessHelper::Proc_GetImagePath(std::uint32_t processId, std::u16string& path) {
    return HResultFromWin32(
        platform::machine().processEnumeration().ProcessImagePath(processId, &path));
}

std::int32_t CInProcessHelper::File_Delete(const std::u16string& path) {
    return HResultFromWin32(platform::machine().files().RemoveFile(path.c_str()));
}

}  // namespace talelev
