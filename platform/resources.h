// Resources concern: string resources of the process's module chain.
#pragma once

#include <cstdint>
#include <string>

namespace platform {

class Resources {
  public:
    virtual ~Resources() = default;

    // LoadStringW through the chain of resource modules of the process. Returns the length
    // found (0 when there is no such string) and replaces *text with it.
    virtual int LoadText(std::uint32_t id, std::u16string* text) = 0;
};

}  // namespace platform
