#pragma once

#include <condition_variable>
#include <mutex>

enum class XLockMode
{
    kRead = 0,  // shared; read locks nest freely
    kWrite = 1, // exclusive
};

// An object that can be locked for reading (shared, nestable) or writing (exclusive).
// Readers never wait for a waiting writer, so a thread that holds a read lock may take another.
class XLockable
{
public:
    XLockable() = default;
    // A copy is a new object with a lock of its own, unlocked.
    XLockable(const XLockable&) {}
    XLockable& operator=(const XLockable&) { return *this; }
    virtual ~XLockable() = default;

    virtual void LockFor(XLockMode inMode);
    virtual void UnlockFor(XLockMode inMode);
    bool TryLockFor(XLockMode inMode);

    bool IsLocked() const;

private:
    mutable std::mutex itsMutex;
    std::condition_variable itsReleased;
    int itsReaders = 0;
    bool itsWriter = false;
};

// Holds an XLockable's lock in one mode for its own lifetime.
class XLock
{
public:
    XLock(XLockable& inLockable, XLockMode inMode) : itsLockable(inLockable), itsMode(inMode)
    {
        itsLockable.LockFor(itsMode);
    }
    ~XLock() { itsLockable.UnlockFor(itsMode); }
    XLock(const XLock&) = delete;
    XLock& operator=(const XLock&) = delete;

private:
    XLockable& itsLockable;
    XLockMode itsMode;
};
