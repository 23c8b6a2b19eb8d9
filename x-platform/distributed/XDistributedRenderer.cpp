#include "x-platform/distributed/XDistributedRenderer.h"

#include "host/core/XException.h"
#include "host/core/XInternalError.h"
#include "host/core/XNetJobCompletedMessage.h"
#include "host/core/XSessionLog.h"
#include "host/core/XThread.h"
#include "host/core/XThreadCancelled.h"
#include "x-platform/distributed/XRayTracerNetJobSharedData.h"
#include "x-platform/distributed/XRenderNetJob.h"
#include "x-platform/distributed/XRenderNetJobResult.h"
#include "x-platform/image/XFilm.h"
#include "x-platform/image/XHighDynamicRangeImage.h"

#include <algorithm>
#include <atomic>
#include <optional>
#include <string>
#include <typeinfo>
#include <utility>
#include <variant>

X_SOURCE_NAME("x-platform/XDistributedRenderer");

namespace
{
// Frame ids are unique across all renderers of the process; the first is 1.
std::atomic<std::uint32_t> gLastFrameID{0};
} // namespace

std::unique_ptr<XMessage> XDistributedRenderer::XFrameRenderFinishedMessage::Clone() const
{
    return std::make_unique<XFrameRenderFinishedMessage>(*this);
}

std::unique_ptr<XMessage> XDistributedRenderer::XTileRenderFinishedMessage::Clone() const
{
    return std::make_unique<XTileRenderFinishedMessage>(*this);
}

XDistributedRenderer::XDistributedRenderer(std::unique_ptr<XNetJobQueueBackend> inBackend)
    : itsJobQueue(0, true, false, true, std::move(inBackend))
{
    Subscribe(itsJobQueue);
}

XDistributedRenderer::~XDistributedRenderer()
{
    // After the disconnect no completion is delivered, so the frames can go.
    itsJobQueue.DisconnectFromICS();
    UnsubscribeAll();
    const std::lock_guard lock(itsFramesMutex);
    itsFrames.clear();
}

std::uint32_t XDistributedRenderer::RenderFrame(XSharedHandle<X3DScene> inScene,
                                                std::unique_ptr<XFilm> inFilm)
{
    const auto width = static_cast<std::int32_t>(inFilm->GetResolutionX());
    const auto height = static_cast<std::int32_t>(inFilm->GetResolutionY());
    const std::int32_t columns = static_cast<std::int32_t>(static_cast<float>(width) * 0.03125f);
    const std::int32_t rows = static_cast<std::int32_t>(static_cast<float>(height) * 0.03125f);
    if (columns < 1 || rows < 1)
    {
        // Such a film has no tiles, and its passes would never end.
        throw XException(XException::kInvalidArgument,
                         "a frame of " + std::to_string(width) + " x " + std::to_string(height) +
                             " pixels is smaller than one tile of " + std::to_string(kTileSize) +
                             " x " + std::to_string(kTileSize));
    }
    const std::uint32_t sharedDataID = itsJobQueue.AttachSharedData(
        std::make_unique<XRayTracerNetJobSharedData>(std::move(inScene)));
    const std::uint32_t frameID = ++gLastFrameID;
    const std::int32_t remainderX = width & 31;
    const std::int32_t remainderY = height & 31;

    XFrameInfo frame;
    std::uint32_t pass = 1;
    for (std::uint32_t loop = 7; loop != 0; ++pass)
    {
        for (std::int32_t r = 0; r < rows; ++r)
        {
            for (std::int32_t c = 0; c < columns; ++c)
            {
                XRect tile(kTileSize * c, kTileSize * r, kTileSize * (c + 1), kTileSize * (r + 1));
                if (c == columns - 1)
                {
                    tile.right += remainderX;
                }
                if (r == rows - 1)
                {
                    tile.bottom += remainderY;
                }
                const std::uint32_t step = 8u >> std::max<std::int32_t>(pass - 2, 0);
                const std::uint32_t a = 8u >> (pass - 1);
                loop = a - 1;
                std::int32_t offset =
                    static_cast<std::int32_t>(a - 1) - tile.left % static_cast<std::int32_t>(step);
                if (offset < 0)
                {
                    offset += static_cast<std::int32_t>(step);
                }
                auto job = std::make_unique<XRenderNetJob>(
                    sharedDataID, itsOptions, inFilm->CreateSubFilm(tile), frameID, pass, step,
                    static_cast<std::uint32_t>(offset));
                const std::uint32_t jobID = itsJobQueue.GetNextJobID();
                frame.itsJobs.push_back(jobID);
                frame.itsJobTiles.emplace(jobID, std::make_pair(tile, pass));
                itsJobQueue.AttachJob(jobID, std::move(job), true);
            }
        }
    }
    frame.itsTotalJobs = static_cast<std::uint64_t>(pass - 1) * rows * columns;
    frame.itsFilm = std::move(inFilm);
    frame.itsDoneEvent = std::make_shared<WEvent>(true);
    const std::vector<std::uint32_t> jobs = frame.itsJobs;
    {
        const std::lock_guard lock(itsFramesMutex);
        XFrameInfo& inserted = itsFrames.emplace(frameID, std::move(frame)).first->second;
        inserted.itsTimer.Start();
    }
    // Only now may completions arrive: the record they look for exists.
    itsJobQueue.ResumeJobs(jobs);
    return frameID;
}

void XDistributedRenderer::WaitForFrame(std::uint32_t inFrameID)
{
    std::vector<std::uint32_t> jobs;
    std::shared_ptr<WEvent> done;
    {
        const std::lock_guard lock(itsFramesMutex);
        const auto iter = itsFrames.find(inFrameID);
        if (iter == itsFrames.end())
        {
            return;
        }
        // Every job of the frame, not only those still listed: the last one leaves the list
        // before its completion has been fully handled, which the queue's wait covers.
        for (const auto& [jobID, tile] : iter->second.itsJobTiles)
        {
            jobs.push_back(jobID);
        }
        done = iter->second.itsDoneEvent;
    }
    try
    {
        itsJobQueue.WaitForJobsToCompleteWithProgress(jobs, "");
    }
    catch (const XThreadCancelled&)
    {
        // The caller decides whether to cancel the frame.
        return;
    }
    catch (const XException& error)
    {
        XSessionLogManager::GetManager().AddEntry(std::string("Waiting for a frame failed: ") +
                                                  error.what());
        return;
    }
    if (!XThread::IsMainThread())
    {
        done->Wait(-1, true);
    }
}

std::unique_ptr<XHighDynamicRangeImage>
XDistributedRenderer::GetFrameImage(std::uint32_t inFrameID) const
{
    const std::lock_guard lock(itsFramesMutex);
    const auto iter = itsFrames.find(inFrameID);
    X_ASSERT(iter != itsFrames.end());
    if (iter == itsFrames.end() || !iter->second.itsFilm)
    {
        return nullptr;
    }
    float statistic = 0; // not needed here
    return iter->second.itsFilm->ConvertToImage(statistic);
}

std::optional<std::vector<std::uint32_t>>
XDistributedRenderer::CopyOpenJobs(std::uint32_t inFrameID) const
{
    const std::lock_guard lock(itsFramesMutex);
    const auto iter = itsFrames.find(inFrameID);
    if (iter == itsFrames.end())
    {
        return std::nullopt;
    }
    return iter->second.itsJobs;
}

void XDistributedRenderer::CancelFrame(std::uint32_t inFrameID)
{
    const auto jobs = CopyOpenJobs(inFrameID);
    if (!jobs)
    {
        return;
    }
    // Outside the lock: deleting waits for a delivery in progress, which takes the lock.
    itsJobQueue.AsyncDeleteJobs(*jobs);
    const std::lock_guard lock(itsFramesMutex);
    const auto iter = itsFrames.find(inFrameID);
    if (iter != itsFrames.end())
    {
        iter->second.itsFilm.reset();
        // Its jobs will never complete; a waiter must not wait for them.
        iter->second.itsDoneEvent->Set();
    }
}

void XDistributedRenderer::ReleaseFrame(std::uint32_t inFrameID)
{
    const auto jobs = CopyOpenJobs(inFrameID);
    if (!jobs)
    {
        return;
    }
    if (!jobs->empty())
    {
        itsJobQueue.AsyncDeleteJobs(*jobs);
    }
    const std::lock_guard lock(itsFramesMutex);
    itsFrames.erase(inFrameID);
}

std::size_t XDistributedRenderer::GetRemainingJobCount(std::uint32_t inFrameID) const
{
    const std::lock_guard lock(itsFramesMutex);
    const auto iter = itsFrames.find(inFrameID);
    return iter == itsFrames.end() ? 0 : iter->second.itsJobs.size();
}

std::vector<std::string> XDistributedRenderer::GetFailures(std::uint32_t inFrameID) const
{
    const std::lock_guard lock(itsFramesMutex);
    const auto iter = itsFrames.find(inFrameID);
    return iter == itsFrames.end() ? std::vector<std::string>{} : iter->second.itsFailures;
}

void XDistributedRenderer::HandleMessage(const XMessage& inMessage)
{
    if (typeid(inMessage) != typeid(XNetJobCompletedMessage))
    {
        return;
    }
    const auto& completed = static_cast<const XNetJobCompletedMessage&>(inMessage);
    const std::unique_ptr<XNetJobResult> copy = completed.GetResultCopy();
    const auto* result = dynamic_cast<const XRenderNetJobResult*>(copy.get());

    // The message to speak once the frame map is let go.
    std::variant<std::monostate, XTileRenderFinishedMessage, XFrameRenderFinishedMessage> reply;
    // Shared, so that a frame released while the message is spoken keeps its event alive.
    std::shared_ptr<WEvent> done;
    {
        const std::lock_guard lock(itsFramesMutex);
        if (result == nullptr)
        {
            // A job that produced no render result: it still counts as completed.
            for (auto& [frameID, frame] : itsFrames)
            {
                const auto jobIter =
                    std::find(frame.itsJobs.begin(), frame.itsJobs.end(), completed.GetJobID());
                if (jobIter == frame.itsJobs.end())
                {
                    continue;
                }
                frame.itsJobs.erase(jobIter);
                const auto tile = frame.itsJobTiles.find(completed.GetJobID());
                if (tile != frame.itsJobTiles.end())
                {
                    const XRect& rect = tile->second.first;
                    const std::string failure =
                        "tile (" + std::to_string(rect.left) + ", " + std::to_string(rect.top) +
                        ") pass " + std::to_string(tile->second.second) + ": " +
                        (completed.GetFailure().empty() ? "no result" : completed.GetFailure());
                    frame.itsFailures.push_back(failure);
                    XSessionLogManager::GetManager().AddEntry("Render job failed: " + failure);
                }
                if (frame.itsJobs.empty())
                {
                    frame.itsTimer.Stop();
                    reply.emplace<XFrameRenderFinishedMessage>(this, frameID,
                                                               frame.itsTimer.GetElapsedTime());
                    done = frame.itsDoneEvent;
                }
            }
        }
        else
        {
            const auto iter = itsFrames.find(result->GetFrameID());
            if (iter == itsFrames.end())
            {
                return; // released
            }
            XFrameInfo& frame = iter->second;
            const auto jobidIter =
                std::find(frame.itsJobs.begin(), frame.itsJobs.end(), completed.GetJobID());
            X_ASSERT(jobidIter != iter->second.itsJobs.end());
            if (jobidIter == frame.itsJobs.end())
            {
                return;
            }
            frame.itsJobs.erase(jobidIter);
            if (frame.itsJobs.empty())
            {
                frame.itsTimer.Stop();
            }
            const XFilm* itsFilm = result->GetFilm();
            X_ASSERT(itsFilm);
            if (itsFilm != nullptr && frame.itsFilm)
            {
                frame.itsFilm->Merge(*itsFilm);
            }
            const std::int64_t elapsed = frame.itsTimer.GetElapsedTime();
            if (frame.itsJobs.empty())
            {
                reply.emplace<XFrameRenderFinishedMessage>(this, iter->first, elapsed);
                done = frame.itsDoneEvent;
            }
            else
            {
                const float percent =
                    static_cast<float>(frame.itsTotalJobs - frame.itsJobs.size()) /
                    static_cast<float>(frame.itsTotalJobs) * 100.0f;
                reply.emplace<XTileRenderFinishedMessage>(
                    this, iter->first, elapsed, static_cast<std::uint32_t>(percent),
                    result->GetPass(), result->GetStep(), result->GetOffset(),
                    itsFilm != nullptr ? itsFilm->GetSampleRect() : XRect());
            }
        }
    }
    if (const auto* tile = std::get_if<XTileRenderFinishedMessage>(&reply))
    {
        SpeakMessage(*tile, false);
    }
    else if (const auto* frame = std::get_if<XFrameRenderFinishedMessage>(&reply))
    {
        SpeakMessage(*frame, false);
        done->Set();
    }
}
