#pragma once

// A job queue backend that the test drives by hand: it records what the queue hands it and runs
// or fails a job only when the test says so, on the test's thread.

#include "host/core/XNetJob.h"
#include "host/core/XNetJobContext.h"
#include "host/core/XNetJobQueueBackend.h"
#include "host/core/XNetJobResult.h"
#include "host/core/XNetJobSharedData.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

class XManualJobQueueBackend final : public XNetJobQueueBackend, private XNetJobContext
{
public:
    // Called for every job as it is submitted, before it is stored.
    std::function<void(std::uint32_t, const XNetJob&)> itsOnSubmit;

    void Connect(XCompletionSink& inSink) override { itsSink = &inSink; }
    void AttachSharedData(std::uint32_t inID, std::unique_ptr<XNetJobSharedData> inData) override
    {
        const std::lock_guard lock(itsMutex);
        itsSharedData[inID] = std::move(inData);
    }
    void ReleaseSharedData(std::uint32_t inID) override
    {
        const std::lock_guard lock(itsMutex);
        itsSharedData.erase(inID);
        itsReleased.push_back(inID);
    }
    void SubmitJobs(XJobList inJobs) override
    {
        for (auto& [id, job] : inJobs)
        {
            if (itsOnSubmit)
            {
                itsOnSubmit(id, *job);
            }
            const std::lock_guard lock(itsMutex);
            itsOrder.push_back(id);
            itsJobs[id] = std::move(job);
        }
    }
    void CancelJobs(const std::vector<std::uint32_t>& inJobIDs) override
    {
        const std::lock_guard lock(itsMutex);
        itsCancelled.insert(itsCancelled.end(), inJobIDs.begin(), inJobIDs.end());
    }
    void Disconnect() override { itsSink = nullptr; }

    // Runs the job here and reports its result.
    void Finish(std::uint32_t inJobID)
    {
        std::unique_ptr<XNetJob> job = Take(inJobID);
        job->Execute(*this);
        itsSink->JobFinished(inJobID, job->TakeJobResult(), "");
    }
    // Reports the job as failed without running it.
    void Fail(std::uint32_t inJobID, const std::string& inReason)
    {
        Take(inJobID);
        itsSink->JobFinished(inJobID, nullptr, inReason);
    }

    XNetJob& GetJob(std::uint32_t inJobID) { return *itsJobs.at(inJobID); }
    std::vector<std::uint32_t> itsOrder;
    std::vector<std::uint32_t> itsCancelled;
    std::vector<std::uint32_t> itsReleased;

private:
    std::unique_ptr<XNetJob> Take(std::uint32_t inJobID)
    {
        const std::lock_guard lock(itsMutex);
        std::unique_ptr<XNetJob> job = std::move(itsJobs.at(inJobID));
        itsJobs.erase(inJobID);
        return job;
    }
    std::unique_ptr<XNetJobSharedData> CopySharedData(std::uint32_t inID) const override
    {
        const std::lock_guard lock(itsMutex);
        const auto found = itsSharedData.find(inID);
        return found == itsSharedData.end() ? nullptr : XClone(*found->second);
    }

    mutable std::mutex itsMutex;
    XCompletionSink* itsSink = nullptr;
    std::map<std::uint32_t, std::unique_ptr<XNetJob>> itsJobs;
    std::map<std::uint32_t, std::unique_ptr<XNetJobSharedData>> itsSharedData;
};
