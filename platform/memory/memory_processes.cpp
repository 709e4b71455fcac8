// The memory processes: what was started and ended, the system version and the token's
// elevation.
#include "platform/memory/memory_state.h"
#include "platform/memory/memory_text.h"

namespace platform::memory::detail {

Status MemoryProcesses::Start(const ShellExecuteInfo& info, std::uint32_t* processId) {
    Lock lock(state_.mutex);
    if (processId != nullptr) *processId = 0;
    // An injected failure comes first, whatever the call asks.
    if (failStart != kErrorSuccess) {
        state_.SetLastError(static_cast<std::uint32_t>(failStart));
        return failStart;
    }
    if (info.cbSize != sizeof(ShellExecuteInfo) || info.lpFile == nullptr) {
        state_.SetLastError(static_cast<std::uint32_t>(kErrorInvalidParameter));
        return kErrorInvalidParameter;
    }
    StartedProcess record;
    record.file = std::u16string(WideView(info.lpFile));
    record.parameters = std::u16string(WideView(info.lpParameters));
    record.mask = info.fMask;
    record.show = info.nShow;
    // Every start runs a process; only with NOCLOSEPROCESS does the caller get to know its id.
    while (running.count(nextProcessId) != 0) nextProcessId += 4;
    const std::uint32_t id = nextProcessId;
    nextProcessId += 4;
    MemoryProcess process;
    process.imagePath = record.file;
    process.exeName = record.file.substr(record.file.find_last_of(u'\\') + 1);
    process.modules.push_back(record.file);
    running[id] = std::move(process);
    record.processId = id;
    started.push_back(record);
    if (processId != nullptr && (info.fMask & kSeeMaskNoCloseProcess)) *processId = id;
    return kErrorSuccess;
}

Status MemoryProcesses::Terminate(std::uint32_t processId) {
    Lock lock(state_.mutex);
    Status status = kErrorSuccess;
    auto fail = failTerminate.find(processId);
    if (fail != failTerminate.end())
        status = fail->second;
    else if (running.count(processId) == 0)
        status = kErrorInvalidParameter;  // what OpenProcess says for an id nobody has
    if (status != kErrorSuccess) {
        state_.SetLastError(static_cast<std::uint32_t>(status));
        return status;
    }
    running.erase(processId);
    terminated.push_back(processId);
    return kErrorSuccess;
}

bool MemoryProcesses::IsRunning(std::uint32_t processId) {
    Lock lock(state_.mutex);
    return running.count(processId) != 0;
}

bool MemoryProcesses::GetOsVersion(std::uint32_t* major, std::uint32_t* minor) {
    Lock lock(state_.mutex);
    if (!osVersionReadable) {
        state_.SetLastError(static_cast<std::uint32_t>(kErrorInvalidParameter));
        return false;
    }
    if (major != nullptr) *major = osMajor;
    if (minor != nullptr) *minor = osMinor;
    return true;
}

bool MemoryProcesses::GetTokenElevation(bool* isElevated, int* type) {
    Lock lock(state_.mutex);
    if (isElevated != nullptr) *isElevated = elevated;
    if (type != nullptr) *type = elevationType;
    return true;
}

std::uint32_t MemoryProcesses::TickCount() {
    Lock lock(state_.mutex);
    const std::uint32_t now = ticks;
    ticks += tickStep;
    return now;
}

}  // namespace platform::memory::detail

namespace platform::memory {

using detail::Lock;

void MemoryMachine::SetOsVersion(std::uint32_t major, std::uint32_t minor) {
    Lock lock(state_->mutex);
    state_->processes.osVersionReadable = true;
    state_->processes.osMajor = major;
    state_->processes.osMinor = minor;
}

void MemoryMachine::SetTickCount(std::uint32_t start, std::uint32_t step) {
    Lock lock(state_->mutex);
    state_->processes.ticks = start;
    state_->processes.tickStep = step;
}

void MemoryMachine::FailOsVersion() {
    Lock lock(state_->mutex);
    state_->processes.osVersionReadable = false;
}

void MemoryMachine::SetTokenElevation(bool elevated, int elevationType) {
    Lock lock(state_->mutex);
    state_->processes.elevated = elevated;
    state_->processes.elevationType = elevationType;
}

void MemoryMachine::AddProcess(std::uint32_t processId, std::u16string_view imageName) {
    MemoryProcess process;
    process.imagePath = std::u16string(imageName);
    process.exeName = process.imagePath.substr(process.imagePath.find_last_of(u'\\') + 1);
    process.modules.push_back(process.imagePath);
    AddProcess(processId, std::move(process));
}

void MemoryMachine::AddProcess(std::uint32_t processId, MemoryProcess process) {
    Lock lock(state_->mutex);
    state_->processes.running[processId] = std::move(process);
}

void MemoryMachine::RemoveProcess(std::uint32_t processId) {
    Lock lock(state_->mutex);
    state_->processes.running.erase(processId);
}

void MemoryMachine::FailStart(Status status) {
    Lock lock(state_->mutex);
    state_->processes.failStart = status;
}

void MemoryMachine::FailTerminate(std::uint32_t processId, Status status) {
    Lock lock(state_->mutex);
    state_->processes.failTerminate[processId] = status;
}

const std::vector<StartedProcess>& MemoryMachine::Started() const {
    Lock lock(state_->mutex);
    return state_->processes.started;
}

std::vector<std::uint32_t> MemoryMachine::Terminated() const {
    Lock lock(state_->mutex);
    return state_->processes.terminated;
}

}  // namespace platform::memory
