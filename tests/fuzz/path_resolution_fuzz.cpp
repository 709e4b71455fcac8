// Path resolution and the details pane of any stored text, on a machine with a few files, folders
// and variables for the text to reach; the walk with remembered answers finds what the walk that
// asks at every step finds.
#include <cstdlib>
#include <string>

#include "tests/fuzz/fuzz_support.h"
#include "tools/file_details.h"
#include "tools/path_resolution.h"

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
    // Remembered answers and skipped overlong names must not change what the walk finds.
    std::u16string out, stepByStep;
    if (ResolveCommandLine(text.c_str(), out) !=
            ResolveCommandLine(text.c_str(), stepByStep, false) ||
        out != stepByStep)
        std::abort();
    PathParts parts;
    SplitPath(text, parts);
    GetFileDetails(text.c_str(), 0, &fuzz::Ignore, nullptr, true);
    ResetPathResolutionTables();
    return 0;
}
