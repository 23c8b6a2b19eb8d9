#pragma once

#include <atomic>

// Makes a caller-owned flag the current thread's cancellation flag for the scope's lifetime, so
// that XThread::TestCancelCurrentThread throws XThreadCancelled once the flag is set. Worker
// threads that are not XThreads use it to cancel one job at a time. Scopes nest: on exit the
// previous flag (or none) is restored. The flag must outlive the scope.
class XCancellationScope
{
public:
    explicit XCancellationScope(const std::atomic<bool>& inFlag);
    ~XCancellationScope();
    XCancellationScope(const XCancellationScope&) = delete;
    XCancellationScope& operator=(const XCancellationScope&) = delete;

private:
    const std::atomic<bool>* const itsPrevious;
};
