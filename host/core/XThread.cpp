#include "host/core/XThread.h"

#include "host/core/XCancellationScope.h"
#include "host/core/XInternalError.h"
#include "host/core/XSessionLog.h"

#include <chrono>
#include <exception>
#include <pthread.h>

X_SOURCE_NAME("host/core/XThread");

namespace
{
// Both are constant-initialised, so reading them is a plain thread-local load. The initial-exec
// model keeps that true inside the loadable module too, where the default model would go through
// __tls_get_addr (which may allocate on a thread's first access).
__attribute__((tls_model("initial-exec"))) thread_local const std::atomic<bool>* tCancelFlag =
    nullptr;
__attribute__((tls_model("initial-exec"))) thread_local const XThread* tCurrentThread = nullptr;

// The first use records the calling thread: normally main, during static initialisation.
std::atomic<std::thread::id>& MainThread()
{
    static std::atomic<std::thread::id> mainThread{std::this_thread::get_id()};
    return mainThread;
}

[[maybe_unused]] const bool gMainThreadRecorded = (MainThread(), true);

// Linux limits thread names to 15 characters.
constexpr std::size_t kMaxOSThreadName = 15;
} // namespace

XThread::XThread(std::string inName) : itsName(std::move(inName)) {}

XThread::~XThread()
{
    if (tCurrentThread == this)
    {
        // Destroyed by its own Run: nothing can wait for it, and Body would touch a dead object.
        X_ASSERT(tCurrentThread != this);
        itsThread.detach();
        return;
    }
    Stop(-1);
}

void XThread::Start()
{
    const std::lock_guard control(itsControlMutex);
    {
        const std::lock_guard state(itsStateMutex);
        if (itsRunning)
        {
            X_ASSERT(!itsRunning);
            return;
        }
        itsRunning = true;
    }
    if (itsThread.joinable())
    {
        itsThread.join(); // an earlier run that has ended but was not waited for
    }
    itsStopRequested.store(false);
    try
    {
        itsThread = std::thread([this] { Body(); });
    }
    catch (...)
    {
        const std::lock_guard state(itsStateMutex);
        itsRunning = false;
        throw;
    }
}

bool XThread::Stop(std::int32_t inTimeoutMilliseconds)
{
    RequestStop();
    if (tCurrentThread == this)
    {
        return false;
    }
    const std::lock_guard control(itsControlMutex);
    {
        std::unique_lock state(itsStateMutex);
        const auto ended = [this] { return !itsRunning; };
        if (inTimeoutMilliseconds < 0)
        {
            itsEnded.wait(state, ended);
        }
        else if (!itsEnded.wait_for(state, std::chrono::milliseconds(inTimeoutMilliseconds), ended))
        {
            return false;
        }
    }
    if (itsThread.joinable())
    {
        itsThread.join();
    }
    return true;
}

void XThread::RequestStop()
{
    itsStopRequested.store(true);
}

bool XThread::IsRunning() const
{
    const std::lock_guard state(itsStateMutex);
    return itsRunning;
}

void XThread::TestCancelCurrentThread()
{
    const std::atomic<bool>* const flag = tCancelFlag;
    if (flag != nullptr && flag->load(std::memory_order_relaxed))
    {
        throw XThreadCancelled();
    }
}

bool XThread::IsCurrentThreadCancelled()
{
    const std::atomic<bool>* const flag = tCancelFlag;
    return flag != nullptr && flag->load(std::memory_order_relaxed);
}

bool XThread::IsMainThread()
{
    return MainThread().load() == std::this_thread::get_id();
}

void XThread::SetMainThread()
{
    MainThread().store(std::this_thread::get_id());
}

const std::atomic<bool>* XThread::ExchangeCancelFlag(const std::atomic<bool>* inFlag)
{
    const std::atomic<bool>* const previous = tCancelFlag;
    tCancelFlag = inFlag;
    return previous;
}

void XThread::Body()
{
    pthread_setname_np(pthread_self(), itsName.substr(0, kMaxOSThreadName).c_str());
    tCurrentThread = this;
    {
        const XCancellationScope scope(itsStopRequested);
        try
        {
            Run();
        }
        catch (const XThreadCancelled&)
        {
        }
        catch (const std::exception& inError)
        {
            XSessionLogManager::GetManager().AddEntry("Thread \"" + itsName +
                                                      "\" ended by an error: " + inError.what());
        }
        catch (...)
        {
            XSessionLogManager::GetManager().AddEntry("Thread \"" + itsName +
                                                      "\" ended by an unknown error");
        }
    }
    tCurrentThread = nullptr;
    const std::lock_guard state(itsStateMutex);
    itsRunning = false;
    itsEnded.notify_all();
}
