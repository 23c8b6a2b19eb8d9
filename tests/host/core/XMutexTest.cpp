#include "host/core/XMutex.h"
#include "host/core/XInternalError.h"
#include "host/core/XMutexLock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

namespace
{
// Runs a function on another thread and returns its result.
template <class F>
auto OnOtherThread(F inFunction)
{
    return std::async(std::launch::async, inFunction).get();
}
} // namespace

TEST(XMutexTest, OwnerIsKnownAndOtherThreadsTimeOutOrFailToTry)
{
    XMutex mutex(20);
    EXPECT_EQ(mutex.GetTimeout(), 20);
    EXPECT_FALSE(mutex.IsLockedByCurrentThread());
    ASSERT_TRUE(mutex.Lock());
    EXPECT_TRUE(mutex.IsLockedByCurrentThread());

    struct XSeen
    {
        bool lockedByMe, tried, timedLock, zeroLock;
    };
    const XSeen seen = OnOtherThread(
        [&] {
            return XSeen{mutex.IsLockedByCurrentThread(), mutex.TryLock(), mutex.Lock(),
                         mutex.Lock(0)};
        });
    EXPECT_FALSE(seen.lockedByMe);
    EXPECT_FALSE(seen.tried);
    EXPECT_FALSE(seen.timedLock);
    EXPECT_FALSE(seen.zeroLock);
    EXPECT_TRUE(mutex.IsLockedByCurrentThread());

    mutex.Unlock();
    EXPECT_FALSE(mutex.IsLockedByCurrentThread());

    // Another thread takes it and holds it until told to let go.
    std::promise<bool> taken;
    std::promise<void> letGo;
    std::thread holder(
        [&]
        {
            taken.set_value(mutex.TryLock() && mutex.IsLockedByCurrentThread());
            letGo.get_future().wait();
            mutex.Unlock();
        });
    EXPECT_TRUE(taken.get_future().get());
    EXPECT_FALSE(mutex.IsLockedByCurrentThread());
    EXPECT_FALSE(mutex.TryLock());
    EXPECT_FALSE(mutex.Lock(1));
    letGo.set_value();
    holder.join();
    EXPECT_TRUE(mutex.TryLock());
    mutex.Unlock();
}

TEST(XMutexTest, UnlimitedLockWaitsForTheRelease)
{
    XMutex mutex(-1);
    std::promise<void> locked;
    std::atomic<bool> released{false};
    std::thread holder(
        [&]
        {
            mutex.Lock();
            locked.set_value();
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            released = true;
            mutex.Unlock();
        });
    locked.get_future().wait();
    ASSERT_TRUE(mutex.Lock());
    EXPECT_TRUE(released);
    mutex.Unlock();
    holder.join();
}

TEST(XMutexTest, MisuseIsReportedAndRefused)
{
    const XInternalErrorCapture capture;
    XMutex mutex;

    // Unlocking a mutex one does not hold changes nothing.
    mutex.Unlock();
    ASSERT_TRUE(mutex.Lock());
    EXPECT_FALSE(mutex.Lock(-1));  // not recursive: refused instead of a deadlock
    EXPECT_FALSE(mutex.TryLock()); // a try-lock simply fails, unreported
    OnOtherThread([&] { mutex.Unlock(); });
    EXPECT_TRUE(mutex.IsLockedByCurrentThread());
    EXPECT_FALSE(OnOtherThread([&] { return mutex.TryLock(); }));
    mutex.Unlock();

    const std::vector<std::string> expected = {
        "IsLockedByCurrentThread()", "!IsLockedByCurrentThread()", "IsLockedByCurrentThread()"};
    EXPECT_EQ(capture.GetConditions(), expected);
    ASSERT_EQ(capture.GetReports().size(), 3u);
    EXPECT_EQ(capture.GetReports()[0].source, "host/core/XMutex");
}

TEST(XMutexTest, ScopedLockHoldsForItsLifetimeAndNestingLeavesTheOuterLock)
{
    const XInternalErrorCapture capture;
    XMutex mutex(0);
    {
        const XMutexLock lock(mutex);
        EXPECT_TRUE(mutex.IsLockedByCurrentThread());
        EXPECT_FALSE(OnOtherThread([&] { return mutex.TryLock(); }));
        {
            const XMutexLock nested(mutex);
        }
        EXPECT_TRUE(mutex.IsLockedByCurrentThread());
    }
    EXPECT_FALSE(mutex.IsLockedByCurrentThread());
    EXPECT_TRUE(OnOtherThread(
        [&]
        {
            const bool taken = mutex.TryLock();
            mutex.Unlock();
            return taken;
        }));
    EXPECT_EQ(capture.GetConditions(), std::vector<std::string>{"!IsLockedByCurrentThread()"});
}
