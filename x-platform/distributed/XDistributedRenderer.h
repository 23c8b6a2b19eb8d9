#pragma once

#include "host/core/WEvent.h"
#include "host/core/XListener.h"
#include "host/core/XMessage.h"
#include "host/core/XNetJobQueue.h"
#include "host/core/XSharedHandle.h"
#include "host/core/XSpeaker.h"
#include "host/core/XTimer.h"
#include "host/imaging/XRect.h"
#include "x-platform/core/XRenderOptions.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

class X3DScene;
class XFilm;
class XHighDynamicRangeImage;
class XNetJobQueueBackend;

// Renders frames through a job queue: each frame's film is cut into 32 x 32 tiles (the last
// column and row absorb the remainder) and four refinement passes, (step, offset) = (8, 7),
// (8, 3), (4, 1), (2, 0); every (tile, pass) is an XRenderNetJob. Results are merged into the
// frame's film as they arrive, on the queue's delivery thread, and each is announced with
// XTileRenderFinishedMessage, the last one with XFrameRenderFinishedMessage instead. Several
// frames may be in flight, each known by its id.
class XDistributedRenderer : public XListener, public XSpeaker
{
public:
    class XFrameRenderFinishedMessage : public XMessage
    {
    public:
        XFrameRenderFinishedMessage(const XSpeaker* inSpeaker, std::uint32_t inFrameID,
                                    std::int64_t inElapsed)
            : XMessage(inSpeaker), itsFrameID(inFrameID), itsElapsed(inElapsed)
        {
        }
        std::unique_ptr<XMessage> Clone() const override;

        std::uint32_t itsFrameID;
        std::int64_t itsElapsed; // milliseconds
    };

    class XTileRenderFinishedMessage : public XMessage
    {
    public:
        XTileRenderFinishedMessage(const XSpeaker* inSpeaker, std::uint32_t inFrameID,
                                   std::int64_t inElapsed, std::uint32_t inPercent,
                                   std::uint32_t inPass, std::uint32_t inStep,
                                   std::uint32_t inOffset, const XRect& inTileRect)
            : XMessage(inSpeaker), itsFrameID(inFrameID), itsElapsed(inElapsed),
              itsPercent(inPercent), itsPass(inPass), itsStep(inStep), itsOffset(inOffset),
              itsTileRect(inTileRect)
        {
        }
        std::unique_ptr<XMessage> Clone() const override;

        std::uint32_t itsFrameID;
        std::int64_t itsElapsed; // milliseconds
        std::uint32_t itsPercent;
        std::uint32_t itsPass;
        std::uint32_t itsStep;
        std::uint32_t itsOffset;
        XRect itsTileRect; // the tile's pixels within the frame
    };

    static constexpr std::int32_t kTileSize = 32;
    static constexpr std::uint32_t kPassCount = 4;

    // inBackend: where the jobs run (null: worker threads on this machine, one per core).
    explicit XDistributedRenderer(std::unique_ptr<XNetJobQueueBackend> inBackend = nullptr);
    // Disconnects the queue (no completion arrives afterwards) and deletes every frame.
    ~XDistributedRenderer() override;
    XDistributedRenderer(const XDistributedRenderer&) = delete;
    XDistributedRenderer& operator=(const XDistributedRenderer&) = delete;

    // Applies to frames submitted afterwards.
    void SetRenderOptions(const XRenderOptions& inOptions) { itsOptions = inOptions; }
    const XRenderOptions& GetRenderOptions() const { return itsOptions; }

    // Submits every job of a frame of the prepared scene into inFilm and returns the frame's id
    // (ids are shared by all renderers of the process and start at 1). The film must be at least
    // one tile wide and high (a smaller one is refused with XException before anything is
    // submitted).
    std::uint32_t RenderFrame(XSharedHandle<X3DScene> inScene, std::unique_ptr<XFilm> inFilm);
    // Blocks until the frame's jobs have completed, showing progress; an unknown id returns at
    // once. A cancellation of the calling thread during the wait ends it early (the frame goes
    // on; cancel it to stop it).
    void WaitForFrame(std::uint32_t inFrameID);
    // The frame's film as it stands, converted to a floating-point image; reports
    // "iter != itsFrames.end()" and returns null for an unknown id, null for a cancelled frame.
    std::unique_ptr<XHighDynamicRangeImage> GetFrameImage(std::uint32_t inFrameID) const;
    // Deletes the frame's remaining jobs and its film; the record stays until released.
    void CancelFrame(std::uint32_t inFrameID);
    // Deletes the frame's remaining jobs and forgets the frame; no message about it follows.
    void ReleaseFrame(std::uint32_t inFrameID);

    // Jobs of the frame not completed yet (0 for an unknown id).
    std::size_t GetRemainingJobCount(std::uint32_t inFrameID) const;
    // Failed jobs of the frame so far, as "tile (left, top) pass p: reason" lines.
    std::vector<std::string> GetFailures(std::uint32_t inFrameID) const;

    void HandleMessage(const XMessage& inMessage) override;

    XNetJobQueue& GetJobQueue() { return itsJobQueue; }

private:
    struct XFrameInfo
    {
        std::unique_ptr<XFilm> itsFilm;
        std::uint64_t itsTotalJobs = 0;
        XTimer itsTimer;
        std::shared_ptr<WEvent> itsDoneEvent; // shared with a delivery in progress
        std::vector<std::uint32_t> itsJobs;
        // Tile and pass of every job of the frame: to wait for them all and to name failed ones.
        std::map<std::uint32_t, std::pair<XRect, std::uint32_t>> itsJobTiles;
        std::vector<std::string> itsFailures;
    };

    // The frame's open jobs, taken under the lock; none for an unknown frame.
    std::optional<std::vector<std::uint32_t>> CopyOpenJobs(std::uint32_t inFrameID) const;

    XRenderOptions itsOptions;
    XNetJobQueue itsJobQueue;
    // Guards itsFrames against the delivery thread; never held while a message is spoken.
    mutable std::recursive_mutex itsFramesMutex;
    std::map<std::uint32_t, XFrameInfo> itsFrames;
};
