#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>

// A small 8-bit stack written with libtiff for the scene-file renderer's tests. One channel is
// written as a plain multi-page TIFF (one page per plane); several channels as an ImageJ
// hyperstack, channel varying fastest.
struct XTestStack
{
    std::uint32_t width = 8;
    std::uint32_t height = 8;
    std::uint32_t depth = 8;
    std::uint32_t channels = 1;
    // The byte of voxel (x, y, z) of channel c (0-based): x counts columns, y rows, z planes.
    std::function<std::uint8_t(std::uint32_t inX, std::uint32_t inY, std::uint32_t inZ,
                               std::uint32_t inChannel)>
        value = [](std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t) { return 0; };

    // Fails the test (and throws std::runtime_error) when libtiff refuses.
    void Write(const std::filesystem::path& inPath) const;
};
