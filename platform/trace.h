// Trace concern: where the log's finished lines go.
#pragma once

#include <string_view>

namespace platform {

class TraceSink {
  public:
    virtual ~TraceSink() = default;

    // Appends one finished line (UTF-8, no line end) to the named log file. Called under the
    // logger's lock, so an implementation needs no lock of its own.
    virtual void WriteLine(std::u16string_view fileName, std::string_view line) = 0;
    // The calling thread's id as the log shows it.
    virtual unsigned long CurrentThreadId() = 0;
};

}  // namespace platform
