#include "host/core/XLockable.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

TEST(XLockableTest, ReadLocksNestAndExcludeWriters)
{
    XLockable lockable;
    lockable.LockFor(XLockMode::kRead);
    lockable.LockFor(XLockMode::kRead);
    EXPECT_TRUE(lockable.TryLockFor(XLockMode::kRead));
    EXPECT_FALSE(lockable.TryLockFor(XLockMode::kWrite));
    lockable.UnlockFor(XLockMode::kRead);
    lockable.UnlockFor(XLockMode::kRead);
    EXPECT_FALSE(lockable.TryLockFor(XLockMode::kWrite));
    lockable.UnlockFor(XLockMode::kRead);
    EXPECT_FALSE(lockable.IsLocked());

    {
        XLock write(lockable, XLockMode::kWrite);
        EXPECT_FALSE(lockable.TryLockFor(XLockMode::kRead));
        EXPECT_FALSE(lockable.TryLockFor(XLockMode::kWrite));
    }
    EXPECT_FALSE(lockable.IsLocked());
}

TEST(XLockableTest, AWriterWaitsForReadersAndANestedReadDoesNotWaitForAWaitingWriter)
{
    XLockable lockable;
    std::atomic<bool> written{false};
    lockable.LockFor(XLockMode::kRead);
    std::thread writer(
        [&]
        {
            XLock lock(lockable, XLockMode::kWrite);
            written = true;
        });
    // A thread that holds a read lock may take another even while a writer waits.
    lockable.LockFor(XLockMode::kRead);
    EXPECT_FALSE(written);
    lockable.UnlockFor(XLockMode::kRead);
    EXPECT_FALSE(written);
    lockable.UnlockFor(XLockMode::kRead);
    writer.join();
    EXPECT_TRUE(written);

    // Copies are new objects with locks of their own.
    lockable.LockFor(XLockMode::kWrite);
    XLockable copy(lockable);
    EXPECT_FALSE(copy.IsLocked());
    lockable.UnlockFor(XLockMode::kWrite);
}
