// The trace sink: finished lines appended to the log file.
#include <string>

#include "platform/trace.h"
#include "platform/win32/win32_concerns.h"
#include "platform/win32/win32_handles.h"
#include "platform/win32/windows_api.h"

namespace platform::win32 {
namespace {

class Win32Trace final : public TraceSink {
  public:
    void WriteLine(std::u16string_view fileName, std::string_view line) override {
        std::u16string name(fileName);
        // Opened per line so that the log can be read, moved or deleted while the module runs.
        UniqueFile file(::CreateFileW(Wide(name.c_str()), FILE_APPEND_DATA,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!file) return;
        std::string text(line);
        text += "\r\n";
        DWORD written = 0;
        ::WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    }

    unsigned long CurrentThreadId() override { return ::GetCurrentThreadId(); }
};

}  // namespace

TraceSink& TraceBackend() {
    static Win32Trace instance;
    return instance;
}

}  // namespace platform::win32
