#include "console/view_factory.h"

#include <atomic>

namespace console {
namespace {
std::atomic<ViewFactory> g_viewFactory{nullptr};
}

ViewFactory SetViewFactory(ViewFactory factory) {
    return g_viewFactory.exchange(factory);
}
ViewFactory GetViewFactory() {
    return g_viewFactory.load();
}

}  // namespace console
