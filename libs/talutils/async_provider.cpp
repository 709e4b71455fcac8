#include "libs/talutils/async_provider.h"

#include <chrono>
#include <system_error>

void CStopEvent::Set() {
    set_.store(true, std::memory_order_release);
}
void CStopEvent::Reset() {
    set_.store(false, std::memory_order_release);
}

CAsyncProvider::CAsyncProvider() = default;

CAsyncProvider::~CAsyncProvider() {
    Shutdown();
}

void CAsyncProvider::Shutdown() {
    stopEvent_.Set();
    Join();
    currentClient_ = -1;
}

void CAsyncProvider::Reset(bool full) {
    if (!IsRunning()) Join();
    if (full) waitHook_ = nullptr;
}

std::int32_t CAsyncProvider::StartImpl(void (*callback)(void* context, void* data), void* context) {
    if (IsRunning()) return -1;
    Join();
    stopEvent_.Reset();
    *static_cast<CStopEvent**>(GetData()) = &stopEvent_;
    running_.store(true, std::memory_order_release);
    Client client{callback, context};
    try {
        worker_ = std::thread(&CAsyncProvider::WorkerMain, this, client);
    } catch (const std::system_error&) {
        running_.store(false, std::memory_order_release);
        return -1;
    }
    currentClient_ = nextClient_;
    nextClient_ = nextClient_ == INT32_MAX ? 0 : nextClient_ + 1;
    return currentClient_;
}

void CAsyncProvider::WorkerMain(Client client) {
    Run();
    // A stopped job has no result to hand over.
    if (!stopEvent_.IsSet()) NotifyClient(client);
    {
        std::lock_guard<std::mutex> guard(doneMutex_);
        running_.store(false, std::memory_order_release);
    }
    doneChanged_.notify_all();
}

void CAsyncProvider::Stop(std::int32_t client) {
    if (client < 0 || client != currentClient_) return;
    stopEvent_.Set();
    if (IsRunning()) {
        if (waitHook_) {
            waitHook_([this] { return !IsRunning(); });
        } else {
            std::unique_lock<std::mutex> lock(doneMutex_);
            doneChanged_.wait(lock, [this] { return !IsRunning(); });
        }
    }
    Join();
    currentClient_ = -1;
}

void CAsyncProvider::WaitIdle() {
    Join();
}

void CAsyncProvider::SetWaitHook(WaitHook hook) {
    waitHook_ = std::move(hook);
}

void CAsyncProvider::NotifyClient(const Client& client) {
    if (client.callback) client.callback(client.context, GetData());
}

void CAsyncProvider::Join() {
    if (worker_.joinable()) worker_.join();
}
