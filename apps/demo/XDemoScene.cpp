#include "apps/demo/XDemoScene.h"

#include "apps/demo/XDemoStack.h"
#include "host/core/XException.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <limits>
#include <numbers>
#include <system_error>

namespace
{
using XVector = XDemoScene::XVector;
using XJson = nlohmann::ordered_json;

XVector Add(const XVector& inA, const XVector& inB)
{
    return {inA[0] + inB[0], inA[1] + inB[1], inA[2] + inB[2]};
}

XVector Subtract(const XVector& inA, const XVector& inB)
{
    return {inA[0] - inB[0], inA[1] - inB[1], inA[2] - inB[2]};
}

XVector Scale(const XVector& inA, double inS)
{
    return {inA[0] * inS, inA[1] * inS, inA[2] * inS};
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

XVector Normalised(const XVector& inA)
{
    const double length = std::sqrt(Dot(inA, inA));
    if (!(length > 0.0))
    {
        throw XException(XException::kInvalidArgument, "A direction of zero length");
    }
    return Scale(inA, 1.0 / length);
}

// Three decimals are plenty for micrometres and keep the file readable.
double Round3(double inValue)
{
    return std::round(inValue * 1000.0) / 1000.0;
}

XJson Vector(const XVector& inA)
{
    return XJson::array({Round3(inA[0]), Round3(inA[1]), Round3(inA[2])});
}

std::string ColourText(std::uint32_t inRGB)
{
    char text[8];
    std::snprintf(text, sizeof text, "#%06X", static_cast<unsigned>(inRGB & 0xFFFFFFu));
    return text;
}

void WriteText(const std::filesystem::path& inPath, const std::string& inText)
{
    std::ofstream file(inPath, std::ios::binary | std::ios::trunc);
    file << inText;
    file.flush();
    if (!file)
    {
        throw XException(XException::kIOError, inPath.filename().string() +
                                                   ": cannot be written (" + inPath.string() + ")");
    }
}
} // namespace

XDemoScene::XView XDemoScene::FrameBox(const XVector& inLow, const XVector& inHigh,
                                       const XVector& inDirection, const XVector& inUp,
                                       double inAspect, double inMargin)
{
    const XVector centre = Scale(Add(inLow, inHigh), 0.5);
    // The camera frame of the scene file: back points from the scene to the camera.
    const XVector back = Normalised(inDirection);
    const XVector right = Normalised(Cross(inUp, back));
    const XVector up = Cross(back, right);
    const double halfHeight = std::tan(kFieldOfViewDegrees * std::numbers::pi / 360.0);
    const double limitY = halfHeight * (1.0 - inMargin);
    const double limitX = inAspect * halfHeight * (1.0 - inMargin);

    // A corner at offset r from the centre lies r·back nearer than the centre; it is inside the
    // picture when |r·right| ≤ limitX × its depth, and likewise upwards.
    double distance = 0.0;
    for (int corner = 0; corner < 8; ++corner)
    {
        const XVector point{(corner & 1) ? inHigh[0] : inLow[0],
                            (corner & 2) ? inHigh[1] : inLow[1],
                            (corner & 4) ? inHigh[2] : inLow[2]};
        const XVector offset = Subtract(point, centre);
        const double nearer = Dot(offset, back);
        distance = std::max({distance, nearer + std::abs(Dot(offset, right)) / limitX,
                             nearer + std::abs(Dot(offset, up)) / limitY});
    }
    return {Add(centre, Scale(back, distance)), centre, inUp};
}

std::string XDemoScene::Compose(const XDemoStack& inStack, const std::string& inStackFile,
                                const std::string& inSpotsFile)
{
    const XDemoStack::XSettings& settings = inStack.GetSettings();
    const XVector voxelSize = settings.voxelSize;
    const XVector low{0.0, 0.0, 0.0};
    const XVector high{(settings.width - 1) * voxelSize[0], (settings.height - 1) * voxelSize[1],
                       (settings.depth - 1) * voxelSize[2]};
    const XVector centre = Scale(high, 0.5);
    const double halfDiagonal = 0.5 * std::sqrt(Dot(high, high));
    const double halfFootprint = 0.5 * std::hypot(high[0], high[1]);

    // From the front right, above the cells; z, the microscope's axis, points up in the picture.
    const XView view = FrameBox(low, high, {0.55, -0.85, 0.75}, {0.0, 0.0, 1.0},
                                static_cast<double>(kImageWidth) / kImageHeight, 0.08);

    XJson scene;
    scene["image"] = {{"width", kImageWidth}, {"height", kImageHeight}};
    scene["camera"] = {{"position", Vector(view.position)},
                       {"lookAt", Vector(view.lookAt)},
                       {"up", Vector(view.up)}};
    scene["background"] = {0, 0, 0};
    scene["ambient"] = 0.2;
    scene["render"] = {{"samplesPerPixelSide", 1}};
    scene["renderScale"] = "auto";

    // Above and to the left of the camera, so that the cells cast shadows on the coverslip.
    const XVector light = Add(centre, Scale(Normalised({-0.45, -0.75, 1.0}), 2.2 * halfDiagonal));
    scene["lights"] = XJson::array({{{"position", Vector(light)}, {"intensity", {1, 1, 1}}}});

    // The coverslip: a thin matte slab just under the first plane, wider than the stack. (A
    // flat cylinder rather than a disk: a disk reports hits outside its radius within its
    // bounding square.)
    constexpr double kCoverslipThickness = 0.4;
    const double coverslipTop = -0.5 * voxelSize[2];
    XJson coverslip;
    coverslip["geometry"] = {{"type", "cylinder"}, {"radius", Round3(1.25 * halfFootprint)}};
    coverslip["transform"] = {
        {"translate", Vector({centre[0], centre[1], coverslipTop - 0.5 * kCoverslipThickness})},
        {"scale", {1, 1, kCoverslipThickness}}};
    coverslip["material"] = {{"type", "matte"},
                             {"texture", {{"type", "solid"}, {"colour", {0.3, 0.32, 0.36}}}}};
    scene["surfaces"] = XJson::array({coverslip});

    XJson spots;
    spots["file"] = inSpotsFile;
    spots["radius"] = kSpotRadius;
    spots["material"] = {{"type", "plastic"},
                         {"colour", {1.0, 0.85, 0.35}},
                         {"exponent", 40},
                         {"kd", 0.6},
                         {"ks", 0.4}};
    scene["spots"] = XJson::array({spots});

    // Nuclei semi-opaque, membranes thin and bright, filaments strong enough to show through.
    // Each threshold lies above the channel's diffuse cytoplasmic stain and its noise.
    struct XLook
    {
        double threshold;
        double brightness;
        double opacity;
    };
    constexpr XLook kLooks[XDemoStack::kChannelCount] = {
        {0.12, 1.0, 0.3}, {0.22, 1.4, 0.35}, {0.4, 2.0, 0.55}};
    XJson channels = XJson::array();
    for (std::uint32_t channel = 1; channel <= XDemoStack::kChannelCount; ++channel)
    {
        const XLook& look = kLooks[channel - 1];
        const int rangeLow = inStack.GetQuantile(channel, 0.5);
        const int rangeHigh = std::max<int>(rangeLow + 1, inStack.GetQuantile(channel, 0.999));
        channels.push_back({{"channel", channel},
                            {"visible", true},
                            {"colour", ColourText(XDemoStack::GetChannelColour(channel))},
                            {"threshold", look.threshold},
                            {"brightness", look.brightness},
                            {"opacity", look.opacity},
                            {"range", {rangeLow, rangeHigh}}});
    }
    XJson volume;
    volume["file"] = inStackFile;
    volume["timePoint"] = 0;
    volume["voxelSize"] = {voxelSize[0], voxelSize[1], voxelSize[2]};
    volume["origin"] = {0, 0, 0};
    volume["channels"] = channels;
    scene["volume"] = volume;
    return scene.dump(2) + "\n";
}

XDemoScene::XFiles XDemoScene::WriteDemo(const std::filesystem::path& inFolder)
{
    std::error_code error;
    std::filesystem::create_directories(inFolder, error);
    if (error || !std::filesystem::is_directory(inFolder))
    {
        throw XException(XException::kIOError,
                         inFolder.string() + ": the demo folder cannot be made" +
                             (error ? ": " + error.message() : ": a file of that name exists"));
    }
    const XDemoStack stack;
    XFiles files{inFolder / kStackFile, inFolder / kSpotsFile, inFolder / kSceneFile};
    stack.WriteOmeTiff(files.stack);
    stack.WriteSpots(files.spots, kSpotRadius);
    WriteText(files.scene, Compose(stack, kStackFile, kSpotsFile));
    return files;
}
