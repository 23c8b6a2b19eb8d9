#include "host/core/XProgress.h"

#include "host/core/XProgressCenter.h"
#include "host/core/XProgressMessage.h"

#include <algorithm>

namespace
{
std::uint64_t NextProgressID()
{
    static std::atomic<std::uint64_t> lastID{0};
    return lastID.fetch_add(1) + 1;
}
} // namespace

XProgress::XProgress(std::uint64_t inTotalSteps, std::int32_t inType,
                     std::int32_t inDelayMilliseconds, bool /*inFlag*/)
    : itsID(NextProgressID()), itsTotalSteps(inTotalSteps), itsType(inType),
      itsDelayMilliseconds(inDelayMilliseconds)
{
}

XProgress::~XProgress()
{
    try
    {
        Speak(GetPercent(), true);
    }
    catch (...)
    {
        // A listener's failure must not escape a destructor; the display simply misses the end.
    }
}

void XProgress::SetMessage(std::string inText)
{
    {
        const std::lock_guard lock(itsTextMutex);
        if (inText == itsText)
        {
            return;
        }
        itsText = std::move(inText);
    }
    Speak(GetPercent(), false);
}

void XProgress::Increment(std::uint64_t inSteps)
{
    const std::uint64_t steps = itsSteps.fetch_add(inSteps, std::memory_order_relaxed) + inSteps;
    const std::int32_t percent = PercentOf(steps);
    std::int32_t last = itsPercent.load(std::memory_order_relaxed);
    // Only the thread that moves the percent up speaks it, so no whole percent is spoken twice.
    while (percent > last)
    {
        if (itsPercent.compare_exchange_weak(last, percent, std::memory_order_relaxed))
        {
            Speak(percent, false);
            return;
        }
    }
}

void XProgress::SetPercent(int inPercent)
{
    const std::int32_t percent = std::clamp(inPercent, 0, 100);
    if (itsPercent.exchange(percent, std::memory_order_relaxed) != percent)
    {
        Speak(percent, false);
    }
}

std::int32_t XProgress::PercentOf(std::uint64_t inSteps) const
{
    if (itsTotalSteps == 0)
    {
        return 0;
    }
    if (inSteps >= itsTotalSteps)
    {
        return 100;
    }
    return static_cast<std::int32_t>(inSteps * 100 / itsTotalSteps);
}

void XProgress::Speak(std::int32_t inPercent, bool inDone)
{
    std::string text;
    {
        const std::lock_guard lock(itsTextMutex);
        text = itsText;
    }
    XProgressCenter& center = XProgressCenter::Get();
    center.SpeakMessage(
        XProgressMessage(&center, itsID, std::move(text), inPercent, inDone, itsDelayMilliseconds));
}
