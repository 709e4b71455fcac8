// The memory trace sink: keeps every finished line with the log file it was meant for.
#include "platform/memory/memory_state.h"

namespace platform::memory::detail {

void MemoryTrace::WriteLine(std::u16string_view fileName, std::string_view line) {
    Lock lock(state_.mutex);
    lines.emplace_back(std::u16string(fileName), std::string(line));
}

unsigned long MemoryTrace::CurrentThreadId() {
    Lock lock(state_.mutex);
    // Small stable numbers, in the order threads first ask; the system's ids are multiples of 4.
    auto [it, added] = threadIds_.try_emplace(std::this_thread::get_id(), 0);
    if (added) it->second = 4 * static_cast<unsigned long>(threadIds_.size()) + 0x100;
    return it->second;
}

}  // namespace platform::memory::detail

namespace platform::memory {

std::vector<std::string> MemoryMachine::TraceLines() const {
    detail::Lock lock(state_->mutex);
    std::vector<std::string> out;
    for (const auto& [file, line] : state_->trace.lines) out.push_back(line);
    return out;
}

std::vector<std::string> MemoryMachine::TraceMessages() const {
    std::vector<std::string> out = TraceLines();
    // The logger puts "time [thread] " before each message.
    for (std::string& line : out) {
        const std::size_t end = line.find("] ");
        if (end != std::string::npos) line.erase(0, end + 2);
    }
    return out;
}

void MemoryMachine::ClearTrace() {
    detail::Lock lock(state_->mutex);
    state_->trace.lines.clear();
}

}  // namespace platform::memory
