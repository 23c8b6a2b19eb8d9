#include "host/core/WEvent.h"

#include <chrono>

WEvent::WEvent(bool inManualReset) : itsManualReset(inManualReset) {}

void WEvent::Set()
{
    const std::lock_guard lock(itsMutex);
    itsSet = true;
    if (itsManualReset)
    {
        itsSignal.notify_all();
    }
    else
    {
        itsSignal.notify_one();
    }
}

void WEvent::Reset()
{
    const std::lock_guard lock(itsMutex);
    itsSet = false;
}

bool WEvent::Wait(std::int32_t inTimeoutMilliseconds, bool /*inFlag*/)
{
    std::unique_lock lock(itsMutex);
    const auto isSet = [this] { return itsSet; };
    if (inTimeoutMilliseconds < 0)
    {
        itsSignal.wait(lock, isSet);
    }
    else if (!itsSignal.wait_for(lock, std::chrono::milliseconds(inTimeoutMilliseconds), isSet))
    {
        return false;
    }
    if (!itsManualReset)
    {
        itsSet = false;
    }
    return true;
}
