#include "apps/demo/XDemoScene.h"
#include "host/core/XLocalNetJobQueueBackend.h"
#include "tests/apps/XScratchFolder.h"
#include "tests/x-platform/module/XSceneFileRender.h"
#include "x-platform/distributed/XDistributedRenderer.h"
#include "x-platform/module/XStorableClassTable.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

// Frames rendered as tiles and passes through the job queue must equal, byte for byte, the same
// frames rendered directly: with one sample per pixel side every pixel gets exactly its one
// sample from exactly one pass, whichever machine (or thread) rendered it.

namespace
{
std::vector<float> ImageFloats(const XHighDynamicRangeImage& inImage)
{
    std::vector<float> floats;
    for (std::uint32_t y = 0; y < inImage.GetHeight(); ++y)
    {
        for (std::uint32_t x = 0; x < inImage.GetWidth(); ++x)
        {
            const auto& pixel = inImage.At(x, y);
            floats.insert(floats.end(), {pixel.a, pixel.r, pixel.g, pixel.b});
        }
    }
    return floats;
}

bool SameBytes(const std::vector<float>& inA, const std::vector<float>& inB)
{
    return inA.size() == inB.size() &&
           std::memcmp(inA.data(), inB.data(), inA.size() * sizeof(float)) == 0;
}

// Renders the scene file small (edge tiles on both axes), directly and then tiled with and
// without the stream round trip, and compares the floating-point frames.
void ExpectTiledEqualsDirect(const std::filesystem::path& inSceneFile)
{
    SCOPED_TRACE(inSceneFile.string());
    XRayTracerRenderer renderer(inSceneFile);
    renderer.SetResolution(100, 70);
    renderer.SetSamplesPerPixelSide(1);
    const std::unique_ptr<XFilm> direct = renderer.CreateFilm();
    XVolumeRayTracerTool::RenderFilm(renderer.GetScene(), renderer.GetRenderOptions(), *direct, 2);
    float statistic = 0;
    const std::vector<float> expected = ImageFloats(*direct->ConvertToImage(statistic));

    for (const bool streamMode : {false, true})
    {
        SCOPED_TRACE(streamMode ? "through streams" : "in memory");
        XDistributedRenderer tiled(std::make_unique<XLocalNetJobQueueBackend>(2, streamMode));
        tiled.SetRenderOptions(renderer.GetRenderOptions());
        const std::uint32_t frame = tiled.RenderFrame(renderer.GetScene(), renderer.CreateFilm());
        tiled.WaitForFrame(frame);
        EXPECT_TRUE(tiled.GetFailures(frame).empty());
        const auto image = tiled.GetFrameImage(frame);
        ASSERT_NE(image, nullptr);
        EXPECT_TRUE(SameBytes(ImageFloats(*image), expected));
        tiled.ReleaseFrame(frame);
    }
}
} // namespace

TEST(XTiledRenderTest, ExamplesRenderTheSameTiledAndDirect)
{
    XRegisterStorableClasses();
    if (!std::filesystem::exists(VOLTRACE_SAMPLE_DATA_DIR))
    {
        GTEST_SKIP() << "the shared sample stacks are not here";
    }
    int scenes = 0;
    for (const auto& entry : std::filesystem::directory_iterator(
             std::filesystem::path(VOLTRACE_SOURCE_DIR) / "examples"))
    {
        if (entry.path().extension() == ".json")
        {
            ExpectTiledEqualsDirect(entry.path());
            ++scenes;
        }
    }
    EXPECT_GE(scenes, 5);
}

TEST(XTiledRenderTest, TheDemoRendersTheSameThroughTheToolAsDirect)
{
    XRegisterStorableClasses();
    const XScratchFolder folder;
    const XDemoScene::XFiles files = XDemoScene::WriteDemo(folder.GetPath());
    ExpectTiledEqualsDirect(files.scene);

    // The renderer's own frame path: the tool's render thread, the distributed renderer and the
    // frame buffer, against the direct picture.
    XRayTracerRenderer renderer(files.scene);
    renderer.SetResolution(100, 70);
    renderer.SetSamplesPerPixelSide(1);
    renderer.RenderFrame(std::make_unique<XLocalNetJobQueueBackend>(2, true));
    EXPECT_TRUE(renderer.GetFrameFailures().empty());
    const auto frame = renderer.GetFrameBufferCopy();
    const auto expected = XRenderPicture(renderer, 2);
    ASSERT_NE(frame, nullptr);
    ASSERT_EQ(frame->GetBounds(), expected->GetBounds());
    EXPECT_EQ(std::memcmp(frame->GetBaseAddress(), expected->GetBaseAddress(),
                          frame->GetVoxelCount() * sizeof(XARGB32Colour)),
              0);
}
