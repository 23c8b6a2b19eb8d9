#pragma once

#include "host/core/XThreadCancelled.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

// A named thread whose body is Run(). Stopping is cooperative: RequestStop sets a flag that Run
// observes through TestCancelCurrentThread (which unwinds Run with XThreadCancelled) or
// IsCurrentThreadCancelled. An exception escaping Run is written to the session log.
//
// The destructor stops the thread and joins it without limit, but by then a derived object is
// already destroyed: a derived class whose Run uses its own members must call Stop in its own
// destructor.
class XThread
{
public:
    explicit XThread(std::string inName);
    virtual ~XThread();
    XThread(const XThread&) = delete;
    XThread& operator=(const XThread&) = delete;

    // Starts Run on a new thread; a thread that is still running is reported and left alone.
    void Start();
    // Asks the thread to stop and waits up to the limit (negative: no limit) for it to end.
    // True when it has ended (or never ran). Called from the thread itself, it only asks.
    bool Stop(std::int32_t inTimeoutMilliseconds);
    void RequestStop();
    bool IsRunning() const;
    const std::string& GetName() const { return itsName; }

    // Throws XThreadCancelled when the current thread's cancellation flag is set. Cheap enough
    // to call after every sample: no lock, no allocation.
    static void TestCancelCurrentThread();
    static bool IsCurrentThreadCancelled();

    // The main thread is the one that initialised this library's statics, unless set otherwise.
    static bool IsMainThread();
    static void SetMainThread();

protected:
    virtual void Run() = 0;

private:
    friend class XCancellationScope;
    // Installs a new cancellation flag (may be null) for the calling thread; returns the old one.
    static const std::atomic<bool>* ExchangeCancelFlag(const std::atomic<bool>* inFlag);

    void Body();

    const std::string itsName;
    std::atomic<bool> itsStopRequested{false};
    std::mutex itsControlMutex; // serialises Start, Stop and the destructor
    mutable std::mutex itsStateMutex;
    std::condition_variable itsEnded;
    bool itsRunning = false;
    std::thread itsThread;
};
