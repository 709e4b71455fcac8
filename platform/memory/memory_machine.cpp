// The memory machine object: hands out its concerns and keeps each thread's last error.
#include "platform/memory/memory_machine.h"

#include "platform/memory/memory_state.h"

namespace platform::memory {
namespace detail {

MachineState::MachineState()
    : registry(*this),
      environment(*this),
      files(*this),
      shell(*this),
      version(*this),
      processes(*this),
      processEnumeration(*this),
      windows(*this),
      resources(*this),
      trace(*this) {}

void MachineState::SetLastError(std::uint32_t code) {
    Lock lock(mutex);
    lastErrors[std::this_thread::get_id()] = code;
}

std::uint32_t MachineState::LastError() {
    Lock lock(mutex);
    auto it = lastErrors.find(std::this_thread::get_id());
    return it == lastErrors.end() ? 0 : it->second;
}

}  // namespace detail

MemoryMachine::MemoryMachine() : state_(std::make_unique<State>()) {}
MemoryMachine::~MemoryMachine() = default;

Registry& MemoryMachine::registry() {
    return state_->registry;
}
Environment& MemoryMachine::environment() {
    return state_->environment;
}
Files& MemoryMachine::files() {
    return state_->files;
}
Shell& MemoryMachine::shell() {
    return state_->shell;
}
VersionInfo& MemoryMachine::version() {
    return state_->version;
}
Processes& MemoryMachine::processes() {
    return state_->processes;
}
ProcessEnumeration& MemoryMachine::processEnumeration() {
    return state_->processEnumeration;
}
Windows& MemoryMachine::windows() {
    return state_->windows;
}
Resources& MemoryMachine::resources() {
    return state_->resources;
}
TraceSink& MemoryMachine::trace() {
    return state_->trace;
}
std::uint32_t MemoryMachine::LastError() {
    return state_->LastError();
}

}  // namespace platform::memory
