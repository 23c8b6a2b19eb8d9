#pragma once

#include "apps/XRedisOptions.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <ostream>
#include <string>

namespace CLI
{
class App;
} // namespace CLI

// What `voltrace render` is asked to do.
struct XRenderRequest
{
    std::filesystem::path scene;
    std::filesystem::path png;
    std::filesystem::path exr;    // empty: no EXR
    std::filesystem::path module; // empty: found beside the program (see XModuleLibrary)
    // Threads rendering on this machine. Unset: one per core. 0: one per core without a farm,
    // none with one (the farm renders everything).
    std::optional<std::uint32_t> threads;
    XRedisOptions redis; // a url: render on the farm as well
    std::optional<std::uint32_t> width, height, samplesPerPixelSide;
};

// Loads the renderer module, renders the request's scene file through it and writes the
// pictures. Returns an XExitCode: bad input (an unreadable scene file or stack, a bad override)
// writes nothing and gives kBadInput; a module that cannot be loaded, a picture that cannot be
// written or tiles that failed to render give kFailure (the picture is still written in the
// last case, and the tiles are named). Messages go to outErrors.
int RunRender(const XRenderRequest& inRequest, std::ostream& outErrors);

// Adds `render SCENE.json -o OUT.png [--exr OUT.exr] [--threads N] [--width W] [--height H]
// [--spp N] [--module LIB] [--redis URL]` to inApp; its exit code goes to outExitCode.
void XAddRenderCommand(CLI::App& inApp, int& outExitCode);
