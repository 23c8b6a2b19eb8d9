#include "x-platform/distributed/XDistributedRenderer.h"
#include "host/core/XInternalError.h"
#include "host/core/XListener.h"
#include "host/core/XLocalNetJobQueueBackend.h"
#include "host/core/XNetJobCompletedMessage.h"
#include "tests/scenes/XLitMatteSphereScene.h"
#include "tests/x-platform/distributed/XManualJobQueueBackend.h"
#include "tests/x-platform/distributed/XRegisterRenderClasses.h"
#include "x-platform/distributed/XRenderNetJob.h"
#include "x-platform/distributed/XRenderNetJobResult.h"
#include "x-platform/image/XFilm.h"
#include "x-platform/image/XHighDynamicRangeImage.h"
#include "x-platform/rendering/XTracer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <mutex>
#include <tuple>

namespace
{
// Records the renderer's messages (heard on the queue's delivery thread).
class XMessageLog final : public XListener
{
public:
    explicit XMessageLog(XSpeaker& inSpeaker) { Subscribe(inSpeaker); }
    ~XMessageLog() override { UnsubscribeAll(); }

    void HandleMessage(const XMessage& inMessage) override
    {
        const std::lock_guard lock(itsMutex);
        if (const auto* tile =
                dynamic_cast<const XDistributedRenderer::XTileRenderFinishedMessage*>(&inMessage))
        {
            itsTiles.push_back(*tile);
        }
        else if (const auto* frame =
                     dynamic_cast<const XDistributedRenderer::XFrameRenderFinishedMessage*>(
                         &inMessage))
        {
            itsFrames.push_back(frame->itsFrameID);
        }
    }

    std::vector<XDistributedRenderer::XTileRenderFinishedMessage> Tiles() const
    {
        const std::lock_guard lock(itsMutex);
        return itsTiles;
    }
    std::vector<std::uint32_t> Frames() const
    {
        const std::lock_guard lock(itsMutex);
        return itsFrames;
    }

private:
    mutable std::mutex itsMutex;
    std::vector<XDistributedRenderer::XTileRenderFinishedMessage> itsTiles;
    std::vector<std::uint32_t> itsFrames;
};

struct XSubmitted
{
    XRect tile;
    std::uint32_t pass, step, offset;
    bool operator==(const XSubmitted&) const = default;
};

class XDistributedRendererTest : public ::testing::Test
{
protected:
    void SetUp() override { XRegisterRenderClasses(); }

    // A renderer on a hand-driven backend that records every submitted job.
    std::unique_ptr<XDistributedRenderer> MakeManual()
    {
        auto backend = std::make_unique<XManualJobQueueBackend>();
        itsBackend = backend.get();
        auto renderer = std::make_unique<XDistributedRenderer>(std::move(backend));
        itsBackend->itsOnSubmit = [this, raw = renderer.get()](std::uint32_t, const XNetJob& inJob)
        {
            const auto& job = dynamic_cast<const XRenderNetJob&>(inJob);
            itsSubmitted.push_back({job.GetTileFilm()->GetSampleRect(), job.GetPass(),
                                    job.GetStep(), job.GetOffset()});
            // Jobs are released only once the frame's record exists.
            itsRemainingAtSubmit.push_back(raw->GetRemainingJobCount(job.GetFrameID()));
        };
        return renderer;
    }

    XManualJobQueueBackend* itsBackend = nullptr;
    std::vector<XSubmitted> itsSubmitted;
    std::vector<std::size_t> itsRemainingAtSubmit;
};

std::vector<std::uint8_t> ImageBytes(const XHighDynamicRangeImage& inImage)
{
    std::vector<std::uint8_t> bytes;
    for (std::uint32_t y = 0; y < inImage.GetHeight(); ++y)
    {
        for (std::uint32_t x = 0; x < inImage.GetWidth(); ++x)
        {
            const auto& pixel = inImage.At(x, y);
            const auto* raw = reinterpret_cast<const std::uint8_t*>(&pixel);
            bytes.insert(bytes.end(), raw, raw + sizeof pixel);
        }
    }
    return bytes;
}
} // namespace

TEST_F(XDistributedRendererTest, CutsTilesAndPassesInSubmissionOrder)
{
    const auto renderer = MakeManual();
    const XSharedHandle<X3DScene> scene = XLitMatteSphereScene().Build();
    renderer->RenderFrame(scene, std::make_unique<XFilm>(100.0f, 70.0f, nullptr));

    // 3 x 2 tiles, the last column 36 wide and the last row 38 high; four passes.
    const std::vector<XRect> tiles = {XRect(0, 0, 32, 32),   XRect(32, 0, 64, 32),
                                      XRect(64, 0, 100, 32), XRect(0, 32, 32, 70),
                                      XRect(32, 32, 64, 70), XRect(64, 32, 100, 70)};
    const std::tuple<std::uint32_t, std::uint32_t, std::uint32_t> passes[] = {
        {1, 8, 7}, {2, 8, 3}, {3, 4, 1}, {4, 2, 0}};
    std::vector<XSubmitted> expected;
    for (const auto& [pass, step, offset] : passes)
    {
        for (const XRect& tile : tiles)
        {
            expected.push_back({tile, pass, step, offset});
        }
    }
    EXPECT_EQ(itsSubmitted, expected);
    // Ids in submission order, and the frame's record existed before the first was released.
    ASSERT_EQ(itsBackend->itsOrder.size(), 24u);
    for (std::size_t i = 1; i < itsBackend->itsOrder.size(); ++i)
    {
        EXPECT_LT(itsBackend->itsOrder[i - 1], itsBackend->itsOrder[i]);
    }
    EXPECT_EQ(itsRemainingAtSubmit.front(), 24u);

    // A film smaller than one tile is refused before anything is submitted.
    EXPECT_THROW(renderer->RenderFrame(scene, std::make_unique<XFilm>(31.0f, 64.0f, nullptr)),
                 XException);
    EXPECT_EQ(itsBackend->itsOrder.size(), 24u);
}

TEST_F(XDistributedRendererTest, ReportsPercentPerTileAndOnlyTheFrameAtTheEnd)
{
    const auto renderer = MakeManual();
    const XMessageLog log(*renderer);
    const std::uint32_t frame = renderer->RenderFrame(
        XLitMatteSphereScene().Build(), std::make_unique<XFilm>(64.0f, 64.0f, nullptr));
    ASSERT_EQ(itsBackend->itsOrder.size(), 16u);
    for (const std::uint32_t id : itsBackend->itsOrder)
    {
        itsBackend->Finish(id);
    }
    renderer->WaitForFrame(frame);

    const auto tiles = log.Tiles();
    std::vector<std::uint32_t> percents;
    for (const auto& tile : tiles)
    {
        EXPECT_EQ(tile.itsFrameID, frame);
        percents.push_back(tile.itsPercent);
    }
    EXPECT_EQ(percents, (std::vector<std::uint32_t>{6, 12, 18, 25, 31, 37, 43, 50, 56, 62, 68, 75,
                                                    81, 87, 93}));
    ASSERT_EQ(tiles.size(), 15u);
    EXPECT_EQ(tiles[0].itsTileRect, XRect(0, 0, 32, 32));
    EXPECT_EQ(std::make_tuple(tiles[4].itsPass, tiles[4].itsStep, tiles[4].itsOffset),
              std::make_tuple(2u, 8u, 3u));
    EXPECT_EQ(log.Frames(), std::vector<std::uint32_t>{frame});
    EXPECT_EQ(renderer->GetRemainingJobCount(frame), 0u);
    // The frame's shared data goes once its last job is done.
    EXPECT_EQ(itsBackend->itsReleased.size(), 1u);

    // Every pixel got exactly one sample over the four passes.
    const auto image = renderer->GetFrameImage(frame);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->GetWidth(), 64u);

    // A completion for a released frame changes nothing and says nothing.
    renderer->ReleaseFrame(frame);
    const XNetJobCompletedMessage late(
        nullptr, itsBackend->itsOrder.front(),
        std::make_unique<XRenderNetJobResult>(std::make_unique<XFilm>(64.0f, 64.0f, nullptr), frame,
                                              1, 7, 8),
        "");
    renderer->HandleMessage(late);
    EXPECT_EQ(log.Tiles().size(), 15u);
    EXPECT_EQ(log.Frames().size(), 1u);
    const XInternalErrorCapture capture;
    EXPECT_EQ(renderer->GetFrameImage(frame), nullptr);
    EXPECT_EQ(capture.GetConditions(), std::vector<std::string>{"iter != itsFrames.end()"});
}

TEST_F(XDistributedRendererTest, FailedJobsFinishTheFrameAndAreNamed)
{
    const auto renderer = MakeManual();
    const XMessageLog log(*renderer);
    const std::uint32_t frame = renderer->RenderFrame(
        XLitMatteSphereScene().Build(), std::make_unique<XFilm>(64.0f, 64.0f, nullptr));
    const std::vector<std::uint32_t> ids = itsBackend->itsOrder;
    for (std::size_t i = 0; i < ids.size(); ++i)
    {
        if (i == 5) // pass 2, tile (32, 0)
        {
            itsBackend->Fail(ids[i], "worker lost");
        }
        else
        {
            itsBackend->Finish(ids[i]);
        }
    }
    renderer->WaitForFrame(frame);
    EXPECT_EQ(log.Frames(), std::vector<std::uint32_t>{frame});
    EXPECT_EQ(renderer->GetFailures(frame),
              std::vector<std::string>{"tile (32, 0) pass 2: worker lost"});
    // The failed job merged nothing: its columns of that tile have no samples.
    const auto image = renderer->GetFrameImage(frame);
    ASSERT_NE(image, nullptr);
}

TEST_F(XDistributedRendererTest, CancelDeletesTheRemainingJobsAndTheFilm)
{
    const auto renderer = MakeManual();
    const XMessageLog log(*renderer);
    const std::uint32_t frame = renderer->RenderFrame(
        XLitMatteSphereScene().Build(), std::make_unique<XFilm>(64.0f, 64.0f, nullptr));
    const std::vector<std::uint32_t> ids = itsBackend->itsOrder;
    itsBackend->Finish(ids[0]);
    itsBackend->Finish(ids[1]);
    renderer->GetJobQueue().WaitForJobsToCompleteWithProgress({ids[0], ids[1]}, "");
    EXPECT_EQ(log.Tiles().size(), 2u);
    renderer->WaitForFrame(0); // unknown: returns at once
    renderer->CancelFrame(frame);
    EXPECT_EQ(itsBackend->itsCancelled.size() + 2, ids.size());
    EXPECT_EQ(renderer->GetFrameImage(frame), nullptr); // the film is gone, the record stays
    // A job ending after the cancel is never announced; waiting does not hang.
    itsBackend->Fail(ids[2], "stopped");
    renderer->WaitForFrame(frame);
    renderer->ReleaseFrame(frame);
    EXPECT_EQ(log.Tiles().size(), 2u);
    EXPECT_TRUE(log.Frames().empty());
    renderer->CancelFrame(frame); // unknown by now: nothing
}

TEST_F(XDistributedRendererTest, TiledFrameEqualsDirectRenderWithAndWithoutStreams)
{
    // A lit sphere on a coloured background, at a size with edge tiles on both axes.
    const XSharedHandle<X3DScene> scene = XLitMatteSphereScene().Build();
    XRenderOptions options;
    options.maxDepth = 3;
    XFilm direct(100.0f, 70.0f, nullptr);
    XTracer tracer(options);
    tracer.SetScene(scene);
    tracer.RenderRegion(direct, 0, 1);
    float statistic = 0;
    const auto expected = ImageBytes(*direct.ConvertToImage(statistic));

    for (const bool streamMode : {false, true})
    {
        SCOPED_TRACE(streamMode ? "stream mode" : "shared memory");
        XDistributedRenderer renderer(std::make_unique<XLocalNetJobQueueBackend>(2, streamMode));
        renderer.SetRenderOptions(options);
        const std::uint32_t frame =
            renderer.RenderFrame(scene, std::make_unique<XFilm>(100.0f, 70.0f, nullptr));
        renderer.WaitForFrame(frame);
        EXPECT_EQ(renderer.GetRemainingJobCount(frame), 0u);
        EXPECT_TRUE(renderer.GetFailures(frame).empty());
        const auto image = renderer.GetFrameImage(frame);
        ASSERT_NE(image, nullptr);
        EXPECT_EQ(ImageBytes(*image), expected);
        renderer.ReleaseFrame(frame);
    }
}
