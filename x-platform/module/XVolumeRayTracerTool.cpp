#include "x-platform/module/XVolumeRayTracerTool.h"

#include "host/core/XException.h"
#include "host/core/XInternalError.h"
#include "host/core/XMutexLock.h"
#include "host/core/XProgress.h"
#include "host/core/XSessionLog.h"
#include "host/core/XThread.h"
#include "host/core/XThreadCancelled.h"
#include "host/core/XTime.h"
#include "host/imaging/X3DRect.h"
#include "host/imaging/XARGB32Volume.h"
#include "x-platform/image/XFilm.h"
#include "x-platform/image/XGaussianFilter.h"
#include "x-platform/image/XHighDynamicRangeImage.h"
#include "x-platform/image/XImageSampleFilter.h"
#include "x-platform/rendering/X3DScene.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

X_SOURCE_NAME("x-platform/XVolumeRayTracerTool");

namespace
{
constexpr const char* kThreadName = "MRayTracerPane Render Thread";
constexpr const char* kPreparingText = "Preparing data...";
constexpr const char* kFrameLogText = "Frame took %1 seconds";
// How often WaitForFrame looks whether the render thread has ended.
constexpr std::chrono::milliseconds kJoinPollInterval{5};

std::string FormatSeconds(double inSeconds)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.3f", inSeconds);
    return text;
}

// "Frame took %1 seconds" with the seconds put in place of %1.
std::string FrameLogEntry(double inSeconds)
{
    std::string text = kFrameLogText;
    const std::size_t marker = text.find("%1");
    text.replace(marker, 2, FormatSeconds(inSeconds));
    return text;
}

// Copies inSourceRect of inSource onto inDestinationRect of ioDestination, repeating source
// pixels (nearest neighbour) where the destination rectangle is larger: a column-converted
// preview fills the columns that its pass has not rendered yet.
void CopyStretched(const XARGB32Volume& inSource, const XRect& inSourceRect,
                   XARGB32Volume& ioDestination, const XRect& inDestinationRect)
{
    const X3DRect destination(inDestinationRect, 0, 1);
    if (inSourceRect.GetWidth() == inDestinationRect.GetWidth() &&
        inSourceRect.GetHeight() == inDestinationRect.GetHeight())
    {
        ioDestination.CopyRegion(inSource, X3DRect(inSourceRect, 0, 1), destination);
        return;
    }
    const std::int64_t sourceWidth = inSourceRect.GetWidth();
    const std::int64_t sourceHeight = inSourceRect.GetHeight();
    const std::int64_t width = inDestinationRect.GetWidth();
    const std::int64_t height = inDestinationRect.GetHeight();
    XARGB32Volume staging(destination);
    for (std::int64_t y = 0; y < height; ++y)
    {
        const auto sourceY =
            static_cast<std::int32_t>(inSourceRect.top + y * sourceHeight / height);
        for (std::int64_t x = 0; x < width; ++x)
        {
            const auto sourceX =
                static_cast<std::int32_t>(inSourceRect.left + x * sourceWidth / width);
            staging.At(inDestinationRect.left + static_cast<std::int32_t>(x),
                       inDestinationRect.top + static_cast<std::int32_t>(y), 0) =
                inSource.At(sourceX, sourceY, 0);
        }
    }
    ioDestination.CopyRegion(staging, destination, destination);
}

// The image of the columns that an entry's pass has rendered so far: every column for a step
// of 1 or less; otherwise every s-th column from offset mod s, with s the step halved after
// the first pass (a later pass fills the columns between those of the pass before).
std::unique_ptr<XARGB32Volume> ConvertPassColumns(const XHighDynamicRangeImage& inImage,
                                                  const XVolumeRayTracerTool::XPassKey& inKey)
{
    const auto [pass, step, offset] = inKey;
    if (step <= 1)
    {
        return inImage.ConvertToARGB32();
    }
    const std::uint32_t columnStep = pass > 1 ? step / 2 : step;
    return inImage.ConvertColumnsToARGB32(offset % columnStep, columnStep);
}
} // namespace

std::unique_ptr<XMessage> XVolumeRayTracerTool::XFrameBufferUpdateMessage::Clone() const
{
    return std::make_unique<XFrameBufferUpdateMessage>(*this);
}

XVolumeRayTracerTool::XVolumeRayTracerTool(std::unique_ptr<XNetJobQueueBackend> inBackend)
    : XThread(kThreadName), itsDistributedRenderer(std::move(inBackend)),
      itsSampleFilter(std::make_unique<XGaussianFilter>())
{
}

XVolumeRayTracerTool::~XVolumeRayTracerTool()
{
    // The bases' destructors run after the members are gone, so the render thread and the
    // message deliveries are stopped here. A thread still preparing a large scene when the limit
    // runs out is waited for all the same: it uses this object's members.
    if (!Stop(kStopLimitMilliseconds))
    {
        Stop(-1);
    }
    UnsubscribeAll();
    ReleaseCurrentFrame();
}

void XVolumeRayTracerTool::SetScene(XSharedHandle<X3DScene> inScene)
{
    itsScene = std::move(inScene);
}

void XVolumeRayTracerTool::SetRenderOptions(const XRenderOptions& inOptions)
{
    itsOptions = inOptions;
}

void XVolumeRayTracerTool::SetFrameSize(std::uint32_t inWidth, std::uint32_t inHeight)
{
    if (inWidth > std::uint32_t(XFilm::kMaxResolution) ||
        inHeight > std::uint32_t(XFilm::kMaxResolution))
    {
        throw XException(XException::kInvalidArgument, "frame size " + std::to_string(inWidth) +
                                                           " x " + std::to_string(inHeight) +
                                                           " is larger than a film can be");
    }
    auto frameBuffer = std::make_unique<XARGB32Volume>(X3DRect(
        0, 0, 0, static_cast<std::int32_t>(inWidth), static_cast<std::int32_t>(inHeight), 1));
    const XMutexLock lock(itsFrameBufferLock);
    itsFrameBuffer = std::move(frameBuffer);
}

void XVolumeRayTracerTool::SetSampleFilter(std::unique_ptr<XImageSampleFilter> inFilter)
{
    itsSampleFilter = std::move(inFilter);
}

void XVolumeRayTracerTool::StartFrame()
{
    if (!itsScene)
    {
        throw XException(XException::kInvalidArgument, "a frame needs a scene: none is set");
    }
    {
        const XMutexLock lock(itsFrameBufferLock);
        if (!itsFrameBuffer)
        {
            throw XException(XException::kInvalidArgument,
                             "a frame needs a frame size: none is set");
        }
    }
    // A start still preparing is given up, and the frame before is let go.
    Stop(-1);
    ReleaseCurrentFrame();
    {
        const XMutexLock lock(itsFrameBufferLock);
        itsStartFailure.clear();
    }
    itsProgress = 0;
    Start();
}

bool XVolumeRayTracerTool::WaitForFrame()
{
    while (IsRunning())
    {
        if (XThread::IsCurrentThreadCancelled())
        {
            return false;
        }
        std::this_thread::sleep_for(kJoinPollInterval);
    }
    itsDistributedRenderer.WaitForFrame(itsCurrentFrameID.load());
    return !XThread::IsCurrentThreadCancelled();
}

void XVolumeRayTracerTool::CancelFrame()
{
    Stop(-1);
    // Waits for a message being handled on another thread, so that no update follows; the next
    // frame subscribes again.
    Unsubscribe(itsDistributedRenderer);
    const std::uint32_t frameID = itsCurrentFrameID.load();
    if (frameID != 0)
    {
        itsDistributedRenderer.CancelFrame(frameID);
    }
    ReleaseCurrentFrame();
    SetState(kStateIdle);
}

std::string XVolumeRayTracerTool::GetStartFailure() const
{
    const XMutexLock lock(itsFrameBufferLock);
    return itsStartFailure;
}

std::vector<std::string> XVolumeRayTracerTool::GetFrameFailures() const
{
    return itsDistributedRenderer.GetFailures(itsCurrentFrameID.load());
}

bool XVolumeRayTracerTool::MustPrepareScene() const
{
    return itsScene && !itsScene->IsPrepared();
}

const XImageSampleFilter* XVolumeRayTracerTool::GetSampleFilter() const
{
    return itsSampleFilter.get();
}

void XVolumeRayTracerTool::Run()
{
    XProgress progress(1, 3, 2000, false);
    progress.SetMessage(kPreparingText);
    try
    {
        if (MustPrepareScene())
        {
            itsScene->Prepare();
        }
        Subscribe(itsDistributedRenderer);
        itsDistributedRenderer.SetRenderOptions(itsOptions);

        // The lock is held until the frame id is stored, so that the first messages of the new
        // frame, which may arrive before RenderFrame returns, wait for it instead of being
        // taken for another frame's.
        const XMutexLock lock(itsFrameBufferLock);
        X_ASSERT(itsFrameBuffer);
        if (!itsFrameBuffer)
        {
            throw XException(XException::kInvalidArgument, "a frame needs a frame buffer");
        }
        const XRect frameRect = itsFrameBuffer->GetBounds().GetXYBounds();
        const std::int32_t tile = XDistributedRenderer::kTileSize;
        if (frameRect.GetWidth() < tile || frameRect.GetHeight() < tile)
        {
            throw XException(XException::kInvalidArgument,
                             "a frame of " + std::to_string(frameRect.GetWidth()) + " x " +
                                 std::to_string(frameRect.GetHeight()) +
                                 " pixels is smaller than one tile of " + std::to_string(tile) +
                                 " x " + std::to_string(tile) + " pixels");
        }
        const XImageSampleFilter* const filter = GetSampleFilter();
        auto film = std::make_unique<XFilm>(static_cast<float>(frameRect.GetWidth()),
                                            static_cast<float>(frameRect.GetHeight()),
                                            filter ? XClone(*filter) : nullptr);
        itsFrameTimer.Restart();
        XSharedHandle<X3DScene> scene = itsScene;
        itsCurrentFrameID = itsDistributedRenderer.RenderFrame(std::move(scene), std::move(film));
        SetState(kStateRendering);
    }
    catch (const XException& inError)
    {
        {
            const XMutexLock lock(itsFrameBufferLock);
            itsStartFailure = inError.what();
        }
        SetState(kStateIdle);
    }
}

void XVolumeRayTracerTool::HandleMessage(const XMessage& inMessage)
{
    if (const auto* tile =
            dynamic_cast<const XDistributedRenderer::XTileRenderFinishedMessage*>(&inMessage))
    {
        HandleTileMessage(*tile);
    }
    else if (const auto* frame =
                 dynamic_cast<const XDistributedRenderer::XFrameRenderFinishedMessage*>(&inMessage))
    {
        HandleFrameMessage(*frame);
    }
}

void XVolumeRayTracerTool::HandleTileMessage(
    const XDistributedRenderer::XTileRenderFinishedMessage& inMessage)
{
    {
        // Under the lock: a frame being submitted has stored its id before this reads it.
        const XMutexLock lock(itsFrameBufferLock);
        if (inMessage.itsFrameID == 0 || inMessage.itsFrameID != itsCurrentFrameID.load())
        {
            return;
        }
    }

    const XPassKey key(inMessage.itsPass, inMessage.itsStep, inMessage.itsOffset);
    itsPendingUpdates[key].push_back(inMessage.itsTileRect);
    // A tile stays listed only under the latest pass that rendered it.
    const auto entry = itsPendingUpdates.find(key);
    for (auto earlier = itsPendingUpdates.begin(); earlier != entry; ++earlier)
    {
        std::list<XRect>& rects = earlier->second;
        const auto found = std::find_if(rects.begin(), rects.end(),
                                        [&](const XRect& inRect)
                                        { return inRect.IsEqual(inMessage.itsTileRect); });
        if (found != rects.end())
        {
            rects.erase(found);
        }
    }

    if (!itsUpdateTimer.HasPeriodElapsed())
    {
        return;
    }

    itsLastTileRect = inMessage.itsTileRect;
    std::unique_ptr<XHighDynamicRangeImage> image;
    {
        // The id is checked again under the lock that releasing a frame takes to change it, so
        // the frame still exists while its image is taken.
        const XMutexLock lock(itsFrameBufferLock);
        if (inMessage.itsFrameID != itsCurrentFrameID.load())
        {
            return;
        }
        image = itsDistributedRenderer.GetFrameImage(inMessage.itsFrameID);
    }
    if (!image)
    {
        return; // the frame was cancelled meanwhile: nothing to show
    }

    for (const auto& [passKey, rects] : itsPendingUpdates)
    {
        if (rects.empty())
        {
            continue;
        }
        const std::unique_ptr<XARGB32Volume> converted = ConvertPassColumns(*image, passKey);
        const XRect convertedRect = converted->GetBounds().GetXYBounds();

        const XMutexLock lock(itsFrameBufferLock);
        if (!itsFrameBuffer)
        {
            break;
        }
        const XRect frameRect = itsFrameBuffer->GetBounds().GetXYBounds();
        for (const XRect& rect : rects)
        {
            // A tile of a frame size that has changed meanwhile may lie outside the buffer.
            if (rect.IsEmpty() || !frameRect.Contains(rect))
            {
                continue;
            }
            const XRect sourceRect = rect.Map(frameRect, convertedRect).Sect(convertedRect);
            if (sourceRect.IsEmpty())
            {
                continue;
            }
            CopyStretched(*converted, sourceRect, *itsFrameBuffer, rect);
        }
    }

    itsPendingUpdates.clear();
    itsProgress = static_cast<std::int32_t>(inMessage.itsPercent);
    itsUpdateTimer.Restart();
    SpeakMessage(XFrameBufferUpdateMessage(this), false);
}

void XVolumeRayTracerTool::HandleFrameMessage(
    const XDistributedRenderer::XFrameRenderFinishedMessage& inMessage)
{
    double seconds = 0;
    {
        const XMutexLock lock(itsFrameBufferLock);
        if (inMessage.itsFrameID == 0 || inMessage.itsFrameID != itsCurrentFrameID.load())
        {
            return;
        }
        seconds = static_cast<double>(itsFrameTimer.GetElapsedTime()) / 1000.0;
        itsFrameImage.reset();
        itsFrameImage = itsDistributedRenderer.GetFrameImage(inMessage.itsFrameID);
        if (itsFrameImage)
        {
            itsFrameBuffer = itsFrameImage->ConvertToARGB32();
        }
    }
    XSessionLogManager::GetManager().AddEntry(FrameLogEntry(seconds), GetMicroSecondTime());
    itsProgress = 100;
    SetState(kStateIdle);
    // Spoken outside the lock, so that a listener can read the frame buffer under it.
    SpeakMessage(XFrameBufferUpdateMessage(this), false);
}

void XVolumeRayTracerTool::ReleaseCurrentFrame()
{
    std::uint32_t frameID = 0;
    {
        // Changed under the lock, so that a message handler that still sees the old id finishes
        // taking the frame's image before the frame goes.
        const XMutexLock lock(itsFrameBufferLock);
        frameID = itsCurrentFrameID.exchange(0);
    }
    if (frameID != 0)
    {
        // Outside the lock: releasing waits for a delivery in progress, which may need the lock.
        itsDistributedRenderer.ReleaseFrame(frameID);
    }
}
