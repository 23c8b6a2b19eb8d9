#pragma once

// Collects what a job queue backend reports, per job id, for the farm tests.

#include "XFarmTestJob.h"

#include "host/core/XNetJobQueueBackend.h"

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <vector>

class XFarmTestSink final : public XNetJobQueueBackend::XCompletionSink
{
public:
    struct XOutcome
    {
        std::int64_t value = -1; // the result's value, -1 without a result
        std::string failure;
    };

    void JobFinished(std::uint32_t inJobID, std::unique_ptr<XNetJobResult> inResult,
                     std::string inFailure) override
    {
        const auto* result = dynamic_cast<const XFarmTestResult*>(inResult.get());
        {
            const std::lock_guard lock(itsMutex);
            itsOutcomes[inJobID].push_back(
                {result ? static_cast<std::int64_t>(result->itsValue) : -1, std::move(inFailure)});
            ++itsCount;
        }
        itsChanged.notify_all();
    }

    // Waits until inCount reports have arrived in all; false after inLimit.
    bool WaitForCount(std::size_t inCount,
                      std::chrono::milliseconds inLimit = std::chrono::seconds(20))
    {
        std::unique_lock lock(itsMutex);
        return itsChanged.wait_for(lock, inLimit, [&] { return itsCount >= inCount; });
    }

    std::map<std::uint32_t, std::vector<XOutcome>> GetOutcomes() const
    {
        const std::lock_guard lock(itsMutex);
        return itsOutcomes;
    }
    std::size_t GetCount() const
    {
        const std::lock_guard lock(itsMutex);
        return itsCount;
    }

private:
    mutable std::mutex itsMutex;
    std::condition_variable itsChanged;
    std::map<std::uint32_t, std::vector<XOutcome>> itsOutcomes;
    std::size_t itsCount = 0;
};

// Polls inCondition until it holds; false after inLimit.
template <class TCondition>
bool XEventually(TCondition inCondition,
                 std::chrono::milliseconds inLimit = std::chrono::seconds(20))
{
    const auto end = std::chrono::steady_clock::now() + inLimit;
    while (!inCondition())
    {
        if (std::chrono::steady_clock::now() > end)
        {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}
