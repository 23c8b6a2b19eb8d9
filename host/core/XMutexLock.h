#pragma once

#include "host/core/XMutex.h"

// Holds an XMutex, taken without time limit, for its own lifetime. If the thread already holds
// the mutex, the refused lock is reported by XMutex and the destructor leaves the mutex alone.
class XMutexLock
{
public:
    explicit XMutexLock(XMutex& inMutex) : itsMutex(inMutex), itsLocked(inMutex.Lock(-1)) {}
    ~XMutexLock()
    {
        if (itsLocked)
        {
            itsMutex.Unlock();
        }
    }
    XMutexLock(const XMutexLock&) = delete;
    XMutexLock& operator=(const XMutexLock&) = delete;

private:
    XMutex& itsMutex;
    const bool itsLocked;
};
