// CAsyncProvider: runs one job on a worker thread and hands its result to a client callback.
//
// StartImpl makes a stop event, writes its address into the first word of the data block,
// runs Run() and then NotifyClient() on the worker. Stop() signals the event and waits for the
// worker. The client's callback usually hands the data synchronously to the thread that calls
// Stop(), so Stop() never waits passively: it waits through a hook that keeps that thread's
// handovers flowing (on Windows, sent messages), and a worker that has been stopped is not
// waited for longer than its current entry plus its handover.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

// A manual-reset event that the worker polls with a time-out of 0.
class CStopEvent {
  public:
    void Set();
    void Reset();
    // WaitForSingleObject(event, 0) != WAIT_TIMEOUT.
    bool IsSet() const { return set_.load(std::memory_order_acquire); }

  private:
    std::atomic<bool> set_{false};
};

class CAsyncProvider {
  public:
    // What NotifyClient receives: the callback and context given to StartImpl.
    struct Client {
        void (*callback)(void* context, void* data) = nullptr;
        void* context = nullptr;
    };
    // Called on the stopping thread with a test that turns true when the worker has finished;
    // returns only once it has. It must let through handovers addressed to the calling thread.
    using WaitHook = std::function<void(const std::function<bool()>& finished)>;

    CAsyncProvider();
    // Stops and joins a worker that is still running (without a hook: by then nobody can take
    // a handover any more, and the handover of a destroyed window returns at once).
    virtual ~CAsyncProvider();
    CAsyncProvider(const CAsyncProvider&) = delete;
    CAsyncProvider& operator=(const CAsyncProvider&) = delete;

    // Prepares for another start: joins a worker that has finished. full also forgets the hook.
    virtual void Reset(bool full);
    // Starts the job; the id of the client (0 or more), or -1 when a worker is still running or
    // the thread could not be made.
    std::int32_t StartImpl(void (*callback)(void* context, void* data), void* context);
    // Signals the stop event of client and waits for its worker. Unknown or finished clients
    // are ignored. After Stop() returns the worker touches nothing.
    void Stop(std::int32_t client);
    // Joins the worker; returns at once when there is none. Only for a worker that no longer
    // needs the calling thread: its result has been handed over, or it has been stopped.
    void WaitIdle();
    // True from StartImpl until the worker has left Run() and NotifyClient().
    bool IsRunning() const { return running_.load(std::memory_order_acquire); }

    void SetWaitHook(WaitHook hook);
    // Signals the stop event and joins the worker without a hook. A derived class calls it in
    // its destructor, before the members that Run() uses go.
    void Shutdown();

    virtual void NotifyClient(const Client& client);
    // The data block; its first word receives the stop event's address.
    virtual void* GetData() = 0;
    virtual void Run() = 0;

    // True when the stop event of the running (or last) job is set.
    bool StopRequested() const { return stopEvent_.IsSet(); }

  private:
    void WorkerMain(Client client);
    void Join();

    CStopEvent stopEvent_;
    std::thread worker_;
    std::atomic<bool> running_{false};
    std::int32_t nextClient_ = 0;
    std::int32_t currentClient_ = -1;
    WaitHook waitHook_;
    std::mutex doneMutex_;
    std::condition_variable doneChanged_;
};
