// Known DLLs: the libraries Windows maps from the system folder whatever folder a program runs
// from, and the folder itself.
#include "collectors/autostart/known_dlls.h"

#include <string>

#include "libs/talutils/text_utils.h"
#include "tools/file_details.h"
#include "tools/path_resolution.h"

CVistrelKnownDLLs::CVistrelKnownDLLs()
    : CVistrelRunItemsBase(platform::kHkeyLocalMachine,
                           u"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\KnownDLLs",
                           true) {}

std::int32_t CVistrelKnownDLLs::ItemDetails(std::size_t index, LineCallback lineCallback,
                                            void* context) {
    const si_value_info& item = items[index];
    const auto at = static_cast<std::int32_t>(index);
    if (!talutils::EqualsNoCase(item.name, u"DllDirectory"))
        return GetFileDetails(item.data.c_str(), at, lineCallback, context, false);
    // Whether or not a folder was found, the line shows what the resolution arrived at.
    std::u16string folder;
    ResolveCommandLine(item.data.c_str(), folder);
    if (lineCallback != nullptr) lineCallback(at, kDetailsTextPath, folder.c_str(), 0, context);
    return 1;
}
