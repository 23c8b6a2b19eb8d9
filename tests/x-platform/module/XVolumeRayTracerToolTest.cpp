// The tool that renders frames through the distributed renderer: finished frames against a
// direct render, the rules by which tile messages update the frame buffer, cancellation and
// frames too small to start.

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

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
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

std::unique_ptr<XARGB32Volume> CopyOf(const XARGB32Volume& inVolume)
{
    auto copy = std::make_unique<XARGB32Volume>(inVolume.GetBounds());
    copy->CopyRegion(inVolume, inVolume.GetBounds(), inVolume.GetBounds());
    return copy;
}

// Empty when both pictures have the same bounds and bytes, else where they first differ.
std::string Difference(const XARGB32Volume& inActual, const XARGB32Volume& inExpected)
{
    if (!(inActual.GetBounds() == inExpected.GetBounds()))
    {
        return "bounds differ";
    }
    const X3DRect& bounds = inActual.GetBounds();
    for (std::int32_t y = bounds.GetY0(); y < bounds.GetY1(); ++y)
    {
        for (std::int32_t x = bounds.GetX0(); x < bounds.GetX1(); ++x)
        {
            if (!(inActual.At(x, y, 0) == inExpected.At(x, y, 0)))
            {
                return "pixel (" + std::to_string(x) + ", " + std::to_string(y) + ") differs";
            }
        }
    }
    return "";
}

// The frame-log entries among the session log's entries from inFirst on.
std::vector<std::string> FrameLogEntriesFrom(std::size_t inFirst)
{
    static const std::regex pattern("Frame took [0-9]+\\.[0-9]{3} seconds");
    const auto entries = XSessionLogManager::GetManager().GetEntries();
    std::vector<std::string> found;
    for (std::size_t i = inFirst; i < entries.size(); ++i)
    {
        if (std::regex_match(entries[i].text, pattern))
        {
            found.push_back(entries[i].text);
        }
    }
    return found;
}

std::size_t LogSize()
{
    return XSessionLogManager::GetManager().GetEntries().size();
}

// Counts the tool's frame-buffer updates and, for each, the frame the tool was on. It reads the
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
        bool readable = false;
        {
            const XMutexLock lock(itsTool.GetFrameBufferLock());
            readable = itsTool.GetFrameBufferLock().IsLockedByCurrentThread() &&
                       itsTool.GetFrameBuffer() != nullptr;
        }
        const std::lock_guard lock(itsMutex);
        itsFrames.push_back(itsTool.GetCurrentFrameID());
        itsAllReadable = itsAllReadable && readable;
        itsChanged.notify_all();
    }

    std::size_t GetCount() const
    {
        const std::lock_guard lock(itsMutex);
        return itsFrames.size();
    }
    std::vector<std::uint32_t> GetFrames() const
    {
        const std::lock_guard lock(itsMutex);
        return itsFrames;
    }
    bool AllReadable() const
    {
        const std::lock_guard lock(itsMutex);
        return itsAllReadable;
    }
    // Waits until more than inCount updates have been heard; false if none came in a minute
    // (only a guard against hanging).
    bool WaitForMoreThan(std::size_t inCount) const
    {
        std::unique_lock lock(itsMutex);
        return itsChanged.wait_for(lock, std::chrono::minutes(1),
                                   [&] { return itsFrames.size() > inCount; });
    }

private:
    XTool& itsTool;
    mutable std::mutex itsMutex;
    mutable std::condition_variable itsChanged;
    std::vector<std::uint32_t> itsFrames;
    bool itsAllReadable = true;
};

// A tool that hears only the frame messages of its distributed renderer, so that a real frame
// finishes without a single tile update; tile messages that a test hands in directly pass.
class XFrameMessageOnlyTool : public XTool
{
public:
    ~XFrameMessageOnlyTool() override { UnsubscribeAll(); }

    void HandleMessage(const XMessage& inMessage) override
    {
        const XSpeaker* const renderer = &GetDistributedRenderer();
        if (dynamic_cast<const XTileMessage*>(&inMessage) != nullptr &&
            inMessage.GetSpeaker() == renderer)
        {
            return;
        }
        XTool::HandleMessage(inMessage);
    }
};

XTileMessage Tile(std::uint32_t inFrameID, std::uint32_t inPercent, std::uint32_t inPass,
                  std::uint32_t inStep, std::uint32_t inOffset, const XRect& inRect)
{
    return XTileMessage(nullptr, inFrameID, 0, inPercent, inPass, inStep, inOffset, inRect);
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

bool RegionEqual(const XARGB32Volume& inA, const XARGB32Volume& inB, const XRect& inRect)
{
    for (std::int32_t y = inRect.top; y < inRect.bottom; ++y)
    {
        for (std::int32_t x = inRect.left; x < inRect.right; ++x)
        {
            if (!(inA.At(x, y, 0) == inB.At(x, y, 0)))
            {
                return false;
            }
        }
    }
    return true;
}
} // namespace

TEST(XVolumeRayTracerToolTest, FinishedFrameEqualsDirectRender)
{
    const XInternalErrorCapture errors;
    const XSharedHandle<X3DScene> scene = BuildScene();
    const XRenderOptions options; // one sample per pixel side
    XTool tool;
    XUpdateCounter updates(tool);
    tool.SetScene(scene);
    tool.SetRenderOptions(options);

    struct XSize
    {
        std::uint32_t width;
        std::uint32_t height;
    };
    for (const XSize size : {XSize{100, 70}, XSize{64, 64}})
    {
        SCOPED_TRACE(std::to_string(size.width) + " x " + std::to_string(size.height));
        const std::size_t logStart = LogSize();
        tool.SetFrameSize(size.width, size.height);
        tool.StartFrame();
        ASSERT_TRUE(tool.WaitForFrame());

        EXPECT_EQ(tool.GetProgress(), 100);
        EXPECT_EQ(tool.GetState(), XTool::kStateIdle);
        EXPECT_NE(tool.GetCurrentFrameID(), 0u);
        EXPECT_EQ(tool.GetStartFailure(), "");
        EXPECT_TRUE(tool.GetFrameFailures().empty());
        EXPECT_EQ(FrameLogEntriesFrom(logStart).size(), 1u);

        const std::unique_ptr<XARGB32Volume> expected =
            RenderDirectly(scene, options, size.width, size.height);
        // The picture shows both spheres and the background, so that a comparison means something.
        EXPECT_NE(expected->At(0, 0, 0),
                  expected->At(std::int32_t(size.width) / 2, std::int32_t(size.height) / 2, 0));
        const XMutexLock lock(tool.GetFrameBufferLock());
        ASSERT_NE(tool.GetFrameBuffer(), nullptr);
        ASSERT_NE(tool.GetFrameImage(), nullptr);
        EXPECT_EQ(tool.GetFrameImage()->GetWidth(), size.width);
        EXPECT_EQ(tool.GetFrameImage()->GetHeight(), size.height);
        EXPECT_EQ(Difference(*tool.GetFrameBuffer(), *expected), "");
    }
    // Each frame ended with an update, after any tile updates.
    EXPECT_GE(updates.GetCount(), 2u);
    EXPECT_TRUE(updates.AllReadable());
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
    EXPECT_EQ(tool.GetProgress(), 100);
    EXPECT_EQ(tool.GetState(), XTool::kStateIdle);
    EXPECT_TRUE(tool.GetPendingUpdates().empty());
    ASSERT_EQ(updates.GetCount(), 1u);
    std::unique_ptr<XARGB32Volume> full;
    {
        const XMutexLock lock(tool.GetFrameBufferLock());
        ASSERT_NE(tool.GetFrameImage(), nullptr);
        full = tool.GetFrameImage()->ConvertToARGB32();
        EXPECT_EQ(Difference(*tool.GetFrameBuffer(), *full), "");
    }
    const auto buffer = [&]
    {
        const XMutexLock lock(tool.GetFrameBufferLock());
        return CopyOf(*tool.GetFrameBuffer());
    };

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
        for (const XRect& untouched : {b, c, d})
        {
            EXPECT_TRUE(RegionEqual(*now, *full, untouched));
        }
    }

    // Within the period the messages are only collected. Pass 1's rectangle b moves to pass 3
    // when pass 3 renders it; a step of 0 stands for the whole image.
    tool.HandleMessage(Tile(frame, 40, 1, 8, 7, b));
    tool.HandleMessage(Tile(frame, 43, 1, 0, 5, a));
    tool.HandleMessage(Tile(frame, 50, 2, 8, 3, c));
    tool.HandleMessage(Tile(frame, 75, 3, 4, 1, b));
    if (std::chrono::steady_clock::now() - firstUpdate >=
        std::chrono::milliseconds(XTool::kUpdatePeriodMilliseconds))
    {
        GTEST_SKIP() << "the messages did not arrive within one update period";
    }
    EXPECT_EQ(tool.GetProgress(), 37);
    EXPECT_EQ(updates.GetCount(), 2u);
    const XTool::XPendingUpdates collected = {
        {{1, 0, 5}, {a}}, {{1, 8, 7}, {}}, {{2, 8, 3}, {c}}, {{3, 4, 1}, {b}}};
    EXPECT_EQ(tool.GetPendingUpdates(), collected);

    // Messages of other frames change nothing.
    const std::size_t logBefore = LogSize();
    const auto before = buffer();
    tool.HandleMessage(Tile(frame + 1000, 99, 4, 2, 0, d));
    tool.HandleMessage(Tile(0, 99, 4, 2, 0, d));
    tool.HandleMessage(XFrameMessage(nullptr, frame + 1000, 5));
    EXPECT_EQ(tool.GetPendingUpdates(), collected);
    EXPECT_EQ(tool.GetProgress(), 37);
    EXPECT_EQ(tool.GetState(), XTool::kStateIdle);
    EXPECT_EQ(updates.GetCount(), 2u);
    EXPECT_EQ(Difference(*buffer(), *before), "");
    EXPECT_TRUE(FrameLogEntriesFrom(logBefore).empty());

    // Once the period has run out, the next message converts every entry in key order.
    std::this_thread::sleep_for(std::chrono::milliseconds(XTool::kUpdatePeriodMilliseconds + 50));
    tool.HandleMessage(Tile(frame, 93, 4, 2, 0, d));
    EXPECT_TRUE(tool.GetPendingUpdates().empty());
    EXPECT_EQ(tool.GetProgress(), 93);
    EXPECT_EQ(updates.GetCount(), 3u);
    {
        const auto now = buffer();
        EXPECT_TRUE(RegionEqual(*now, *full, a)) << "a step of 0 converts the whole image";
        ExpectColumnsStretched(*now, *full, b, 1, "pass 3 in b");
        ExpectColumnsStretched(*now, *full, c, 3, "pass 2 in c");
        EXPECT_TRUE(RegionEqual(*now, *full, d)) << "pass 4 converts the whole image";
    }

    // The frame message puts the whole frame back, whatever tile messages came before.
    const std::size_t logStart = LogSize();
    tool.HandleMessage(XFrameMessage(nullptr, frame, 5));
    EXPECT_EQ(tool.GetProgress(), 100);
    EXPECT_EQ(tool.GetState(), XTool::kStateIdle);
    EXPECT_EQ(updates.GetCount(), 4u);
    EXPECT_EQ(FrameLogEntriesFrom(logStart).size(), 1u);
    EXPECT_EQ(Difference(*buffer(), *full), "");
    EXPECT_TRUE(updates.AllReadable());
    EXPECT_TRUE(errors.GetConditions().empty());
}

TEST(XVolumeRayTracerToolTest, CancelledFrameSpeaksNoMoreUpdates)
{
    const XInternalErrorCapture errors;
    const XSharedHandle<X3DScene> scene = BuildScene();
    XRenderOptions heavy;
    heavy.samplesPerPixelSide = 4;
    XTool tool;
    XUpdateCounter updates(tool);
    tool.SetScene(scene);
    tool.SetRenderOptions(heavy);
    tool.SetFrameSize(320, 256);
    tool.StartFrame();
    ASSERT_TRUE(updates.WaitForMoreThan(0));
    const std::uint32_t cancelled = tool.GetCurrentFrameID();
    EXPECT_NE(cancelled, 0u);

    tool.CancelFrame();
    const std::size_t atCancel = updates.GetCount();
    EXPECT_NE(tool.GetState(), XTool::kStateRendering);
    EXPECT_EQ(tool.GetCurrentFrameID(), 0u);
    EXPECT_TRUE(tool.WaitForFrame()) << "nothing is left to wait for";
    EXPECT_EQ(updates.GetCount(), atCancel);

    // The tool goes on with the next frame, and every update from now on is that frame's.
    tool.SetRenderOptions(XRenderOptions());
    tool.SetFrameSize(64, 64);
    tool.StartFrame();
    ASSERT_TRUE(tool.WaitForFrame());
    const std::uint32_t next = tool.GetCurrentFrameID();
    EXPECT_GT(next, cancelled);
    EXPECT_EQ(tool.GetProgress(), 100);
    EXPECT_EQ(tool.GetState(), XTool::kStateIdle);
    const std::vector<std::uint32_t> frames = updates.GetFrames();
    ASSERT_GT(frames.size(), atCancel);
    for (std::size_t i = atCancel; i < frames.size(); ++i)
    {
        EXPECT_EQ(frames[i], next) << "update " << i;
    }
    {
        const XMutexLock lock(tool.GetFrameBufferLock());
        EXPECT_EQ(Difference(*tool.GetFrameBuffer(), *RenderDirectly(scene, {}, 64, 64)), "");
    }
    EXPECT_TRUE(errors.GetConditions().empty());
}

TEST(XVolumeRayTracerToolTest, WaitingEndsWhenTheCallerIsCancelledAndDestructionStopsTheFrame)
{
    const XInternalErrorCapture errors;
    XRenderOptions heavy;
    heavy.samplesPerPixelSide = 4;
    {
        XTool tool;
        XUpdateCounter updates(tool);
        tool.SetScene(BuildScene());
        tool.SetRenderOptions(heavy);
        tool.SetFrameSize(320, 256);
        tool.StartFrame();
        ASSERT_TRUE(updates.WaitForMoreThan(0));
        {
            std::atomic<bool> cancelled{true};
            const XCancellationScope scope(cancelled);
            EXPECT_FALSE(tool.WaitForFrame());
        }
        // The tool is destroyed with its frame most likely still rendering.
    }
    EXPECT_TRUE(errors.GetConditions().empty());
}

TEST(XVolumeRayTracerToolTest, FrameSmallerThanOneTileFailsToStart)
{
    const XInternalErrorCapture errors;
    XTool tool;
    EXPECT_THROW(tool.StartFrame(), XException) << "no scene";
    tool.SetScene(BuildScene());
    EXPECT_THROW(tool.StartFrame(), XException) << "no frame size";

    XUpdateCounter updates(tool);
    tool.SetFrameSize(16, 16);
    tool.StartFrame();
    EXPECT_TRUE(tool.WaitForFrame());
    EXPECT_NE(tool.GetStartFailure().find("smaller than one tile"), std::string::npos)
        << tool.GetStartFailure();
    EXPECT_EQ(tool.GetState(), XTool::kStateIdle);
    EXPECT_EQ(tool.GetCurrentFrameID(), 0u);
    EXPECT_EQ(tool.GetProgress(), 0);
    EXPECT_EQ(updates.GetCount(), 0u);

    // 32 x 31 is still too low; 32 x 32, one tile, renders and clears the failure.
    tool.SetFrameSize(32, 31);
    tool.StartFrame();
    EXPECT_TRUE(tool.WaitForFrame());
    EXPECT_NE(tool.GetStartFailure(), "");
    tool.SetFrameSize(32, 32);
    tool.StartFrame();
    EXPECT_TRUE(tool.WaitForFrame());
    EXPECT_EQ(tool.GetStartFailure(), "");
    EXPECT_EQ(tool.GetProgress(), 100);
    EXPECT_GE(updates.GetCount(), 1u);
    EXPECT_TRUE(errors.GetConditions().empty());
}
