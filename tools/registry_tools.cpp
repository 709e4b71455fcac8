#include "tools/registry_tools.h"

#include <string>

#include "frame/module_objects.h"
#include "libs/talutils/text_utils.h"
#include "platform/machine.h"
#include "platform/unique_handle.h"
#include "tools/registry_values.h"
#include "tools/value_lists.h"

namespace {

// Zero at load. The data buffer is offered only kRegToolDataBytes bytes, so its second half
// stays zero and every string read into it ends within the array.
char16_t s_subKeyName[kRegToolBufferChars];
char16_t s_valueName[kRegToolBufferChars];
char16_t s_valueData[kRegToolBufferChars];
char16_t s_tokenString[kRegToolBufferChars];

constexpr std::uint32_t kLast = kRegToolBufferChars - 1;

// Ends string data right after the bytes read as well, so that a value stored without its
// terminator doesn't run into what a longer value left in the buffer. An odd last byte is cut.
void TerminateAfter(char16_t* buffer, std::uint32_t dataBytes, std::uint32_t nulCount) {
    std::uint32_t at = dataBytes / 2;
    for (std::uint32_t i = 0; i < nulCount && at + i < kRegToolBufferChars; ++i)
        buffer[at + i] = u'\0';
}

unsigned AsHex(std::int32_t status) {
    return static_cast<unsigned>(status);
}

}  // namespace

char16_t* RegTokenStringBuffer() {
    return s_tokenString;
}

bool EnumRegValues(platform::RegKey key, RegValueCallback callback, void* context) {
    if (callback == nullptr) return true;
    platform::Registry& registry = platform::machine().registry();
    for (std::uint32_t index = 0;; ++index) {
        std::uint32_t nameChars = kRegToolBufferChars;
        std::uint32_t dataBytes = kRegToolDataBytes;
        std::uint32_t type = platform::kRegNone;
        platform::Status status =
            registry.EnumValue(key, index, s_valueName, &nameChars, &type, s_valueData, &dataBytes);
        if (status != platform::kErrorSuccess) return true;
        if (nameChars > kLast) nameChars = kLast;
        if (type == platform::kRegSz || type == platform::kRegExpandSz) {
            s_valueData[kLast] = u'\0';
            TerminateAfter(s_valueData, dataBytes, 1);
        } else if (type == platform::kRegMultiSz) {
            s_valueData[kLast - 1] = u'\0';
            s_valueData[kLast] = u'\0';
            TerminateAfter(s_valueData, dataBytes, 2);
        }
        if (!callback(std::u16string_view(s_valueName, nameChars), s_valueData, dataBytes, type,
                      context))
            return false;
    }
}

bool EnumRegKeys(platform::RegKey root, const char16_t* parentPath, platform::RegKey key,
                 RegKeyCallback callback, void* context) {
    if (callback == nullptr) return true;
    platform::Registry& registry = platform::machine().registry();
    const std::u16string_view parent = talutils::View(parentPath);
    for (std::uint32_t index = 0;; ++index) {
        std::uint32_t nameChars = kRegToolBufferChars;
        platform::Status status = registry.EnumKey(key, index, s_subKeyName, &nameChars);
        if (status != platform::kErrorSuccess) return true;
        if (nameChars > kRegToolBufferChars) nameChars = kRegToolBufferChars;
        std::u16string path;
        path.reserve(parent.size() + 1 + nameChars);
        path.append(parent);
        path.push_back(u'\\');
        path.append(s_subKeyName, nameChars);
        if (!callback(root, path, context)) return false;
    }
}

std::int32_t ForEachValueToken(platform::RegKey root, const char16_t* subKey,
                               const char16_t* valueName, const char16_t* delimiters,
                               RegTokenCallback callback, void* context) {
    if (delimiters == nullptr || callback == nullptr) return -1;
    platform::Registry& registry = platform::machine().registry();
    std::uint32_t dataBytes = kRegToolDataBytes;
    {
        platform::UniqueRegKey key;
        if (registry.OpenKey(root, subKey, platform::kKeyQueryValue, key.put()) !=
            platform::kErrorSuccess)
            return -1;
        if (registry.QueryValue(key.get(), valueName, nullptr, s_tokenString, &dataBytes) !=
            platform::kErrorSuccess)
            return -1;
    }
    TerminateAfter(s_tokenString, dataBytes, 1);

    std::int32_t count = 0;
    for (const ValueListToken& token : SplitValueList(s_tokenString, dataBytes, delimiters)) {
        ++count;
        if (!callback(token.text.c_str(), context)) break;
    }
    return count;
}

bool DeleteRegKey(IElevatedHelper* helper, platform::RegKey root, const char16_t* keyPath) {
    if (keyPath == nullptr) return false;
    return DeleteRegKey(helper, root, talutils::View(keyPath));
}

bool DeleteRegKey(IElevatedHelper* helper, platform::RegKey root, std::u16string_view keyPath) {
    if (helper == nullptr) return false;
    const std::u16string key(keyPath);
    std::int32_t result = helper->Reg_DeleteKey(root, key);
    if (result >= 0) return true;
    g_trace.Trace(u"Vistrel:DeleteRegKey: Can't delete registry key %s from root %p. hr=%#X",
                  VisibleRegName(key).c_str(), static_cast<void*>(root), AsHex(result));
    return false;
}

bool DeleteRegValue(IElevatedHelper* helper, platform::RegKey root, const char16_t* keyPath,
                    const char16_t* valueName) {
    if (valueName == nullptr) return false;
    return DeleteRegValue(helper, root, keyPath, talutils::View(valueName));
}

bool DeleteRegValue(IElevatedHelper* helper, platform::RegKey root, const char16_t* keyPath,
                    std::u16string_view valueName) {
    if (helper == nullptr || keyPath == nullptr) return false;
    const std::u16string key(keyPath);
    const std::u16string value(valueName);
    std::int32_t result = helper->Reg_DeleteValue(root, key, value);
    if (result >= 0) return true;
    g_trace.Trace(
        u"Vistrel:DeleteRegValue: Can't delete registry value %s from key %s from root %p. "
        u"hr=%#X",
        VisibleRegName(value).c_str(), key.c_str(), static_cast<void*>(root), AsHex(result));
    return false;
}

bool SetRegValue(IElevatedHelper* helper, platform::RegKey root, const char16_t* keyPath,
                 const char16_t* valueName, const void* data, std::uint32_t type,
                 std::int32_t sizeInBytes, std::uint8_t flag) {
    if (helper == nullptr || keyPath == nullptr) return false;
    const std::u16string key(keyPath);
    const std::u16string value(valueName ? valueName : u"");
    std::int32_t result = helper->Reg_SetValue(root, key, value, data,
                                               static_cast<std::int64_t>(sizeInBytes), type, flag);
    if (result >= 0) return true;
    g_trace.Trace(
        u"Vistrel:DeleteRegValue: Can't SET registry value %s from key %s from root %p. hr=%#X",
        value.c_str(), key.c_str(), static_cast<void*>(root), AsHex(result));
    return false;
}
