#include "host/core/XLockable.h"

void XLockable::LockFor(XLockMode inMode)
{
    std::unique_lock lock(itsMutex);
    if (inMode == XLockMode::kRead)
    {
        itsReleased.wait(lock, [this] { return !itsWriter; });
        ++itsReaders;
    }
    else
    {
        itsReleased.wait(lock, [this] { return !itsWriter && itsReaders == 0; });
        itsWriter = true;
    }
}

bool XLockable::TryLockFor(XLockMode inMode)
{
    const std::lock_guard lock(itsMutex);
    if (itsWriter || (inMode == XLockMode::kWrite && itsReaders > 0))
    {
        return false;
    }
    if (inMode == XLockMode::kRead)
    {
        ++itsReaders;
    }
    else
    {
        itsWriter = true;
    }
    return true;
}

void XLockable::UnlockFor(XLockMode inMode)
{
    {
        const std::lock_guard lock(itsMutex);
        if (inMode == XLockMode::kRead)
        {
            if (itsReaders > 0)
            {
                --itsReaders;
            }
        }
        else
        {
            itsWriter = false;
        }
    }
    itsReleased.notify_all();
}

bool XLockable::IsLocked() const
{
    const std::lock_guard lock(itsMutex);
    return itsWriter || itsReaders > 0;
}
