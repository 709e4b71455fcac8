#include "collectors/files/file_collector.h"

#include "frame/module_objects.h"
#include "platform/machine.h"

std::u16string LookUpSpecialFolder(int csidl) {
    const platform::SpecialFolder folder = platform::machine().shell().GetSpecialFolder(csidl);
    if (folder.locationResult < 0) {
        g_trace.Trace(u"[vistrel] [error] SHGetSpecialFolderLocation_: %#X",
                      static_cast<unsigned>(folder.locationResult));
        return {};
    }
    if (!folder.pathFound) {
        g_trace.Trace(u"[vistrel] [error] SHGetPathFromIDList_ failed");
        return {};
    }
    return folder.path;
}

void OpenWithShell(const char16_t* file, const char16_t* parameters, int show) {
    platform::ShellExecuteInfo info{};
    info.cbSize = sizeof(platform::ShellExecuteInfo);
    info.lpVerb = u"open";
    info.lpFile = file;
    info.lpParameters = parameters;
    info.nShow = show;
    std::uint32_t processId = 0;
    platform::machine().processes().Start(info, &processId);
}
