#pragma once

#include <cstdint>

// Measures elapsed time on the GetMicroSecondTime() clock and tells whether a period has run out
// since the start. Constructed stopped; not synchronised, so one thread at a time uses a timer
// (or the threads hand it over through some other synchronisation).
class XTimer
{
public:
    explicit XTimer(std::int64_t inPeriodMilliseconds = 0);

    // Starts timing from now; a running timer keeps its start.
    void Start();
    // Freezes the elapsed time; a stopped timer stays as it is.
    void Stop();
    // Starts timing afresh from now, running or not.
    void Restart();

    bool IsRunning() const { return itsRunning; }
    // Milliseconds from the start up to now while running, up to the stop afterwards; 0 if the
    // timer has never been started.
    std::int64_t GetElapsedTime() const;
    // Microseconds on the GetMicroSecondTime() scale; 0 if never started.
    std::int64_t GetStartTime() const { return itsStartMicroseconds; }
    std::int64_t GetPeriod() const { return itsPeriodMilliseconds; }
    // True when start + period is not later than now (always true for a timer never started).
    bool HasPeriodElapsed() const;

private:
    std::int64_t itsPeriodMilliseconds;
    std::int64_t itsStartMicroseconds = 0;
    std::int64_t itsStopMicroseconds = 0;
    bool itsRunning = false;
};
