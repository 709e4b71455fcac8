#include "tools/shortcut.h"

#include <chrono>

#include "frame/module_objects.h"
#include "libs/talutils/text_utils.h"
#include "platform/machine.h"

namespace {

constexpr std::size_t kLinkPathChars = 259;

std::uint32_t SteadyTicks() {
    auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint32_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

LinkTickSource s_tickSource = &SteadyTicks;

}  // namespace

LinkTickSource SetLinkTickSource(LinkTickSource source) {
    LinkTickSource previous = s_tickSource;
    s_tickSource = source ? source : &SteadyTicks;
    return previous;
}

bool ResolveLink(const char16_t* linkPath, std::u16string& out) {
    if (linkPath == nullptr) return false;
    const std::uint32_t start = s_tickSource();
    platform::Shell& shell = platform::machine().shell();
    // COM stays initialised on this thread for the thread's life: nothing here uninitialises it.
    if (shell.ComInitialize() < 0) return false;

    std::u16string path(talutils::View(linkPath).substr(0, kLinkPathChars));
    std::u16string target;
    platform::LinkStep failedAt = shell.ReadLink(path.c_str(), &target);
    // A run that ends at reading the path or the description leaves no timing line.
    if (failedAt == platform::LinkStep::kGetPath || failedAt == platform::LinkStep::kGetDescription)
        return false;
    if (s_tickSource() != start) {
        g_trace.Trace(u"[vistrel] [cnt] ResolveLink_: %u ms",
                      static_cast<unsigned>(s_tickSource() - start));
    }
    if (failedAt != platform::LinkStep::kNone) return false;
    out = std::move(target);
    return true;
}
