#include "host/core/XTimer.h"
#include "host/core/XTime.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace
{
void SleepMilliseconds(int inMilliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(inMilliseconds));
}
} // namespace

TEST(XTimerTest, ConstructedStopped)
{
    const XTimer timer(1000);
    EXPECT_FALSE(timer.IsRunning());
    EXPECT_EQ(timer.GetPeriod(), 1000);
    EXPECT_EQ(timer.GetElapsedTime(), 0);
    EXPECT_EQ(timer.GetStartTime(), 0);
    // A start time of 0 lies far in the past on the monotonic clock.
    EXPECT_TRUE(timer.HasPeriodElapsed());
    EXPECT_EQ(XTimer().GetPeriod(), 0);
}

TEST(XTimerTest, ElapsedGrowsWhileRunningAndFreezesAtStop)
{
    XTimer timer;
    const std::int64_t before = GetMicroSecondTime();
    timer.Start();
    const std::int64_t after = GetMicroSecondTime();
    EXPECT_TRUE(timer.IsRunning());
    EXPECT_GE(timer.GetStartTime(), before);
    EXPECT_LE(timer.GetStartTime(), after);

    std::int64_t last = timer.GetElapsedTime();
    EXPECT_GE(last, 0);
    for (int i = 0; i < 5; ++i)
    {
        SleepMilliseconds(2);
        const std::int64_t now = timer.GetElapsedTime();
        EXPECT_GE(now, last);
        last = now;
    }
    EXPECT_GE(last, 10); // at least the five sleeps

    timer.Stop();
    EXPECT_FALSE(timer.IsRunning());
    const std::int64_t stopped = timer.GetElapsedTime();
    EXPECT_GE(stopped, last);
    SleepMilliseconds(3);
    EXPECT_EQ(timer.GetElapsedTime(), stopped);
    timer.Stop();
    EXPECT_EQ(timer.GetElapsedTime(), stopped);
}

TEST(XTimerTest, StartKeepsARunningStartWhileRestartBeginsAgain)
{
    XTimer timer;
    timer.Start();
    const std::int64_t first = timer.GetStartTime();
    SleepMilliseconds(2);
    timer.Start();
    EXPECT_EQ(timer.GetStartTime(), first);
    EXPECT_GE(timer.GetElapsedTime(), 2);

    timer.Restart();
    EXPECT_GE(timer.GetStartTime(), first + 2000);
    timer.Stop();
    const std::int64_t stoppedStart = timer.GetStartTime();
    SleepMilliseconds(1);
    timer.Restart();
    EXPECT_TRUE(timer.IsRunning());
    EXPECT_GT(timer.GetStartTime(), stoppedStart);
}

TEST(XTimerTest, PeriodElapsesOnlyAfterStartPlusPeriod)
{
    XTimer hour(3'600'000);
    hour.Start();
    EXPECT_FALSE(hour.HasPeriodElapsed());

    XTimer none(0);
    none.Start();
    EXPECT_TRUE(none.HasPeriodElapsed());

    XTimer brief(1);
    brief.Start();
    SleepMilliseconds(2);
    EXPECT_TRUE(brief.HasPeriodElapsed());
}
