// The module-wide pointer to the machine in use.
#include "platform/machine.h"

#include <atomic>
#include <cstdlib>

namespace platform {
namespace {
std::atomic<Machine*> g_machine{nullptr};
}

Machine& machine() {
    Machine* m = g_machine.load(std::memory_order_acquire);
    if (m == nullptr) std::abort();
    return *m;
}

Machine* SetMachine(Machine* m) {
    return g_machine.exchange(m, std::memory_order_acq_rel);
}

}  // namespace platform
