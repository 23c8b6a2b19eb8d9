#include "host/core/WEvent.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

TEST(WEventTest, TimedWaitFailsUntilAnotherThreadSetsTheEvent)
{
    WEvent event;
    EXPECT_FALSE(event.Wait(0));
    EXPECT_FALSE(event.Wait(10, true));

    std::atomic<bool> setterRan{false};
    std::thread setter(
        [&]
        {
            setterRan = true;
            event.Set();
        });
    EXPECT_TRUE(event.Wait(-1, true));
    EXPECT_TRUE(setterRan);
    setter.join();

    // Manual reset: it stays set for every later wait until Reset.
    EXPECT_TRUE(event.Wait(0));
    EXPECT_TRUE(event.Wait(10));
    event.Reset();
    EXPECT_FALSE(event.Wait(0));
}

TEST(WEventTest, ManualResetReleasesEveryWaiter)
{
    WEvent event(true);
    std::atomic<int> released{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i)
    {
        waiters.emplace_back(
            [&]
            {
                if (event.Wait(-1))
                {
                    ++released;
                }
            });
    }
    event.Set();
    for (auto& waiter : waiters)
    {
        waiter.join();
    }
    EXPECT_EQ(released, 3);
}

TEST(WEventTest, AutoResetIsConsumedByOneWait)
{
    WEvent event(false);
    EXPECT_FALSE(event.Wait(0));
    event.Set();
    event.Set(); // a second set of a set event adds nothing
    EXPECT_TRUE(event.Wait(0));
    EXPECT_FALSE(event.Wait(0));

    bool released = false;
    std::thread waiter([&] { released = event.Wait(-1); });
    event.Set();
    waiter.join();
    EXPECT_TRUE(released);
    EXPECT_FALSE(event.Wait(0));

    event.Set();
    event.Reset();
    EXPECT_FALSE(event.Wait(0));
}
