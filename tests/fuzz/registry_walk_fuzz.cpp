// The registry walkers and single-value reads over values and keys of any type, size, name and
// content, embedded NULs and missing terminators included.
#include <string>

#include "platform/unique_handle.h"
#include "tests/fuzz/fuzz_support.h"
#include "tools/registry_tools.h"
#include "tools/registry_values.h"

namespace {

constexpr char16_t kKey[] = u"Software\\Fuzz";

bool TouchValue(std::u16string_view name, const void* data, std::uint32_t bytes, std::uint32_t type,
                void*) {
    const auto* chars = static_cast<const char16_t*>(data);
    std::size_t total = name.size();
    // The walker promises terminators for the string types within what it hands out.
    if (type == platform::kRegSz || type == platform::kRegExpandSz || type == platform::kRegMultiSz)
        for (std::size_t i = 0; chars[i] != u'\0'; ++i) ++total;
    for (std::uint32_t i = 0; i < bytes; ++i) total += static_cast<const std::uint8_t*>(data)[i];
    return total != 0xFFFFFFFFu;
}

bool TouchKey(platform::RegKey, std::u16string_view path, void*) {
    return !path.empty();
}

bool TouchToken(const char16_t* token, void*) {
    return token[0] != u'\0';
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    fuzz::Machine m;
    std::u16string lastName;
    while (!input.Empty()) {
        const std::uint8_t kind = input.Byte();
        lastName = input.Text();
        if (kind & 1)
            m.machine.AddKey(platform::kHkeyCurrentUser, std::u16string(kKey) + u"\\" + lastName);
        else
            m.machine.SetRaw(platform::kHkeyCurrentUser, kKey, lastName, input.Byte() % 12,
                             input.Bytes(kind >= 0x80 ? 24 : 1));
    }
    platform::UniqueRegKey key;
    if (m.machine.registry().OpenKey(platform::kHkeyCurrentUser, kKey, platform::kKeyRead,
                                     key.put()) != platform::kErrorSuccess)
        return 0;
    EnumRegValues(key.get(), &TouchValue, nullptr);
    EnumRegKeys(platform::kHkeyCurrentUser, kKey, key.get(), &TouchKey, nullptr);
    if (IsPlainRegName(lastName)) {
        std::u16string text;
        std::uint32_t number = 0;
        ReadRegText(key.get(), lastName.c_str(), &text);
        ReadRegDword(key.get(), lastName.c_str(), &number);
        ForEachValueToken(platform::kHkeyCurrentUser, kKey, lastName.c_str(), u" ,", &TouchToken,
                          nullptr);
    }
    return 0;
}
