#pragma once

#include <array>
#include <filesystem>
#include <string>

class XDemoStack;

// The demo's scene file: the stack's three channels in distinct colours, its nucleus centres as
// small shiny beads, a coverslip under the cells, one point light and an oblique camera that
// frames the whole volume. Also writes the demo folder (stack, spots table, scene file).
class XDemoScene
{
public:
    // Names of the files inside the demo folder.
    static constexpr const char* kStackFile = "cells.ome.tif";
    static constexpr const char* kSpotsFile = "spots.csv";
    static constexpr const char* kSceneFile = "demo.json";

    static constexpr int kImageWidth = 512;
    static constexpr int kImageHeight = 384;
    // The tracer's fixed vertical field of view.
    static constexpr double kFieldOfViewDegrees = 40.0;
    // Radius of the beads marking nucleus centres, in micrometres.
    static constexpr double kSpotRadius = 0.6;

    struct XFiles
    {
        std::filesystem::path stack;
        std::filesystem::path spots;
        std::filesystem::path scene;
    };

    using XVector = std::array<double, 3>;
    struct XView
    {
        XVector position{};
        XVector lookAt{};
        XVector up{};
    };

    // A view of the box [inLow, inHigh] (world units) from along inDirection (from the box's
    // centre towards the camera, any length) that looks at the centre and puts every corner
    // inside the picture of the given aspect (width / height), leaving at least inMargin (a share
    // of the half-width and half-height) free at each edge; the nearest edge touches that margin.
    static XView FrameBox(const XVector& inLow, const XVector& inHigh, const XVector& inDirection,
                          const XVector& inUp, double inAspect, double inMargin);

    // The scene file's text for the stack, stored as inStackFile with its spots table
    // inSpotsFile (both relative to the scene file's folder). Per-channel display ranges run from
    // the channel's median (its background) to its 99.9th percentile.
    static std::string Compose(const XDemoStack& inStack, const std::string& inStackFile,
                               const std::string& inSpotsFile);

    // Generates the default demo stack and writes it, its spots table and its scene file into
    // inFolder, which is created if need be. Throws XException (kIOError) when the folder or a
    // file cannot be written.
    static XFiles WriteDemo(const std::filesystem::path& inFolder);
};
