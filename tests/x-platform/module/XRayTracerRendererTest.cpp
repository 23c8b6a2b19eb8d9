// Properties of scene-file renders on a small microscope-like scene (two channels, surfaces,
// spots, a light): where the light is, which channels show, the render scale, the threads and
// the film size.

#include "XPixelRays.h"
#include "XSceneFileRender.h"
#include "XTestStack.h"

#include "host/core/XException.h"
#include "x-platform/geometry/XRayHit.h"
#include "x-platform/rendering/X3DScene.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <string>

namespace
{
using nlohmann::json;

// The stack: channel 1 bright in the columns x < 9, channel 2 in the columns x ≥ 7, so that they
// overlap in a band.
constexpr std::uint32_t kStackWidth = 16;
constexpr std::uint32_t kStackHeight = 16;
constexpr std::uint32_t kStackDepth = 8;

void WriteTwoChannelStack(const std::filesystem::path& inPath)
{
    XTestStack stack;
    stack.width = kStackWidth;
    stack.height = kStackHeight;
    stack.depth = kStackDepth;
    stack.channels = 2;
    stack.value = [](std::uint32_t inX, std::uint32_t inY, std::uint32_t, std::uint32_t inChannel)
    {
        const bool inside = inChannel == 0 ? inX < 9 : inX >= 7;
        return static_cast<std::uint8_t>(inside ? 150 + 4 * inY : 10);
    };
    stack.Write(inPath);
}

json Scaled(std::initializer_list<double> inValues, double inUnit)
{
    json values = json::array();
    for (const double value : inValues)
    {
        values.push_back(value * inUnit);
    }
    return values;
}

// The camera of the microscope scene, in units of inUnit.
XCamera MicroscopeCamera(double inUnit)
{
    const auto f = [inUnit](double inValue) { return static_cast<float>(inValue * inUnit); };
    return XCamera(XMathVectorF3(f(5), f(4), f(-18)), XMathVectorF3(f(0), f(0), f(0)),
                   XMathVectorF3(0, 1, 0));
}

// A scene of micrometre-sized things seen from about 20 units away, with every length and
// position multiplied by inUnit: the stack's volume (red channel 1, green channel 2), a blue
// sphere in front of it, a blue coverslip disk under it, three spots (one far behind the volume,
// the farthest thing from the camera), a far sphere that is disabled, and one light. No surface
// reflects red or green.
json MicroscopeScene(double inUnit, const std::string& inSpotsFile)
{
    const json blue = {{"type", "matte"}, {"texture", {0.0, 0.0, 0.7}}};
    return {{"image", {{"width", 32}, {"height", 32}}},
            {"camera",
             {{"position", Scaled({5, 4, -18}, inUnit)},
              {"lookAt", Scaled({0, 0, 0}, inUnit)},
              {"up", {0, 1, 0}}}},
            {"background", {0, 0, 0}},
            {"lights", {{{"position", Scaled({-6, 8, -10}, inUnit)}, {"intensity", {1, 1, 1}}}}},
            {"surfaces",
             {{{"geometry", {{"type", "sphere"}, {"radius", 0.6 * inUnit}}},
               {"transform", {{"translate", Scaled({0.8, -0.3, -2.6}, inUnit)}}},
               {"material", blue}},
              {{"geometry", {{"type", "disk"}, {"radius", 4.0 * inUnit}}},
               {"transform",
                {{"translate", Scaled({0, -2.2, 0}, inUnit)},
                 {"rotate", {{"axis", {1, 0, 0}}, {"degrees", 90}}}}},
               {"material", blue}},
              {{"geometry", {{"type", "sphere"}, {"radius", 1.0 * inUnit}}},
               {"transform", {{"translate", Scaled({0, 0, 400}, inUnit)}}},
               {"enabled", false}}}},
            {"spots", {{{"file", inSpotsFile}, {"radius", 0.4 * inUnit}, {"material", blue}}}},
            {"volume",
             {{"file", "cells.tif"},
              {"voxelSize", Scaled({0.25, 0.25, 0.5}, inUnit)},
              {"origin", Scaled({-1.875, -1.875, -1.75}, inUnit)},
              {"channels",
               {{{"channel", 1}, {"colour", "#FF0000"}, {"threshold", 0.1}, {"opacity", 0.4}},
                {{"channel", 2},
                 {"colour", json::array({0.0, 1.0, 0.0})},
                 {"threshold", 0.1},
                 {"opacity", 0.4}}}}}}};
}

void WriteSpots(const std::filesystem::path& inPath, double inUnit)
{
    std::string text = "X,Y,Z\n";
    for (const auto& [x, y, z] :
         {std::array<double, 3>{-0.5, 1.0, -2.5}, std::array<double, 3>{1.5, -1.2, -2.2},
          std::array<double, 3>{-3.0, 3.0, 6.0}})
    {
        text += std::to_string(x * inUnit) + "," + std::to_string(y * inUnit) + "," +
                std::to_string(z * inUnit) + "\n";
    }
    XWriteWholeFile(inPath, text);
}

// A folder holding the stack and spots tables for the microscope scene in units 1 and 1000.
class XMicroscopeFolder
{
public:
    XMicroscopeFolder()
    {
        WriteTwoChannelStack(itsFolder / "cells.tif");
        WriteSpots(itsFolder / "spots.csv", 1.0);
        WriteSpots(itsFolder / "spots-nm.csv", 1000.0);
    }
    const XScratchFolder& Get() const { return itsFolder; }

private:
    XScratchFolder itsFolder;
};

std::unique_ptr<XARGB32Volume> Render(const XScratchFolder& inFolder, const std::string& inName,
                                      const json& inScene, std::uint32_t inThreads = 1)
{
    XRayTracerRenderer renderer(XWriteScene(inFolder, inName, inScene));
    return XRenderPicture(renderer, inThreads);
}

struct XChannelRange
{
    int maximum[3] = {0, 0, 0};
};

XChannelRange MaximumBytes(const XARGB32Volume& inPicture)
{
    XChannelRange range;
    for (std::uint32_t y = 0; y < inPicture.GetHeight(); ++y)
    {
        for (std::uint32_t x = 0; x < inPicture.GetWidth(); ++x)
        {
            const XARGB32Colour pixel =
                inPicture.At(static_cast<std::int32_t>(x), static_cast<std::int32_t>(y), 0);
            range.maximum[0] = std::max<int>(range.maximum[0], pixel.r);
            range.maximum[1] = std::max<int>(range.maximum[1], pixel.g);
            range.maximum[2] = std::max<int>(range.maximum[2], pixel.b);
        }
    }
    return range;
}

// The number of pixels in which some component differs by more than inTolerance.
int CountDifferentPixels(const XARGB32Volume& inA, const XARGB32Volume& inB, int inTolerance)
{
    int different = 0;
    for (std::uint32_t y = 0; y < inA.GetHeight(); ++y)
    {
        for (std::uint32_t x = 0; x < inA.GetWidth(); ++x)
        {
            const XARGB32Colour a =
                inA.At(static_cast<std::int32_t>(x), static_cast<std::int32_t>(y), 0);
            const XARGB32Colour b =
                inB.At(static_cast<std::int32_t>(x), static_cast<std::int32_t>(y), 0);
            const bool differs = std::abs(a.r - b.r) > inTolerance ||
                                 std::abs(a.g - b.g) > inTolerance ||
                                 std::abs(a.b - b.b) > inTolerance;
            different += differs ? 1 : 0;
        }
    }
    return different;
}

// The largest distance from inEye to a corner of the box [inLow, inHigh], in double precision.
double FarthestCorner(const XMathVectorF3& inEye, const XMathVectorF3& inLow,
                      const XMathVectorF3& inHigh)
{
    double farthest = 0.0;
    for (int corner = 0; corner < 8; ++corner)
    {
        const double x = (corner & 1) ? inHigh.x : inLow.x;
        const double y = (corner & 2) ? inHigh.y : inLow.y;
        const double z = (corner & 4) ? inHigh.z : inLow.z;
        farthest = std::max(farthest, std::sqrt((x - inEye.x) * (x - inEye.x) +
                                                (y - inEye.y) * (y - inEye.y) +
                                                (z - inEye.z) * (z - inEye.z)));
    }
    return farthest;
}
} // namespace

TEST(XRayTracerRendererTest, LightBehindTheCameraLightsTheFrontFacesBetterThanOneBehindTheSphere)
{
    const XMicroscopeFolder folder;
    json scene = MicroscopeScene(1.0, "spots.csv");
    scene["image"] = {{"width", 64}, {"height", 64}};
    // Light straight behind the camera, then straight behind the front sphere as the camera sees
    // it.
    scene["lights"][0]["position"] = {7.5, 6.0, -27.0};
    XRayTracerRenderer frontLit(XWriteScene(folder.Get(), "front.json", scene));
    const XMathVectorF3 sphere(0.8f, -0.3f, -2.6f);
    const XMathVectorF3 eye = MicroscopeCamera(1.0).GetPosition();
    const XMathVectorF3 behind = sphere + (sphere - eye) * 0.5f;
    scene["lights"][0]["position"] = {behind.x, behind.y, behind.z};
    XRayTracerRenderer backLit(XWriteScene(folder.Get(), "back.json", scene));
    const std::unique_ptr<XARGB32Volume> front = XRenderPicture(frontLit);
    const std::unique_ptr<XARGB32Volume> back = XRenderPicture(backLit);

    // The pixels whose rays meet the front sphere first, away from its rim (in render units).
    const X3DScene& prepared = *frontLit.GetScene();
    const XPixelRays rays(prepared.GetCamera(), 64, 64);
    const float scale = frontLit.GetRenderScale();
    int spherePixels = 0;
    int brighter = 0;
    long frontSum = 0;
    long backSum = 0;
    for (std::uint32_t y = 0; y < 64; ++y)
    {
        for (std::uint32_t x = 0; x < 64; ++x)
        {
            XRay ray = rays.Get(x, y);
            XRayHit hit;
            if (!prepared.Intersect(ray, hit) ||
                (hit.point - sphere * scale).Length() > 0.61f * scale ||
                Dot(hit.normal, ray.direction) > -0.3f)
            {
                continue;
            }
            const XARGB32Colour lit =
                front->At(static_cast<std::int32_t>(x), static_cast<std::int32_t>(y), 0);
            const XARGB32Colour dark =
                back->At(static_cast<std::int32_t>(x), static_cast<std::int32_t>(y), 0);
            EXPECT_GE(lit.b, dark.b) << x << ", " << y;
            brighter += lit.b > dark.b ? 1 : 0;
            frontSum += lit.b;
            backSum += dark.b;
            ++spherePixels;
        }
    }
    EXPECT_GT(spherePixels, 20);
    // Lit from behind, the front faces get only the light's ambient share (0.2). Lit from the
    // camera they get more, but for pixels whose shadow ray starts a hair inside the sphere: its
    // hit point, solved in object space about 16 units from the camera, is off by about as much
    // as the shadow ray's fixed 1e-5 offset, and those pixels keep the ambient share only.
    EXPECT_GE(brighter, 2 * spherePixels / 3);
    EXPECT_GT(frontSum, 2 * backSum);
}

TEST(XRayTracerRendererTest, AHiddenChannelTakesItsColourOutOfThePicture)
{
    const XMicroscopeFolder folder;
    const json both = MicroscopeScene(1.0, "spots.csv");
    const XChannelRange all = MaximumBytes(*Render(folder.Get(), "both.json", both));
    EXPECT_GT(all.maximum[0], 40);
    EXPECT_GT(all.maximum[1], 40);
    EXPECT_GT(all.maximum[2], 40); // the blue surfaces

    // Channel 1 (red) turned invisible: no red byte anywhere, green still there.
    json redHidden = both;
    redHidden["volume"]["channels"][0]["visible"] = false;
    const std::unique_ptr<XARGB32Volume> greenOnly = Render(folder.Get(), "green.json", redHidden);
    EXPECT_EQ(MaximumBytes(*greenOnly).maximum[0], 0);
    EXPECT_GT(MaximumBytes(*greenOnly).maximum[1], 40);

    // Channel 2 (green) left out of the list: not visible either.
    json greenHidden = both;
    greenHidden["volume"]["channels"].erase(1);
    const std::unique_ptr<XARGB32Volume> redOnly = Render(folder.Get(), "red.json", greenHidden);
    EXPECT_EQ(MaximumBytes(*redOnly).maximum[1], 0);
    EXPECT_GT(MaximumBytes(*redOnly).maximum[0], 40);

    // Both hidden: only the blue surfaces remain.
    json none = both;
    none["volume"]["channels"][0]["visible"] = false;
    none["volume"]["channels"][1]["visible"] = false;
    const XChannelRange surfaces = MaximumBytes(*Render(folder.Get(), "none.json", none));
    EXPECT_EQ(surfaces.maximum[0], 0);
    EXPECT_EQ(surfaces.maximum[1], 0);
    EXPECT_GT(surfaces.maximum[2], 40);
}

TEST(XRayTracerRendererTest, AutomaticRenderScaleIsTheExplicitScaleOfTheRule)
{
    const XMicroscopeFolder folder;
    const json scene = MicroscopeScene(1.0, "spots.csv");
    XRayTracerRenderer automatic(XWriteScene(folder.Get(), "auto.json", scene));

    // The rule: 10 / D for the largest distance D from the camera to a corner of the volume's
    // data box or of an enabled surface's world box (spots included; the disabled far sphere is
    // not). Here the far spot decides; the disk and the volume come close.
    const XMathVectorF3 eye = MicroscopeCamera(1.0).GetPosition();
    const XMathVectorF3 spot(-3.0f, 3.0f, 6.0f);
    const XMathVectorF3 spotRadius(0.4f, 0.4f, 0.4f);
    double farthest = FarthestCorner(eye, spot - spotRadius, spot + spotRadius);
    farthest = std::max(farthest, FarthestCorner(eye, XMathVectorF3(-4.0f, -2.2f, -4.0f),
                                                 XMathVectorF3(4.0f, -2.2f, 4.0f)));
    farthest = std::max(farthest, FarthestCorner(eye, XMathVectorF3(-1.875f, -1.875f, -1.75f),
                                                 XMathVectorF3(1.875f, 1.875f, 1.75f)));
    ASSERT_GT(farthest, 20.0);
    EXPECT_FLOAT_EQ(automatic.GetRenderScale(), static_cast<float>(10.0 / farthest));

    json explicitScale = scene;
    explicitScale["renderScale"] = automatic.GetRenderScale();
    XRayTracerRenderer given(XWriteScene(folder.Get(), "explicit.json", explicitScale));
    EXPECT_EQ(given.GetRenderScale(), automatic.GetRenderScale());
    const std::unique_ptr<XARGB32Volume> a = XRenderPicture(automatic);
    const std::unique_ptr<XARGB32Volume> b = XRenderPicture(given);
    EXPECT_EQ(CountDifferentPixels(*a, *b, 0), 0);
    // The picture shows something of everything: red and green volume, blue surfaces.
    const XChannelRange range = MaximumBytes(*a);
    EXPECT_GT(range.maximum[0], 40);
    EXPECT_GT(range.maximum[1], 40);
    EXPECT_GT(range.maximum[2], 40);

    // With the volume alone, its box through the voxel centres decides: its far corner is
    // (±1.875, ±1.875, 1.75) for 16 × 16 × 8 voxels of 0.25 × 0.25 × 0.5 from the origin given.
    json volumeOnly = {{"camera", {{"position", {0, 0, -20}}}}, {"volume", scene["volume"]}};
    XRayTracerRenderer volume(XWriteScene(folder.Get(), "volume.json", volumeOnly));
    EXPECT_FLOAT_EQ(volume.GetRenderScale(),
                    static_cast<float>(10.0 / std::sqrt(2 * 1.875 * 1.875 + 21.75 * 21.75)));

    // A scale that puts the far side of the scene beyond the camera's far clipping distance
    // renders another picture: the scale takes effect.
    explicitScale["renderScale"] = automatic.GetRenderScale() * 6.0f;
    const std::unique_ptr<XARGB32Volume> c = Render(folder.Get(), "double.json", explicitScale);
    EXPECT_GT(CountDifferentPixels(*a, *c, 1), 50);
}

TEST(XRayTracerRendererTest, TheSameSceneInNanometresRendersTheSamePicture)
{
    const XMicroscopeFolder folder;
    XRayTracerRenderer micrometres(
        XWriteScene(folder.Get(), "um.json", MicroscopeScene(1.0, "spots.csv")));
    XRayTracerRenderer nanometres(
        XWriteScene(folder.Get(), "nm.json", MicroscopeScene(1000.0, "spots-nm.csv")));
    EXPECT_NEAR(micrometres.GetRenderScale() / nanometres.GetRenderScale(), 1000.0f, 1e-2f);
    const std::unique_ptr<XARGB32Volume> a = XRenderPicture(micrometres);
    const std::unique_ptr<XARGB32Volume> b = XRenderPicture(nanometres);
    // The render scales differ in their last bits, so whatever hangs on a tie of float32
    // rounding may go either way: whether the last sample of a march (whose count is worked out
    // as ((t + len) - t) / step, a hair either side of a whole number) is taken, and whether a
    // shadow ray from a small sphere far from the camera starts a little inside it. Most pixels
    // agree within one byte, nearly all within a few.
    const int pixels = 32 * 32;
    EXPECT_LE(CountDifferentPixels(*a, *b, 1), pixels / 16);
    EXPECT_LE(CountDifferentPixels(*a, *b, 16), pixels / 100);
}

TEST(XRayTracerRendererTest, ThreadsDoNotChangeThePicture)
{
    const XMicroscopeFolder folder;
    const json scene = MicroscopeScene(1.0, "spots.csv");
    const std::unique_ptr<XARGB32Volume> one = Render(folder.Get(), "one.json", scene, 1);
    const std::unique_ptr<XARGB32Volume> three = Render(folder.Get(), "three.json", scene, 3);
    EXPECT_EQ(CountDifferentPixels(*one, *three, 0), 0);
    // More interleaved column sets (8 per thread) than the film has columns.
    const std::unique_ptr<XARGB32Volume> eight = Render(folder.Get(), "eight.json", scene, 8);
    EXPECT_EQ(CountDifferentPixels(*one, *eight, 0), 0);
    EXPECT_GT(MaximumBytes(*one).maximum[0], 40);
}

TEST(XRayTracerRendererTest, FilmSizeComesFromTheSceneFileOrTheOverride)
{
    const XMicroscopeFolder folder;
    json scene = MicroscopeScene(1.0, "spots.csv");
    scene["image"] = {{"width", 48}, {"height", 32}};
    XRayTracerRenderer renderer(XWriteScene(folder.Get(), "wide.json", scene));
    EXPECT_EQ(renderer.GetWidth(), 48u);
    EXPECT_EQ(renderer.GetHeight(), 32u);
    const std::unique_ptr<XARGB32Volume> wide = XRenderPicture(renderer);
    EXPECT_EQ(wide->GetWidth(), 48u);
    EXPECT_EQ(wide->GetHeight(), 32u);

    renderer.SetResolution(32, 40);
    const std::unique_ptr<XARGB32Volume> tall = XRenderPicture(renderer);
    EXPECT_EQ(tall->GetWidth(), 32u);
    EXPECT_EQ(tall->GetHeight(), 40u);
    // The vertical field stays: a taller film sees the same picture centre.
    EXPECT_GT(MaximumBytes(*tall).maximum[0], 40);

    // A film narrower or lower than one tile is refused, and the size stays as it was.
    EXPECT_THROW(renderer.SetResolution(31, 40), XException);
    EXPECT_THROW(renderer.SetResolution(32, 16), XException);
    EXPECT_EQ(renderer.GetWidth(), 32u);
    EXPECT_EQ(renderer.GetHeight(), 40u);
}
