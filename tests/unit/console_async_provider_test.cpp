// The worker of the background population on its own: client ids, the stop event in the data
// block's first word, and a stop that meets the worker inside its synchronous handover.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "libs/talutils/async_provider.h"

namespace {

struct Block {
    CStopEvent* stopEvent = nullptr;
    int runs = 0;
};

// Run() spins until stopped or released; the client's callback hands over to the test's thread
// and blocks until that thread serves it, as a sent message does.
class SpinProvider : public CAsyncProvider {
  public:
    ~SpinProvider() override { Shutdown(); }
    void* GetData() override { return &block; }
    void Run() override {
        ++block.runs;
        entered = true;
        while (!release && !block.stopEvent->IsSet()) std::this_thread::yield();
        leftRun = true;
        if (leftFlag) *leftFlag = true;
    }

    Block block;
    std::atomic<bool> entered{false}, release{false}, leftRun{false};
    std::atomic<bool>* leftFlag = nullptr;
};

struct Handover {
    std::mutex mutex;
    std::condition_variable cv;
    bool posted = false, served = false;
    int notified = 0;

    static void Callback(void* context, void*) {
        auto* self = static_cast<Handover*>(context);
        std::unique_lock<std::mutex> lock(self->mutex);
        ++self->notified;
        self->posted = true;
        self->cv.notify_all();
        self->cv.wait(lock, [&] { return self->served; });
    }
    // On the test's thread: serves a waiting handover.
    void Serve() {
        std::lock_guard<std::mutex> lock(mutex);
        if (posted) served = true;
        cv.notify_all();
    }
    bool WaitPosted() {
        std::unique_lock<std::mutex> lock(mutex);
        return cv.wait_for(lock, std::chrono::seconds(10), [&] { return posted; });
    }
};

TEST(AsyncProviderTest, ClientIdsTheStopEventAndASecondStart) {
    SpinProvider provider;
    Handover handover;
    const std::int32_t first = provider.StartImpl(&Handover::Callback, &handover);
    EXPECT_EQ(first, 0);
    ASSERT_NE(provider.block.stopEvent, nullptr);
    EXPECT_FALSE(provider.block.stopEvent->IsSet());
    EXPECT_TRUE(provider.IsRunning());
    EXPECT_EQ(provider.StartImpl(&Handover::Callback, &handover), -1);
    // An unknown client is ignored.
    provider.Stop(first + 5);
    EXPECT_FALSE(provider.StopRequested());

    provider.release = true;
    ASSERT_TRUE(handover.WaitPosted());
    handover.Serve();
    provider.WaitIdle();
    EXPECT_FALSE(provider.IsRunning());
    EXPECT_EQ(handover.notified, 1);

    provider.Reset(false);
    provider.release = false;
    Handover second;
    EXPECT_EQ(provider.StartImpl(&Handover::Callback, &second), 1);
    provider.Stop(1);
    EXPECT_FALSE(provider.IsRunning());
    EXPECT_TRUE(provider.leftRun.load());
    // A stopped job hands nothing over.
    EXPECT_EQ(second.notified, 0);
    EXPECT_EQ(provider.block.runs, 2);
}

TEST(AsyncProviderTest, AStopThatMeetsTheHandoverLetsItThroughThroughTheHook) {
    SpinProvider provider;
    Handover handover;
    int hookCalls = 0;
    provider.SetWaitHook([&](const std::function<bool()>& finished) {
        ++hookCalls;
        while (!finished()) {
            handover.Serve();
            std::this_thread::yield();
        }
    });
    provider.release = true;
    const std::int32_t client = provider.StartImpl(&Handover::Callback, &handover);
    ASSERT_TRUE(handover.WaitPosted());
    // The worker now waits for this thread; a passive wait would never end.
    provider.Stop(client);
    EXPECT_EQ(hookCalls, 1);
    EXPECT_FALSE(provider.IsRunning());
    EXPECT_TRUE(provider.StopRequested());
}

TEST(AsyncProviderTest, DestroyingAProviderStopsItsWorker) {
    std::atomic<bool> left{false};
    {
        SpinProvider provider;
        provider.leftFlag = &left;
        Handover handover;
        EXPECT_EQ(provider.StartImpl(&Handover::Callback, &handover), 0);
        while (!provider.entered) std::this_thread::yield();
        EXPECT_FALSE(left.load());
    }
    // The destructor signalled the worker and joined it.
    EXPECT_TRUE(left.load());
}

}  // namespace
