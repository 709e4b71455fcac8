// Shared pieces of the fuzz harnesses: a reader that carves typed fields out of the input, a
// fresh memory machine installed for the length of one input, and a source driven as the page
// drives it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>

#include "platform/memory/memory_machine.h"
#include "sources/plugin.h"
#include "tools/elevation_support.h"

namespace fuzz {

// Hands out the input front to back; once it is used up every field is empty or zero.
class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    std::uint8_t Byte() { return size_ ? (--size_, *data_++) : 0; }
    std::uint32_t Number() {
        std::uint32_t value = 0;
        for (int i = 0; i < 4; ++i) value = value << 8 | Byte();
        return value;
    }
    // Raw bytes: a length byte (times scale), then that many bytes or what is left.
    std::string Bytes(std::size_t scale = 1) {
        const std::size_t wanted = static_cast<std::size_t>(Byte()) * scale;
        const std::size_t n = wanted < size_ ? wanted : size_;
        std::string bytes(reinterpret_cast<const char*>(data_), n);
        data_ += n;
        size_ -= n;
        return bytes;
    }
    // Wide text of any content, NULs and unpaired surrogates included.
    std::u16string Text(std::size_t scale = 1) {
        const std::string bytes = Bytes(scale * 2);
        std::u16string text(bytes.size() / 2, u'\0');
        std::memcpy(text.data(), bytes.data(), text.size() * 2);
        return text;
    }
    std::string Rest() {
        std::string bytes(reinterpret_cast<const char*>(data_), size_);
        data_ += size_;
        size_ = 0;
        return bytes;
    }
    bool Empty() const { return size_ == 0; }

  private:
    const std::uint8_t* data_;
    std::size_t size_;
};

// A memory machine that is the module's machine while the object lives.
struct Machine {
    platform::memory::MemoryMachine machine;
    platform::memory::ScopedMachine scope{machine};
};

inline bool Ignore(std::int32_t, std::int32_t, const char16_t*, std::int32_t, void*) {
    return true;
}

// The details of every index from -1 to one past the last, as a page may ask them.
inline void AllDetails(CVistrelPlugin& source, std::int32_t count) {
    for (std::int32_t i = -1; i <= count; ++i) source.GetItemDetails(i, &Ignore, nullptr);
}

// A source through all the page does with it: delivery, every details, then each action on the
// index that at picks, writes through the helpers.
inline void Exercise(CVistrelPlugin& source, std::uint8_t at,
                     std::initializer_list<std::int32_t> actions) {
    CreateElevatedHelperSupport();
    const std::int32_t count =
        source.EnumerateItems([](std::int32_t, const char16_t* name, CVistrelPlugin*,
                                 CVistrelPlugin*, void*) { return name != nullptr; },
                              true, nullptr);
    AllDetails(source, count);
    resultFlags flags;
    for (std::int32_t action : actions) source.DoAction(action, at % (count + 2) - 1, &flags);
    DestroyElevatedHelperSupport();
}

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
