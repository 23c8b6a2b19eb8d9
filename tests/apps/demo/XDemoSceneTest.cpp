#include "apps/demo/XDemoScene.h"

#include "../XScratchFolder.h"
#include "apps/demo/XDemoStack.h"
#include "host/core/XException.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <numbers>
#include <set>
#include <string>

namespace
{
using XVector = XDemoScene::XVector;

XVector Minus(const XVector& inA, const XVector& inB)
{
    return {inA[0] - inB[0], inA[1] - inB[1], inA[2] - inB[2]};
}

double Dot(const XVector& inA, const XVector& inB)
{
    return inA[0] * inB[0] + inA[1] * inB[1] + inA[2] * inB[2];
}

XVector Cross(const XVector& inA, const XVector& inB)
{
    return {inA[1] * inB[2] - inA[2] * inB[1], inA[2] * inB[0] - inA[0] * inB[2],
            inA[0] * inB[1] - inA[1] * inB[0]};
}

XVector Unit(const XVector& inA)
{
    const double length = std::sqrt(Dot(inA, inA));
    return {inA[0] / length, inA[1] / length, inA[2] / length};
}

XVector FromJson(const nlohmann::json& inArray)
{
    return {inArray.at(0).get<double>(), inArray.at(1).get<double>(), inArray.at(2).get<double>()};
}

// How far out towards the picture's edges the box's corners lie, as the largest share of the
// half-width and of the half-height, seen by the scene file's look-at camera with the tracer's
// 40° vertical field.
struct XReach
{
    double x = 0.0;
    double y = 0.0;
    bool allInFront = true;
};

XReach ReachOfCorners(const XVector& inLow, const XVector& inHigh, const XVector& inPosition,
                      const XVector& inLookAt, const XVector& inUp, double inAspect)
{
    const XVector back = Unit(Minus(inPosition, inLookAt));
    const XVector right = Unit(Cross(inUp, back));
    const XVector up = Cross(back, right);
    const double halfHeight = std::tan(20.0 * std::numbers::pi / 180.0);
    XReach reach;
    for (int corner = 0; corner < 8; ++corner)
    {
        const XVector point{(corner & 1) ? inHigh[0] : inLow[0],
                            (corner & 2) ? inHigh[1] : inLow[1],
                            (corner & 4) ? inHigh[2] : inLow[2]};
        const XVector offset = Minus(point, inPosition);
        const double depth = -Dot(offset, back);
        reach.allInFront = reach.allInFront && depth > 0.0;
        reach.x = std::max(reach.x, std::abs(Dot(offset, right)) / depth / (inAspect * halfHeight));
        reach.y = std::max(reach.y, std::abs(Dot(offset, up)) / depth / halfHeight);
    }
    return reach;
}

XDemoStack::XSettings SmallSettings()
{
    XDemoStack::XSettings settings;
    settings.width = 48;
    settings.height = 40;
    settings.depth = 10;
    settings.cellCount = 2;
    return settings;
}
} // namespace

TEST(XDemoSceneTest, FrameBoxFitsEveryCornerAndTouchesTheMargin)
{
    const XVector low{-3.0, 2.0, 0.0};
    const XVector high{17.0, 9.0, 30.0};
    for (const XVector& direction : {XVector{0.55, -0.85, 0.75}, XVector{0.0, -1.0, 0.2},
                                     XVector{1.0, 1.0, 1.0}, XVector{-2.0, 0.5, -1.0}})
    {
        for (const double aspect : {4.0 / 3.0, 1.0, 0.5})
        {
            const XDemoScene::XView view =
                XDemoScene::FrameBox(low, high, direction, {0.0, 0.0, 1.0}, aspect, 0.1);
            EXPECT_EQ(view.lookAt, (XVector{7.0, 5.5, 15.0}));
            // The camera lies along the direction from the centre.
            const XVector along = Unit(Minus(view.position, view.lookAt));
            EXPECT_NEAR(Dot(along, Unit(direction)), 1.0, 1e-12);
            const XReach reach =
                ReachOfCorners(low, high, view.position, view.lookAt, view.up, aspect);
            EXPECT_TRUE(reach.allInFront);
            EXPECT_LE(reach.x, 0.9 + 1e-12);
            EXPECT_LE(reach.y, 0.9 + 1e-12);
            EXPECT_NEAR(std::max(reach.x, reach.y), 0.9, 1e-9);
        }
    }
}

TEST(XDemoSceneTest, TheSceneFileFollowsTheFormatAndShowsTheStack)
{
    const XDemoStack stack(SmallSettings());
    const nlohmann::json scene =
        nlohmann::json::parse(XDemoScene::Compose(stack, "stack.ome.tif", "centres.csv"));

    const std::set<std::string> known = {"image",  "camera", "background", "ambient",
                                         "render", "filter", "lights",     "surfaces",
                                         "spots",  "volume", "renderScale"};
    for (const auto& [key, value] : scene.items())
    {
        EXPECT_TRUE(known.contains(key)) << key;
    }
    EXPECT_EQ(scene.at("image"), (nlohmann::json{{"width", 512}, {"height", 384}}));
    EXPECT_EQ(scene.at("background"), (nlohmann::json{0, 0, 0}));
    EXPECT_EQ(scene.at("ambient"), 0.2);
    EXPECT_EQ(scene.at("render"), (nlohmann::json{{"samplesPerPixelSide", 1}}));

    // The camera frames the volume's world box, voxel centres from 0 to (n − 1) × size.
    const XVector high{47 * 0.2, 39 * 0.2, 9 * 0.5};
    const nlohmann::json& camera = scene.at("camera");
    const XVector lookAt = FromJson(camera.at("lookAt"));
    EXPECT_NEAR(lookAt[0], high[0] / 2, 0.001);
    EXPECT_NEAR(lookAt[1], high[1] / 2, 0.001);
    EXPECT_NEAR(lookAt[2], high[2] / 2, 0.001);
    const XReach reach = ReachOfCorners({0, 0, 0}, high, FromJson(camera.at("position")), lookAt,
                                        FromJson(camera.at("up")), 512.0 / 384.0);
    EXPECT_TRUE(reach.allInFront);
    EXPECT_LT(std::max(reach.x, reach.y), 1.0);
    EXPECT_GT(std::max(reach.x, reach.y), 0.8);
    // Oblique: seen from above and from the side.
    const XVector back = Unit(Minus(FromJson(camera.at("position")), lookAt));
    EXPECT_GT(back[2], 0.3);
    EXPECT_GT(std::hypot(back[0], back[1]), 0.3);

    ASSERT_EQ(scene.at("lights").size(), 1u);
    EXPECT_EQ(scene.at("lights")[0].at("position").size(), 3u);
    EXPECT_EQ(scene.at("lights")[0].at("intensity"), (nlohmann::json{1, 1, 1}));

    const nlohmann::json& volume = scene.at("volume");
    EXPECT_EQ(volume.at("file"), "stack.ome.tif");
    EXPECT_EQ(volume.at("timePoint"), 0);
    EXPECT_EQ(volume.at("voxelSize"), (nlohmann::json{0.2, 0.2, 0.5}));
    EXPECT_EQ(volume.at("origin"), (nlohmann::json{0, 0, 0}));
    const nlohmann::json& channels = volume.at("channels");
    ASSERT_EQ(channels.size(), 3u);
    const char* const colours[3] = {"#3080FF", "#FF40A0", "#40FF60"};
    for (std::uint32_t channel = 1; channel <= 3; ++channel)
    {
        const nlohmann::json& entry = channels[channel - 1];
        EXPECT_EQ(entry.at("channel"), channel);
        EXPECT_EQ(entry.at("visible"), true);
        EXPECT_EQ(entry.at("colour"), colours[channel - 1]);
        for (const char* property : {"threshold", "brightness", "opacity"})
        {
            EXPECT_GT(entry.at(property).get<double>(), 0.0) << property;
        }
        EXPECT_LT(entry.at("threshold").get<double>(), 1.0);
        EXPECT_LE(entry.at("opacity").get<double>(), 1.0);
        // From the background to the brightest structures.
        EXPECT_EQ(entry.at("range")[0], stack.GetQuantile(channel, 0.5));
        EXPECT_EQ(entry.at("range")[1], stack.GetQuantile(channel, 0.999));
        EXPECT_GT(entry.at("range")[1], entry.at("range")[0]);
    }

    ASSERT_EQ(scene.at("spots").size(), 1u);
    const nlohmann::json& spots = scene.at("spots")[0];
    EXPECT_EQ(spots.at("file"), "centres.csv");
    EXPECT_EQ(spots.at("radius"), XDemoScene::kSpotRadius);
    EXPECT_EQ(spots.at("material").at("type"), "plastic");

    // The coverslip lies under the first plane and reaches beyond the stack's footprint.
    ASSERT_EQ(scene.at("surfaces").size(), 1u);
    const nlohmann::json& coverslip = scene.at("surfaces")[0];
    EXPECT_EQ(coverslip.at("geometry").at("type"), "cylinder");
    const double top = coverslip.at("transform").at("translate")[2].get<double>() +
                       0.5 * coverslip.at("transform").at("scale")[2].get<double>();
    EXPECT_LT(top, 0.0);
    EXPECT_GT(top, -0.5);
    EXPECT_GT(coverslip.at("geometry").at("radius").get<double>(),
              std::hypot(high[0], high[1]) / 2);
    EXPECT_EQ(coverslip.at("material").at("type"), "matte");
}

TEST(XDemoSceneTest, TheDemoFolderIsTheSameByteForByteEveryTime)
{
    XScratchFolder folder;
    const XDemoScene::XFiles first = XDemoScene::WriteDemo(folder / "first");
    const XDemoScene::XFiles second = XDemoScene::WriteDemo(folder / "second" / "nested");
    EXPECT_EQ(first.stack, folder / "first" / "cells.ome.tif");
    EXPECT_EQ(first.spots, folder / "first" / "spots.csv");
    EXPECT_EQ(first.scene, folder / "first" / "demo.json");
    for (const auto& [a, b] :
         {std::pair(first.stack, second.stack), std::pair(first.spots, second.spots),
          std::pair(first.scene, second.scene)})
    {
        const std::string bytes = XReadWholeFile(a);
        EXPECT_GT(bytes.size(), 100u) << a;
        EXPECT_TRUE(bytes == XReadWholeFile(b)) << a << " and " << b << " differ";
    }
    // The scene names the other two files relative to its own folder.
    const nlohmann::json scene = nlohmann::json::parse(XReadWholeFile(first.scene));
    EXPECT_TRUE(std::filesystem::exists(folder / "first" /
                                        scene.at("volume").at("file").get<std::string>()));
    EXPECT_TRUE(std::filesystem::exists(folder / "first" /
                                        scene.at("spots")[0].at("file").get<std::string>()));
}

TEST(XDemoSceneTest, AFolderThatCannotBeMadeThrows)
{
    XScratchFolder folder;
    XWriteWholeFile(folder / "taken", "a file, not a folder");
    try
    {
        XDemoScene::WriteDemo(folder / "taken");
        ADD_FAILURE() << "wrote into a file";
    }
    catch (const XException& inError)
    {
        EXPECT_EQ(inError.GetCode(), XException::kIOError);
        EXPECT_NE(std::string(inError.what()).find("taken"), std::string::npos);
    }
    EXPECT_THROW(XDemoScene::WriteDemo(folder / "taken" / "below"), XException);
}
