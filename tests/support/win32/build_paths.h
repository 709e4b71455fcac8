// Folders of the build as the Windows test program sees them. The build passes Unix paths;
// Wine shows the Unix root as drive Z:.
#pragma once

#include <string>

namespace testpaths {

inline std::wstring FromUnix(const char* unixPath) {
    std::wstring out = L"Z:";
    for (const char* p = unixPath; *p; ++p) out += (*p == '/') ? L'\\' : static_cast<wchar_t>(*p);
    return out;
}

// build/windows/dist: vistrel.dll, Lang\l_vistrel.ini, vistrel-host.exe.
inline std::wstring DistDir() {
    return FromUnix(VISTREL_DIST_DIR);
}
inline std::wstring SourceDir() {
    return FromUnix(VISTREL_SOURCE_DIR);
}

}  // namespace testpaths
