#include "tools/shortcut.h"

#include "frame/module_objects.h"
#include "libs/talutils/text_utils.h"
#include "platform/machine.h"

namespace {

constexpr std::size_t kLinkPathChars = 259;

}  // namespace

bool ResolveLink(const char16_t* linkPath, std::u16string& out) {
    if (linkPath == nullptr) return false;
    platform::Processes& system = platform::machine().processes();
    const std::uint32_t start = system.TickCount();
    platform::Shell& shell = platform::machine().shell();
    // COM stays initialised on this thread for the thread's life: nothing here uninitialises it.
    if (shell.ComInitialize() < 0) return false;

    std::u16string path(talutils::View(linkPath).substr(0, kLinkPathChars));
    std::u16string target;
    platform::LinkStep failedAt = shell.ReadLink(path.c_str(), &target);
    // A run that ends at reading the path or the description leaves no timing line.
    if (failedAt == platform::LinkStep::kGetPath || failedAt == platform::LinkStep::kGetDescription)
        return false;
    if (system.TickCount() != start) {
        g_trace.Trace(u"[vistrel] [cnt] ResolveLink_: %u ms",
                      static_cast<unsigned>(system.TickCount() - start));
    }
    if (failedAt != platform::LinkStep::kNone) return false;
    out = std::move(target);
    return true;
}
