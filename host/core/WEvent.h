#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

// An event that threads wait on until another thread sets it. A manual-reset event stays set
// and releases every waiter until Reset; an auto-reset event releases one waiter and is then
// clear again. Created not signalled.
class WEvent
{
public:
    explicit WEvent(bool inManualReset = true);
    WEvent(const WEvent&) = delete;
    WEvent& operator=(const WEvent&) = delete;

    void Set();
    void Reset();
    // Waits up to the timeout (negative: no limit); true when the event was set. The flag is the
    // host's "alertable" argument and has no effect here.
    bool Wait(std::int32_t inTimeoutMilliseconds, bool inFlag = true);

private:
    std::mutex itsMutex;
    std::condition_variable itsSignal;
    const bool itsManualReset;
    bool itsSet = false;
};
