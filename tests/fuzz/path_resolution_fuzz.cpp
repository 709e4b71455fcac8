// Path resolution and the details pane of any stored text, on a machine with a few files, folders
// and variables for the text to reach.
#include <string>

#include "tests/fuzz/fuzz_support.h"
#include "tools/file_details.h"
#include "tools/path_resolution.h"

namespace {
bool Ignore(std::int32_t, std::int32_t, const char16_t*, std::int32_t, void*) {
    return true;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    fuzz::Machine m;
    m.machine.SetEnv(u"SystemRoot", u"C:\\WINDOWS");
    m.machine.SetEnv(u"PATH", u"C:\\WINDOWS\\system32;C:\\Tools");
    m.machine.SetSpecialFolder(platform::kCsidlWindows, u"C:\\WINDOWS");
    m.machine.SetSpecialFolder(platform::kCsidlSystem, u"C:\\WINDOWS\\system32");
    m.machine.AddFile(u"C:\\WINDOWS\\system32\\svchost.exe", "MZ");
    m.machine.AddFile(u"C:\\Program Files\\My App\\app.exe", "MZ");
    m.machine.AddFile(u"C:\\Tools\\run.bat");
    m.machine.AddLink(u"C:\\Tools\\go.lnk", u"%SystemRoot%\\system32\\svchost.exe");
    ResetPathResolutionTables();
    const std::u16string text = input.Text(16);
    std::u16string out;
    ResolveCommandLine(text.c_str(), out);
    PathParts parts;
    SplitPath(text, parts);
    GetFileDetails(text.c_str(), 0, &Ignore, nullptr, true);
    ResetPathResolutionTables();
    return 0;
}
