#include "host/core/XThread.h"
#include "host/core/WEvent.h"
#include "host/core/XCancellationScope.h"
#include "host/core/XException.h"
#include "host/core/XInternalError.h"
#include "host/core/XSessionLog.h"

#include <gtest/gtest.h>

#include <atomic>
#include <pthread.h>
#include <stdexcept>
#include <thread>

namespace
{
// Sets a flag when destroyed, to show that a stack was unwound.
class XUnwindWitness
{
public:
    explicit XUnwindWitness(std::atomic<bool>& outDestroyed) : itsDestroyed(outDestroyed) {}
    ~XUnwindWitness() { itsDestroyed = true; }
    XUnwindWitness(const XUnwindWitness&) = delete;
    XUnwindWitness& operator=(const XUnwindWitness&) = delete;

private:
    std::atomic<bool>& itsDestroyed;
};

// Polls for cancellation in an endless loop guarded by a catch of std::exception, which the
// cancellation must pass through.
class XPollingThread : public XThread
{
public:
    explicit XPollingThread(std::string inName) : XThread(std::move(inName)) {}
    ~XPollingThread() override { Stop(-1); }

    WEvent itsStarted;
    std::atomic<bool> itsUnwound{false};
    std::atomic<bool> itsReachedEnd{false};
    std::atomic<bool> itsCaughtAsStdException{false};
    std::atomic<bool> itsWasMainThread{true};
    std::atomic<int> itsRuns{0};
    std::string itsOSName;

protected:
    void Run() override
    {
        const XUnwindWitness witness(itsUnwound);
        char name[64] = {};
        pthread_getname_np(pthread_self(), name, sizeof(name));
        itsOSName = name;
        itsWasMainThread = XThread::IsMainThread();
        ++itsRuns;
        itsStarted.Set();
        try
        {
            for (;;)
            {
                XThread::TestCancelCurrentThread();
                std::this_thread::yield();
            }
        }
        catch (const std::exception&)
        {
            itsCaughtAsStdException = true;
        }
        itsReachedEnd = true;
    }
};

// Ignores cancellation: it ends only when released.
class XStubbornThread : public XThread
{
public:
    XStubbornThread() : XThread("stubborn") {}
    ~XStubbornThread() override
    {
        itsRelease.Set();
        Stop(-1);
    }

    WEvent itsRelease;

protected:
    void Run() override { itsRelease.Wait(-1); }
};

class XFailingThread : public XThread
{
public:
    XFailingThread() : XThread("failing worker") {}
    ~XFailingThread() override { Stop(-1); }

protected:
    void Run() override { throw XException(XException::kIOError, "disk unplugged"); }
};

// Uses nothing of a derived object, so once Run has begun it is safe to leave the stopping to
// XThread's destructor.
std::atomic<bool> gBaseStoppedUnwound{false};
WEvent gBaseStoppedStarted;

class XBaseStoppedThread : public XThread
{
public:
    XBaseStoppedThread() : XThread("base stopped") {}

protected:
    void Run() override
    {
        const XUnwindWitness witness(gBaseStoppedUnwound);
        gBaseStoppedStarted.Set();
        for (;;)
        {
            XThread::TestCancelCurrentThread();
            std::this_thread::yield();
        }
    }
};
} // namespace

TEST(XThreadTest, StopCancelsAPollingThreadByUnwindingItsStack)
{
    XPollingThread thread("MRayTracerPane Render Thread");
    EXPECT_EQ(thread.GetName(), "MRayTracerPane Render Thread");
    EXPECT_FALSE(thread.IsRunning());
    EXPECT_TRUE(thread.Stop(0)); // never started

    thread.Start();
    ASSERT_TRUE(thread.itsStarted.Wait(-1));
    EXPECT_TRUE(thread.IsRunning());
    EXPECT_FALSE(thread.itsUnwound);

    EXPECT_TRUE(thread.Stop(-1));
    EXPECT_FALSE(thread.IsRunning());
    EXPECT_TRUE(thread.itsUnwound);
    EXPECT_FALSE(thread.itsReachedEnd);
    EXPECT_FALSE(thread.itsCaughtAsStdException);
    EXPECT_EQ(thread.itsOSName, "MRayTracerPane ");

    // A stopped thread can be started again; the stop request of the last run is forgotten.
    thread.itsStarted.Reset();
    thread.itsUnwound = false;
    thread.Start();
    ASSERT_TRUE(thread.itsStarted.Wait(-1));
    EXPECT_TRUE(thread.Stop(-1));
    EXPECT_EQ(thread.itsRuns, 2);
    EXPECT_TRUE(thread.itsUnwound);
}

TEST(XThreadTest, StopWithALimitGivesUpOnAThreadThatIgnoresCancellation)
{
    const XInternalErrorCapture capture;
    XStubbornThread thread;
    thread.Start();
    thread.Start(); // refused: it is still running
    EXPECT_EQ(capture.GetConditions(), std::vector<std::string>{"!itsRunning"});
    EXPECT_FALSE(thread.Stop(10));
    EXPECT_TRUE(thread.IsRunning());
    thread.itsRelease.Set();
    EXPECT_TRUE(thread.Stop(-1));
    EXPECT_FALSE(thread.IsRunning());
}

TEST(XThreadTest, DestructorStopsAndJoins)
{
    gBaseStoppedUnwound = false;
    gBaseStoppedStarted.Reset();
    {
        XBaseStoppedThread thread;
        thread.Start();
        ASSERT_TRUE(gBaseStoppedStarted.Wait(-1));
    }
    EXPECT_TRUE(gBaseStoppedUnwound);
}

TEST(XThreadTest, AnErrorEscapingRunIsLoggedAndEndsTheThread)
{
    XSessionLogManager::GetManager().Clear();
    XFailingThread thread;
    thread.Start();
    EXPECT_TRUE(thread.Stop(-1));
    const auto entries = XSessionLogManager::GetManager().GetEntries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].text, "Thread \"failing worker\" ended by an error: disk unplugged");
}

TEST(XThreadTest, MainThreadIsTheTestsThread)
{
    EXPECT_TRUE(XThread::IsMainThread());

    XPollingThread thread("worker");
    thread.Start();
    ASSERT_TRUE(thread.itsStarted.Wait(-1));
    EXPECT_TRUE(thread.Stop(-1));
    EXPECT_FALSE(thread.itsWasMainThread);

    bool plainThreadIsMain = true;
    std::thread([&] { plainThreadIsMain = XThread::IsMainThread(); }).join();
    EXPECT_FALSE(plainThreadIsMain);

    std::thread([] { XThread::SetMainThread(); }).join();
    EXPECT_FALSE(XThread::IsMainThread());
    XThread::SetMainThread();
    EXPECT_TRUE(XThread::IsMainThread());
}

TEST(XThreadTest, CancellationScopesOnAPlainThreadNestAndRestore)
{
    std::atomic<bool> outer{false};
    std::atomic<bool> inner{false};
    struct XSeen
    {
        bool unscopedThrew = true;
        bool outerThrewUnset = true;
        bool innerThrewSet = false;
        bool innerReported = false;
        bool outerThrewAfterInner = true;
        bool outerThrewSet = false;
        bool afterScopesThrew = true;
    } seen;
    const auto throws = []
    {
        try
        {
            XThread::TestCancelCurrentThread();
            return false;
        }
        catch (const XThreadCancelled&)
        {
            return true;
        }
    };

    std::thread(
        [&]
        {
            seen.unscopedThrew = throws();
            {
                const XCancellationScope outerScope(outer);
                seen.outerThrewUnset = throws();
                {
                    const XCancellationScope innerScope(inner);
                    inner = true;
                    seen.innerThrewSet = throws();
                    seen.innerReported = XThread::IsCurrentThreadCancelled();
                }
                seen.outerThrewAfterInner = throws();
                outer = true;
                seen.outerThrewSet = throws();
            }
            seen.afterScopesThrew = throws();
        })
        .join();

    EXPECT_FALSE(seen.unscopedThrew);
    EXPECT_FALSE(seen.outerThrewUnset);
    EXPECT_TRUE(seen.innerThrewSet);
    EXPECT_TRUE(seen.innerReported);
    EXPECT_FALSE(seen.outerThrewAfterInner);
    EXPECT_TRUE(seen.outerThrewSet);
    EXPECT_FALSE(seen.afterScopesThrew);
    // The flags belonged to the other thread's scopes only.
    EXPECT_NO_THROW(XThread::TestCancelCurrentThread());
    EXPECT_FALSE(XThread::IsCurrentThreadCancelled());
}
