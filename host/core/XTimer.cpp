#include "host/core/XTimer.h"

#include "host/core/XTime.h"

XTimer::XTimer(std::int64_t inPeriodMilliseconds) : itsPeriodMilliseconds(inPeriodMilliseconds) {}

void XTimer::Start()
{
    if (!itsRunning)
    {
        Restart();
    }
}

void XTimer::Stop()
{
    if (itsRunning)
    {
        itsStopMicroseconds = GetMicroSecondTime();
        itsRunning = false;
    }
}

void XTimer::Restart()
{
    itsStartMicroseconds = GetMicroSecondTime();
    itsStopMicroseconds = itsStartMicroseconds;
    itsRunning = true;
}

std::int64_t XTimer::GetElapsedTime() const
{
    const std::int64_t end = itsRunning ? GetMicroSecondTime() : itsStopMicroseconds;
    return (end - itsStartMicroseconds) / 1000;
}

bool XTimer::HasPeriodElapsed() const
{
    return itsStartMicroseconds + itsPeriodMilliseconds * 1000 <= GetMicroSecondTime();
}
