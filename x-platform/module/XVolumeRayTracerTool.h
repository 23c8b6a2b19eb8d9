#pragma once

#include "host/core/XListener.h"
#include "host/core/XMessage.h"
#include "host/core/XMutex.h"
#include "host/core/XSharedHandle.h"
#include "host/core/XSpeaker.h"
#include "host/core/XThread.h"
#include "host/core/XTimer.h"
#include "host/imaging/XRect.h"
#include "x-platform/core/XRenderOptions.h"
#include "x-platform/distributed/XDistributedRenderer.h"

#include <atomic>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <tuple>

class X3DScene;
class XARGB32Volume;
class XFilm;
class XHighDynamicRangeImage;
class XImageSampleFilter;
class XNetJobQueueBackend;

// Renders frames one at a time for a view and keeps a displayable 32-bit ARGB frame buffer up
// to date while a frame's tiles come in. A frame starts on the tool's own thread ("MRayTracerPane
// Render Thread"), which prepares the scene and submits the frame to the distributed renderer;
// the tile messages then update the frame buffer at most once per update period, each update
// announced with XFrameBufferUpdateMessage, and the frame message puts the finished frame into
// the frame buffer and logs "Frame took %1 seconds".
class XVolumeRayTracerTool : public XListener, public XThread, public XSpeaker
{
public:
    // Spoken after every change of the frame buffer; no fields of its own.
    class XFrameBufferUpdateMessage : public XMessage
    {
    public:
        explicit XFrameBufferUpdateMessage(const XSpeaker* inSpeaker) : XMessage(inSpeaker) {}
        std::unique_ptr<XMessage> Clone() const override;
    };

    // (pass, step, offset) of the pass that rendered a tile.
    using XPassKey = std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>;
    using XPendingUpdates = std::map<XPassKey, std::list<XRect>>;

    static constexpr std::int32_t kStateIdle = 0;
    static constexpr std::int32_t kStateRendering = 2;
    static constexpr std::int32_t kStopLimitMilliseconds = 2702;
    static constexpr std::int64_t kUpdatePeriodMilliseconds = 1000;

    // inBackend: where the frames' jobs run (null: worker threads here, one per core). The
    // sample filter is a Gaussian of widths 16 and 16, alpha 1.5625, until set otherwise.
    explicit XVolumeRayTracerTool(std::unique_ptr<XNetJobQueueBackend> inBackend = nullptr);
    // Stops the render thread (waiting up to kStopLimitMilliseconds), then releases the frame.
    ~XVolumeRayTracerTool() override;

    void SetScene(XSharedHandle<X3DScene> inScene);
    void SetRenderOptions(const XRenderOptions& inOptions);
    // Replaces the frame buffer by a black one of that size; its size is the next frame's.
    void SetFrameSize(std::uint32_t inWidth, std::uint32_t inHeight);
    // The filter every frame's film gets a clone of; null for none.
    void SetSampleFilter(std::unique_ptr<XImageSampleFilter> inFilter);

    // Starts a frame on the render thread; the previous frame is released first. The scene and
    // the frame size must be set.
    void StartFrame();
    // Waits for the render thread and then for the frame. Returns false, leaving the frame
    // running, when the calling thread is cancelled meanwhile.
    bool WaitForFrame();
    // Stops the render thread and cancels and releases the current frame; no update follows.
    void CancelFrame();

    std::int32_t GetProgress() const { return itsProgress.load(); }
    std::int32_t GetState() const { return itsState.load(); }
    std::uint32_t GetCurrentFrameID() const { return itsCurrentFrameID.load(); }
    // Why the last frame failed to start (empty when it started).
    std::string GetStartFailure() const;
    // Failed jobs of the current frame (see XDistributedRenderer::GetFailures).
    std::vector<std::string> GetFrameFailures() const;

    // Readers of the frame buffer and the frame image hold this lock.
    XMutex& GetFrameBufferLock() const { return itsFrameBufferLock; }
    // The displayable frame, or null; read under the frame-buffer lock.
    const XARGB32Volume* GetFrameBuffer() const { return itsFrameBuffer.get(); }
    // The floating-point image of the last finished frame, or null; read under the lock.
    const XHighDynamicRangeImage* GetFrameImage() const { return itsFrameImage.get(); }
    // Tiles collected since the last frame-buffer update (only HandleMessage's thread changes
    // them: call between messages).
    const XPendingUpdates& GetPendingUpdates() const { return itsPendingUpdates; }

    XDistributedRenderer& GetDistributedRenderer() { return itsDistributedRenderer; }

    void HandleMessage(const XMessage& inMessage) override;

    // Renders every pixel of the film's sample rectangle on inThreads threads (0: one per core)
    // and adds the samples to ioFilm, directly through the tracer's region loop, without jobs.
    // The prepared scene is shared read-only by all threads; each renders interleaved columns
    // into a film of its own, and the films are merged at the end, so with one sample per pixel
    // side the result equals a single-threaded render. Progress is spoken as "Rendering"
    // through the progress centre. A cancellation of the calling thread stops every helper and
    // is passed on.
    static void RenderFilm(const XSharedHandle<X3DScene>& inScene, const XRenderOptions& inOptions,
                           XFilm& ioFilm, std::uint32_t inThreads);

protected:
    void Run() override;
    // Whether Run must prepare the scene first: when it is not prepared.
    virtual bool MustPrepareScene() const;
    // The filter for the next frame's film, or null.
    virtual const XImageSampleFilter* GetSampleFilter() const;
    virtual void SetState(std::int32_t inState) { itsState = inState; }

private:
    void HandleTileMessage(const XDistributedRenderer::XTileRenderFinishedMessage& inMessage);
    void HandleFrameMessage(const XDistributedRenderer::XFrameRenderFinishedMessage& inMessage);
    void ReleaseCurrentFrame();

    XRenderOptions itsOptions;
    XSharedHandle<X3DScene> itsScene;
    XDistributedRenderer itsDistributedRenderer;
    std::unique_ptr<XHighDynamicRangeImage> itsFrameImage;
    std::unique_ptr<XARGB32Volume> itsFrameBuffer;
    mutable XMutex itsFrameBufferLock{4000, false};
    std::atomic<std::int32_t> itsProgress{0};
    std::atomic<std::int32_t> itsState{kStateIdle};
    XRect itsLastTileRect;
    XPendingUpdates itsPendingUpdates;
    std::atomic<std::uint32_t> itsCurrentFrameID{0};
    XTimer itsUpdateTimer{kUpdatePeriodMilliseconds};
    XTimer itsFrameTimer{0};
    std::unique_ptr<XImageSampleFilter> itsSampleFilter;
    std::string itsStartFailure; // under the frame-buffer lock
};
