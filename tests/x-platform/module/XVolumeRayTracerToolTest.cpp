// The tool that renders frames through the distributed renderer: frames too small to start,
// finished frames against a direct render, the rules by which tile messages update the frame
// buffer, and cancellation.

#include "tests/scenes/XTestSceneBuilder.h"

#include "host/core/XCancellationScope.h"
#include "host/core/XException.h"
#include "host/core/XInternalError.h"
#include "host/core/XMutexLock.h"
#include "host/core/XSessionLog.h"
#include "host/imaging/XARGB32Volume.h"
#include "x-platform/image/XFilm.h"
#include "x-platform/image/XGaussianFilter.h"
#include "x-platform/image/XHighDynamicRangeImage.h"
#include "x-platform/module/XVolumeRayTracerTool.h"
#include "x-platform/shading/XMatteMaterial.h"
#include "x-platform/shading/XRGBSolidTexture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <regex>
#include <string>
#include <thread>
#include <vector>

namespace
{
using XTool = XVolumeRayTracerTool;
using XTileMessage = XDistributedRenderer::XTileRenderFinishedMessage;
using XFrameMessage = XDistributedRenderer::XFrameRenderFinishedMessage;

// Two lit matte spheres of different colours in front of a coloured background, seen from
// slightly off the axis, so that neighbouring columns of a picture differ.
XSharedHandle<X3DScene> BuildScene()
{
    const auto matte = [](const XRGBSpectrum& inColour)
    { return XMakeRef<XMatteMaterial>(std::make_unique<XRGBSolidTexture>(inColour), 0.2f, 1.0f); };
    return XTestSceneBuilder()
        .AddSphere(XMathVectorF3(-0.6f, 0.1f, 0.0f), 0.8f, matte(XRGBSpectrum(0.9f, 0.4f, 0.2f)))
        .AddSphere(XMathVectorF3(0.7f, -0.2f, 0.5f), 0.9f, matte(XRGBSpectrum(0.2f, 0.6f, 0.9f)))
        .AddLight(XMathVectorF3(-3.0f, 4.0f, -6.0f), XRGBSpectrum(1.5f, 1.5f, 1.5f))
        .SetBackground(XRGBSpectrum(0.1f, 0.15f, 0.3f))
        .SetCamera(XCamera(XMathVectorF3(0.3f, 0.2f, -4.0f), XMathVectorF3(0, 0, 0),
                           XMathVectorF3(0, 1, 0)))
        .Build();
}

// The picture that a direct render of the same scene and options gives.
std::unique_ptr<XARGB32Volume> RenderDirectly(const XSharedHandle<X3DScene>& inScene,
                                              const XRenderOptions& inOptions,
                                              std::uint32_t inWidth, std::uint32_t inHeight)
{
    XFilm film(static_cast<float>(inWidth), static_cast<float>(inHeight),
               std::make_unique<XGaussianFilter>());
    XTool::RenderFilm(inScene, inOptions, film, 1);
    float statistic = 0;
    return film.ConvertToImage(statistic)->ConvertToARGB32();
}

// Empty when the pictures agree within inRect (by default all of inExpected, and the bounds must
// agree too), else where they first differ.
std::string Difference(const XARGB32Volume& inActual, const XARGB32Volume& inExpected,
                       std::optional<XRect> inRect = std::nullopt)
{
    if (!inRect && !(inActual.GetBounds() == inExpected.GetBounds()))
    {
        return "bounds differ";
    }
    const XRect rect = inRect.value_or(inExpected.GetBounds().GetXYBounds());
    for (std::int32_t y = rect.top; y < rect.bottom; ++y)
    {
        for (std::int32_t x = rect.left; x < rect.right; ++x)
        {
            if (!(inActual.At(x, y, 0) == inExpected.At(x, y, 0)))
            {
                return "pixel (" + std::to_string(x) + ", " + std::to_string(y) + ") differs";
            }
        }
    }
    return "";
}

// What a frame buffer holding inFull shows after inRect was filled from a column conversion
// whose kept columns are those with all bits of inMask set: each pixel repeats the kept column
// at or to the right of it within its group (x | mask), exact for a 64-pixel-wide frame.
void ExpectColumnsStretched(const XARGB32Volume& inBuffer, const XARGB32Volume& inFull,
                            const XRect& inRect, std::int32_t inMask, const char* inWhat)
{
    std::int32_t mismatches = 0;
    std::int32_t changed = 0; // pixels where the stretched picture differs from the full one
    for (std::int32_t y = inRect.top; y < inRect.bottom; ++y)
    {
        for (std::int32_t x = inRect.left; x < inRect.right; ++x)
        {
            const XARGB32Colour& kept = inFull.At(x | inMask, y, 0);
            mismatches += inBuffer.At(x, y, 0) == kept ? 0 : 1;
            changed += inFull.At(x, y, 0) == kept ? 0 : 1;
        }
    }
    EXPECT_EQ(mismatches, 0) << inWhat;
    EXPECT_GT(changed, 0) << inWhat << ": the picture must differ between columns there";
}

std::size_t LogSize()
{
    return XSessionLogManager::GetManager().GetEntries().size();
}

// How many frame-log entries the session log has from entry inFirst on.
std::size_t FrameLogEntriesFrom(std::size_t inFirst)
{
    static const std::regex pattern("Frame took [0-9]+\\.[0-9]{3} seconds");
    const auto entries = XSessionLogManager::GetManager().GetEntries();
    const auto first =
        entries.begin() + static_cast<std::ptrdiff_t>(std::min(inFirst, entries.size()));
    return static_cast<std::size_t>(
        std::count_if(first, entries.end(),
                      [](const auto& inEntry) { return std::regex_match(inEntry.text, pattern); }));
}

// Records the tool's frame-buffer updates with the frame the tool was on for each. It reads the
// frame buffer under its lock as a display would, which works only if the tool speaks outside it.
class XUpdateCounter : public XListener
{
public:
    explicit XUpdateCounter(XTool& inTool) : itsTool(inTool) { Subscribe(inTool); }
    ~XUpdateCounter() override { UnsubscribeAll(); }

    void HandleMessage(const XMessage& inMessage) override
    {
        if (dynamic_cast<const XTool::XFrameBufferUpdateMessage*>(&inMessage) == nullptr)
        {
            return;
        }
        {
            const XMutexLock lock(itsTool.GetFrameBufferLock());
            EXPECT_TRUE(itsTool.GetFrameBufferLock().IsLockedByCurrentThread() &&
                        itsTool.GetFrameBuffer() != nullptr);
        }
        const std::lock_guard lock(itsMutex);
        itsFrames.push_back(itsTool.GetCurrentFrameID());
        itsChanged.notify_all();
    }

    std::vector<std::uint32_t> GetFrames() const
    {
        const std::lock_guard lock(itsMutex);
        return itsFrames;
    }
    std::size_t GetCount() const { return GetFrames().size(); }
    // Waits for the first update; false if none came in a minute (only a guard against hanging).
    bool WaitForFirst() const
    {
        std::unique_lock lock(itsMutex);
        return itsChanged.wait_for(lock, std::chrono::minutes(1),
                                   [&] { return !itsFrames.empty(); });
    }

private:
    XTool& itsTool;
    mutable std::mutex itsMutex;
    mutable std::condition_variable itsChanged;
    std::vector<std::uint32_t> itsFrames;
};

// A tool that hears only the frame messages of its distributed renderer, so that a real frame
// finishes without a single tile update; tile messages that a test hands in directly pass.
class XFrameMessageOnlyTool : public XTool
{
public:
    ~XFrameMessageOnlyTool() override { UnsubscribeAll(); }

    void HandleMessage(const XMessage& inMessage) override
    {
        if (dynamic_cast<const XTileMessage*>(&inMessage) == nullptr ||
            inMessage.GetSpeaker() != &GetDistributedRenderer())
        {
            XTool::HandleMessage(inMessage);
        }
    }
};

XTileMessage Tile(std::uint32_t inFrameID, std::uint32_t inPercent, std::uint32_t inPass,
                  std::uint32_t inStep, std::uint32_t inOffset, const XRect& inRect)
{
    return XTileMessage(nullptr, inFrameID, 0, inPercent, inPass, inStep, inOffset, inRect);
}

// A tool busy with a frame heavy enough to be still rendering when its first update comes.
struct XBusyTool
{
    XBusyTool()
    {
        XRenderOptions heavy;
        heavy.samplesPerPixelSide = 4;
        tool.SetScene(scene);
        tool.SetRenderOptions(heavy);
        tool.SetFrameSize(320, 256);
        tool.StartFrame();
        EXPECT_TRUE(updates.WaitForFirst());
    }

    const XSharedHandle<X3DScene> scene = BuildScene();
    XTool tool;
    XUpdateCounter updates{tool};
};
} // namespace

TEST(XVolumeRayTracerToolTest, FramesBelowOneTileFailToStartAndOthersEqualDirectRender)
{
    const XInternalErrorCapture errors;
    const XSharedHandle<X3DScene> scene = BuildScene();
    const XRenderOptions options; // one sample per pixel side
    XTool tool;
    XUpdateCounter updates(tool);
    EXPECT_THROW(tool.StartFrame(), XException) << "no scene";
    tool.SetScene(scene);
    tool.SetRenderOptions(options);
    EXPECT_THROW(tool.StartFrame(), XException) << "no frame size";
    for (const auto& [width, height] : {std::pair{16U, 16U}, std::pair{32U, 31U}})
    {
        tool.SetFrameSize(width, height);
        tool.StartFrame();
        EXPECT_TRUE(tool.WaitForFrame());
        EXPECT_NE(tool.GetStartFailure().find("smaller than one tile"), std::string::npos)
            << tool.GetStartFailure();
        EXPECT_EQ(tool.GetState(), XTool::kStateIdle);
        EXPECT_EQ(tool.GetCurrentFrameID(), 0u);
        EXPECT_EQ(tool.GetProgress(), 0);
    }
    EXPECT_EQ(updates.GetCount(), 0u);

    // One tile is enough; a frame that starts clears the start failure.
    for (const auto& [width, height] :
         {std::pair{32U, 32U}, std::pair{100U, 70U}, std::pair{64U, 64U}})
    {
        SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
        const std::size_t logStart = LogSize();
        tool.SetFrameSize(width, height);
        tool.StartFrame();
        ASSERT_TRUE(tool.WaitForFrame());
        EXPECT_EQ(tool.GetProgress(), 100) << tool.GetStartFailure();
        EXPECT_EQ(tool.GetState(), XTool::kStateIdle);
        EXPECT_NE(tool.GetCurrentFrameID(), 0u);
        EXPECT_EQ(tool.GetStartFailure(), "");
        EXPECT_TRUE(tool.GetFrameFailures().empty());
        EXPECT_EQ(FrameLogEntriesFrom(logStart), 1u);

        const std::unique_ptr<XARGB32Volume> expected =
            RenderDirectly(scene, options, width, height);
        // The picture is not uniform, so that the comparison means something.
        EXPECT_NE(expected->At(0, 0, 0),
                  expected->At(std::int32_t(width) / 2, std::int32_t(height) / 2, 0));
        const XMutexLock lock(tool.GetFrameBufferLock());
        ASSERT_NE(tool.GetFrameBuffer(), nullptr);
        EXPECT_EQ(Difference(*tool.GetFrameBuffer(), *expected), "");
    }
    EXPECT_GE(updates.GetCount(), 3u); // each frame ends with an update
    EXPECT_TRUE(errors.GetConditions().empty());
}

TEST(XVolumeRayTracerToolTest, TileMessagesUpdateTheFrameBufferByTheirRules)
{
    const XInternalErrorCapture errors;
    XFrameMessageOnlyTool tool;
    XUpdateCounter updates(tool);
    tool.SetScene(BuildScene());
    tool.SetFrameSize(64, 64);
    tool.StartFrame();
    ASSERT_TRUE(tool.WaitForFrame());

    // The frame message alone finished the frame: progress 100 without any tile update.
    const std::uint32_t frame = tool.GetCurrentFrameID();
    ASSERT_NE(frame, 0u);
    EXPECT_EQ(tool.GetProgress(), 100) << tool.GetStartFailure();
    ASSERT_EQ(updates.GetCount(), 1u);
    const auto buffer = [&]
    {
        const XMutexLock lock(tool.GetFrameBufferLock());
        auto copy = std::make_unique<XARGB32Volume>(tool.GetFrameBuffer()->GetBounds());
        copy->CopyRegion(*tool.GetFrameBuffer(), copy->GetBounds(), copy->GetBounds());
        return copy;
    };
    const std::unique_ptr<XARGB32Volume> full = buffer();
    {
        const XMutexLock lock(tool.GetFrameBufferLock());
        ASSERT_NE(tool.GetFrameImage(), nullptr);
        EXPECT_EQ(Difference(*full, *tool.GetFrameImage()->ConvertToARGB32()), "");
    }

    const XRect a(0, 0, 32, 32);
    const XRect b(32, 0, 64, 32);
    const XRect c(0, 32, 32, 64);
    const XRect d(32, 32, 64, 64);
    // The first tile message after construction updates at once. Pass 1 keeps the columns
    // x = 7 mod 8, pass 2 x = 3 mod 4 (its step 8 halved), pass 3 x = 1 mod 2 (step 4 halved).
    tool.HandleMessage(Tile(frame, 37, 1, 8, 7, a));
    const auto firstUpdate = std::chrono::steady_clock::now();
    EXPECT_TRUE(tool.GetPendingUpdates().empty());
    EXPECT_EQ(tool.GetProgress(), 37);
    EXPECT_EQ(updates.GetCount(), 2u);
    {
        const auto now = buffer();
        ExpectColumnsStretched(*now, *full, a, 7, "pass 1 in a");
        EXPECT_EQ(Difference(*now, *full, XRect(32, 0, 64, 64)), "");
        EXPECT_EQ(Difference(*now, *full, c), "");
    }

    // Within the period the messages are only collected, a tile under the latest pass that
    // rendered it (b moves from pass 1 to pass 3); a step of 0 stands for the whole image.
    tool.HandleMessage(Tile(frame, 40, 1, 8, 7, b));
    tool.HandleMessage(Tile(frame, 43, 1, 0, 5, a));
    tool.HandleMessage(Tile(frame, 50, 2, 8, 3, c));
    tool.HandleMessage(Tile(frame, 75, 3, 4, 1, b));
    // Messages of other frames change nothing.
    const std::size_t logBefore = LogSize();
    tool.HandleMessage(Tile(frame + 1000, 99, 4, 2, 0, d));
    tool.HandleMessage(Tile(0, 99, 4, 2, 0, d));
    tool.HandleMessage(XFrameMessage(nullptr, frame + 1000, 5));
    if (std::chrono::steady_clock::now() - firstUpdate >=
        std::chrono::milliseconds(XTool::kUpdatePeriodMilliseconds))
    {
        GTEST_SKIP() << "the messages did not arrive within one update period";
    }
    const XTool::XPendingUpdates collected = {
        {{1, 0, 5}, {a}}, {{1, 8, 7}, {}}, {{2, 8, 3}, {c}}, {{3, 4, 1}, {b}}};
    EXPECT_EQ(tool.GetPendingUpdates(), collected);
    EXPECT_EQ(tool.GetProgress(), 37);
    EXPECT_EQ(tool.GetState(), XTool::kStateIdle);
    EXPECT_EQ(updates.GetCount(), 2u);
    EXPECT_EQ(FrameLogEntriesFrom(logBefore), 0u);

    // Once the period has run out, the next message converts every entry in key order.
    std::this_thread::sleep_for(std::chrono::milliseconds(XTool::kUpdatePeriodMilliseconds + 50));
    tool.HandleMessage(Tile(frame, 93, 4, 2, 0, d));
    EXPECT_TRUE(tool.GetPendingUpdates().empty());
    EXPECT_EQ(tool.GetProgress(), 93);
    EXPECT_EQ(updates.GetCount(), 3u);
    {
        const auto now = buffer();
        EXPECT_EQ(Difference(*now, *full, a), "") << "a step of 0 converts the whole image";
        ExpectColumnsStretched(*now, *full, b, 1, "pass 3 in b");
        ExpectColumnsStretched(*now, *full, c, 3, "pass 2 in c");
        EXPECT_EQ(Difference(*now, *full, d), "") << "pass 4 converts the whole image";
    }

    // The frame message puts the whole frame back, whatever tile messages came before.
    const std::size_t logStart = LogSize();
    tool.HandleMessage(XFrameMessage(nullptr, frame, 5));
    EXPECT_EQ(tool.GetProgress(), 100);
    EXPECT_EQ(updates.GetCount(), 4u);
    EXPECT_EQ(FrameLogEntriesFrom(logStart), 1u);
    EXPECT_EQ(Difference(*buffer(), *full), "");
    EXPECT_TRUE(errors.GetConditions().empty());
}

TEST(XVolumeRayTracerToolTest, CancelledFrameSpeaksNoMoreUpdatesAndTheNextFrameRenders)
{
    const XInternalErrorCapture errors;
    XBusyTool busy;
    XTool& tool = busy.tool;
    const std::uint32_t cancelled = tool.GetCurrentFrameID();
    EXPECT_NE(cancelled, 0u);
    {
        // A cancelled caller stops waiting and leaves the frame running.
        std::atomic<bool> cancel{true};
        const XCancellationScope scope(cancel);
        EXPECT_FALSE(tool.WaitForFrame());
    }
    tool.CancelFrame();
    const std::size_t atCancel = busy.updates.GetCount();
    EXPECT_NE(tool.GetState(), XTool::kStateRendering);
    EXPECT_EQ(tool.GetCurrentFrameID(), 0u);
    EXPECT_TRUE(tool.WaitForFrame()) << "nothing is left to wait for";
    EXPECT_EQ(busy.updates.GetCount(), atCancel);

    // Every update from now on is the next frame's.
    tool.SetRenderOptions(XRenderOptions());
    tool.SetFrameSize(64, 64);
    tool.StartFrame();
    ASSERT_TRUE(tool.WaitForFrame());
    const std::uint32_t next = tool.GetCurrentFrameID();
    EXPECT_GT(next, cancelled);
    EXPECT_EQ(tool.GetProgress(), 100) << tool.GetStartFailure();
    const std::vector<std::uint32_t> frames = busy.updates.GetFrames();
    ASSERT_GT(frames.size(), atCancel);
    for (std::size_t i = atCancel; i < frames.size(); ++i)
    {
        EXPECT_EQ(frames[i], next) << "update " << i;
    }
    {
        const XMutexLock lock(tool.GetFrameBufferLock());
        EXPECT_EQ(Difference(*tool.GetFrameBuffer(), *RenderDirectly(busy.scene, {}, 64, 64)), "");
    }
    EXPECT_TRUE(errors.GetConditions().empty());
}

TEST(XVolumeRayTracerToolTest, DestructionStopsARunningFrame)
{
    const XInternalErrorCapture errors;
    {
        const XBusyTool busy; // destroyed with its frame most likely still rendering
    }
    EXPECT_TRUE(errors.GetConditions().empty());
}
