// The main queue wakes its host's event loop when work arrives from another thread.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "foundation/queues.h"

namespace marqen {
namespace {

TEST(MainQueueWakeUp, WorkQueuedOnAnotherThreadWakesTheHostAfterItIsQueued) {
    MainQueue &queue = MainQueue::shared();
    queue.drain();
    std::atomic<int> wakeUps{0};
    std::atomic<size_t> pendingAtWakeUp{0};
    queue.setWakeUpHandler([&] {
        pendingAtWakeUp = queue.pendingCount();
        ++wakeUps;
    });
    bool ran = false;
    std::thread worker([&] { queue.async([&] { ran = true; }); });
    worker.join();
    EXPECT_EQ(wakeUps.load(), 1);
    // The handler runs once the work can be seen, so a loop woken by it finds something to drain.
    EXPECT_EQ(pendingAtWakeUp.load(), 1u);
    EXPECT_EQ(queue.drain(), 1u);
    EXPECT_TRUE(ran);

    queue.setWakeUpHandler({});
    queue.async([] {});
    EXPECT_EQ(wakeUps.load(), 1);
    queue.drain();
}

}  // namespace
}  // namespace marqen
