// The memory environment: variables with names matched without regard to case, and the
// expansion of %NAME% references as the system does it.
#include <algorithm>

#include "platform/memory/memory_state.h"
#include "platform/memory/memory_text.h"

namespace platform::memory::detail {

void MemoryEnvironment::Set(std::u16string_view name, std::u16string_view value) {
    auto& entry = variables_[Fold(name)];
    if (entry.first.empty()) entry.first = std::u16string(name);
    entry.second = std::u16string(value);
}

const std::u16string* MemoryEnvironment::Lookup(std::u16string_view name) const {
    auto it = variables_.find(Fold(name));
    return it == variables_.end() ? nullptr : &it->second.second;
}

std::uint32_t MemoryEnvironment::ExpandStrings(const char16_t* source, char16_t* dest,
                                               std::uint32_t destChars) {
    Lock lock(state_.mutex);
    if (source == nullptr) {
        state_.SetLastError(kErrorInvalidParameter);
        return 0;
    }
    const std::u16string_view text = WideView(source);
    std::u16string out;
    std::size_t at = 0;
    while (at < text.size()) {
        if (text[at] != u'%') {
            const std::size_t next = std::min(text.find(u'%', at), text.size());
            out.append(text.substr(at, next - at));
            at = next;
            continue;
        }
        const std::size_t close = text.find(u'%', at + 1);
        if (close == std::u16string_view::npos) {
            // An unfinished reference is copied as it stands.
            out.append(text.substr(at));
            break;
        }
        const std::u16string_view name = text.substr(at + 1, close - at - 1);
        const std::u16string* value = name.empty() ? nullptr : Lookup(name);
        if (value != nullptr)
            out.append(*value);
        else
            out.append(text.substr(at, close - at + 1));  // "%NAME%" stays, both signs with it
        at = close + 1;
    }
    const auto needed = static_cast<std::uint32_t>(out.size() + 1);
    if (needed > destChars)
        state_.SetLastError(static_cast<std::uint32_t>(kErrorInsufficientBuffer));
    if (dest != nullptr && destChars > 0) {
        const std::size_t copied = std::min<std::size_t>(out.size(), destChars - 1);
        std::copy_n(out.data(), copied, dest);
        dest[copied] = 0;
    }
    return needed;
}

bool MemoryEnvironment::SetVariable(const char16_t* name, const char16_t* value) {
    Lock lock(state_.mutex);
    const std::u16string_view n = WideView(name);
    if (n.empty() || n.find(u'=') != std::u16string_view::npos) {
        state_.SetLastError(kErrorInvalidParameter);
        return false;
    }
    if (value == nullptr) {
        // Removing a variable that isn't there succeeds too.
        variables_.erase(Fold(n));
        return true;
    }
    Set(n, WideView(value));
    return true;
}

bool MemoryEnvironment::GetVariable(const char16_t* name, std::u16string* value) {
    Lock lock(state_.mutex);
    const std::u16string* found = Lookup(WideView(name));
    if (found == nullptr) {
        state_.SetLastError(kErrorEnvVarNotFound);
        return false;
    }
    if (value != nullptr) *value = *found;
    return true;
}

}  // namespace platform::memory::detail

namespace platform::memory {

void MemoryMachine::SetEnv(std::u16string_view name, std::u16string_view value) {
    detail::Lock lock(state_->mutex);
    state_->environment.Set(name, value);
}

}  // namespace platform::memory
