// The worker of the background population on its own: client ids, the stop event in the data
// block's first word and a second start while one runs. Stops that meet the worker inside its
// handover, and the stop of a dialog that goes, are tested through the page.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "libs/talutils/async_provider.h"

namespace {

// Run() spins until stopped or released.
class SpinProvider : public CAsyncProvider {
  public:
    struct Block {
        CStopEvent* stopEvent = nullptr;
        int runs = 0;
    } block;
    std::atomic<bool> release{false};

    ~SpinProvider() override { Shutdown(); }
    void* GetData() override { return &block; }
    void Run() override {
        ++block.runs;
        while (!release && !block.stopEvent->IsSet()) std::this_thread::yield();
    }
};

void CountHandover(void* context, void*) {
    ++*static_cast<std::atomic<int>*>(context);
}

TEST(AsyncProviderTest, ClientIdsTheStopEventAndASecondStart) {
    SpinProvider provider;
    std::atomic<int> handovers{0};
    EXPECT_EQ(provider.StartImpl(&CountHandover, &handovers), 0);
    ASSERT_NE(provider.block.stopEvent, nullptr);
    EXPECT_FALSE(provider.block.stopEvent->IsSet());
    EXPECT_TRUE(provider.IsRunning());
    EXPECT_EQ(provider.StartImpl(&CountHandover, &handovers), -1);
    provider.Stop(5);  // an unknown client is ignored
    EXPECT_FALSE(provider.StopRequested());
    provider.release = true;
    provider.WaitIdle();
    EXPECT_FALSE(provider.IsRunning());
    EXPECT_EQ(handovers.load(), 1);

    provider.release = false;
    EXPECT_EQ(provider.StartImpl(&CountHandover, &handovers), 1);
    provider.Stop(1);
    EXPECT_FALSE(provider.IsRunning());
    EXPECT_TRUE(provider.block.stopEvent->IsSet());
    EXPECT_EQ(handovers.load(), 1);  // a stopped job hands nothing over
    EXPECT_EQ(provider.block.runs, 2);
}

}  // namespace
