#pragma once

#include <cstdint>
#include <string_view>

// The kind of voxel a data volume holds.
enum class XVoxelType
{
    kGrey8,   // unsigned 8-bit
    kGrey16,  // unsigned 16-bit
    kFloat32, // 32-bit IEEE floating point
    kRGB24,   // three unsigned 8-bit components: red, green, blue
};

// "uint8", "uint16", "float32" or "rgb8": the names `voltrace info` prints.
constexpr std::string_view XVoxelTypeName(XVoxelType inType)
{
    switch (inType)
    {
    case XVoxelType::kGrey8:
        return "uint8";
    case XVoxelType::kGrey16:
        return "uint16";
    case XVoxelType::kFloat32:
        return "float32";
    case XVoxelType::kRGB24:
        return "rgb8";
    }
    return "unknown";
}

// Bytes one voxel occupies in a file plane.
constexpr std::uint32_t XVoxelTypeSize(XVoxelType inType)
{
    switch (inType)
    {
    case XVoxelType::kGrey8:
        return 1;
    case XVoxelType::kGrey16:
        return 2;
    case XVoxelType::kFloat32:
        return 4;
    case XVoxelType::kRGB24:
        return 3;
    }
    return 0;
}
