#pragma once

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
    std::filesystem::path exr; // empty: no EXR
    std::uint32_t threads = 0; // 0: one per core
    std::optional<std::uint32_t> width, height, samplesPerPixelSide;
};

// Renders the request's scene file and writes the pictures. Returns an XExitCode: bad input
// (an unreadable scene file or stack, a bad override) writes nothing and gives kBadInput; a
// picture that cannot be written gives kFailure. Messages go to outErrors.
int RunRender(const XRenderRequest& inRequest, std::ostream& outErrors);

// Adds `render SCENE.json -o OUT.png [--exr OUT.exr] [--threads N] [--width W] [--height H]
// [--spp N]` to inApp; its exit code goes to outExitCode.
void XAddRenderCommand(CLI::App& inApp, int& outExitCode);
