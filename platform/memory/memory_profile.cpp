// The memory machine's profile calls: an INI file of the memory file system, answered as the
// system answers.
#include "platform/memory/memory_state.h"
#include "platform/memory/memory_text.h"
#include "platform/profile_section_answer.h"

namespace platform::memory::detail {

std::uint32_t MemoryFiles::ReadProfileSection(const char16_t* fileName, const char16_t* section,
                                              char16_t* buffer, std::uint32_t chars) {
    Lock lock(state_.mutex);
    if (buffer == nullptr || chars == 0) return 0;
    std::u16string path(fileName == nullptr ? u"win.ini" : WideView(fileName));
    if (path.find_first_of(u"\\/:") == std::u16string::npos) {
        auto windows = state_.shell.folders.find(kCsidlWindows);
        const bool known = windows != state_.shell.folders.end() && windows->second.pathFound;
        path = (known ? windows->second.path : std::u16string(u"C:\\WINDOWS")) + u"\\" + path;
    }
    std::string bytes;
    const bool read = section != nullptr && ReadAll(path.c_str(), &bytes) == kErrorSuccess;
    return AnswerProfileSection(read ? &bytes : nullptr, WideView(section), buffer, chars);
}

}  // namespace platform::memory::detail
