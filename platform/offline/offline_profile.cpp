// The offline machine's profile calls: an INI file of the image, answered as the system answers.
#include "platform/offline/offline_files.h"
#include "platform/offline/offline_text.h"
#include "platform/profile_section_answer.h"

namespace platform::offline {

std::uint32_t OfflineFiles::ReadProfileSection(const char16_t* fileName, const char16_t* section,
                                               char16_t* buffer, std::uint32_t chars) {
    if (buffer == nullptr || chars == 0) return 0;
    std::u16string path(fileName == nullptr ? u"win.ini" : WideView(fileName));
    // A bare name lives in the Windows folder of the image.
    if (path.find_first_of(u"\\/:") == std::u16string::npos) path = u"C:\\Windows\\" + path;
    std::string bytes;
    const bool read = section != nullptr && ReadAll(path.c_str(), &bytes) == kErrorSuccess;
    return AnswerProfileSection(read ? &bytes : nullptr, WideView(section), buffer, chars);
}

}  // namespace platform::offline
