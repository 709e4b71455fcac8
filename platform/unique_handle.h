// One move-only owner for every handle kind; a small traits struct says what is invalid and how
// a handle is released. The handle is released on every way out of the owner's scope.
#pragma once

#include <utility>

#include "platform/machine.h"

namespace platform {

template <class Traits>
class UniqueHandle {
  public:
    using Handle = typename Traits::Handle;

    UniqueHandle() = default;
    explicit UniqueHandle(Handle h) : handle_(h) {}
    ~UniqueHandle() { reset(); }
    UniqueHandle(const UniqueHandle&) = delete;
    UniqueHandle& operator=(const UniqueHandle&) = delete;
    UniqueHandle(UniqueHandle&& other) noexcept : handle_(other.release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other) reset(other.release());
        return *this;
    }

    Handle get() const { return handle_; }
    explicit operator bool() const { return handle_ != Traits::Invalid(); }
    // For out-parameters: releases what is held and hands out the slot.
    Handle* put() {
        reset();
        return &handle_;
    }
    Handle release() { return std::exchange(handle_, Traits::Invalid()); }
    void reset(Handle h = Traits::Invalid()) {
        Handle old = std::exchange(handle_, h);
        if (old != Traits::Invalid()) Traits::Close(old);
    }

  private:
    Handle handle_ = Traits::Invalid();
};

struct RegKeyTraits {
    using Handle = RegKey;
    static Handle Invalid() { return nullptr; }
    static void Close(Handle h) { machine().registry().CloseKey(h); }
};
using UniqueRegKey = UniqueHandle<RegKeyTraits>;

struct FindHandleTraits {
    using Handle = FindHandle;
    static Handle Invalid() { return nullptr; }
    static void Close(Handle h) { machine().files().FindClose(h); }
};
using UniqueFind = UniqueHandle<FindHandleTraits>;

}  // namespace platform
