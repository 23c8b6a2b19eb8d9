#include "host/core/XMutex.h"

#include "host/core/XInternalError.h"

#include <chrono>

X_SOURCE_NAME("host/core/XMutex");

// Built on a condition variable rather than std::timed_mutex: the owner is known exactly, and
// thread checkers understand every wait.

XMutex::XMutex(std::int32_t inTimeoutMilliseconds, bool /*inFlag*/)
    : itsTimeoutMilliseconds(inTimeoutMilliseconds)
{
}

bool XMutex::Lock()
{
    return Lock(itsTimeoutMilliseconds);
}

bool XMutex::Lock(std::int32_t inTimeoutMilliseconds)
{
    const std::thread::id self = std::this_thread::get_id();
    std::unique_lock state(itsStateMutex);
    if (itsOwner == self)
    {
        state.unlock();
        X_ASSERT(!IsLockedByCurrentThread());
        return false;
    }
    const auto isFree = [this] { return itsOwner == std::thread::id(); };
    if (inTimeoutMilliseconds < 0)
    {
        itsReleased.wait(state, isFree);
    }
    else if (!itsReleased.wait_for(state, std::chrono::milliseconds(inTimeoutMilliseconds), isFree))
    {
        return false;
    }
    itsOwner = self;
    return true;
}

bool XMutex::TryLock()
{
    const std::lock_guard state(itsStateMutex);
    if (itsOwner != std::thread::id())
    {
        return false;
    }
    itsOwner = std::this_thread::get_id();
    return true;
}

void XMutex::Unlock()
{
    std::unique_lock state(itsStateMutex);
    if (itsOwner != std::this_thread::get_id())
    {
        state.unlock();
        X_ASSERT(IsLockedByCurrentThread());
        return;
    }
    itsOwner = std::thread::id();
    // Notified under the lock: the next owner may destroy the mutex as soon as it has it.
    itsReleased.notify_one();
}

bool XMutex::IsLockedByCurrentThread() const
{
    const std::lock_guard state(itsStateMutex);
    return itsOwner == std::this_thread::get_id();
}
