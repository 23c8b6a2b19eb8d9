#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

// A non-recursive mutex whose Lock gives up after a timeout. It knows its owning thread, so
// code that requires the lock can assert that it is held, and a thread that locks it a second
// time gets a report and a refusal instead of a deadlock.
class XMutex
{
public:
    // A negative timeout makes Lock() wait without limit. The flag is the host mutex's second
    // argument; it has no effect here.
    explicit XMutex(std::int32_t inTimeoutMilliseconds = 4000, bool inFlag = false);
    XMutex(const XMutex&) = delete;
    XMutex& operator=(const XMutex&) = delete;

    // Waits up to the timeout given at construction; true when the lock was taken.
    bool Lock();
    // Waits up to the given timeout (negative: no limit); true when the lock was taken.
    bool Lock(std::int32_t inTimeoutMilliseconds);
    // Never waits.
    bool TryLock();
    // Only the owning thread may unlock; anything else is reported and ignored.
    void Unlock();

    bool IsLockedByCurrentThread() const;
    std::int32_t GetTimeout() const { return itsTimeoutMilliseconds; }

private:
    mutable std::mutex itsStateMutex;
    std::condition_variable itsReleased;
    std::thread::id itsOwner; // no thread while unlocked
    const std::int32_t itsTimeoutMilliseconds;
};
