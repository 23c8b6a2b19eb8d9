#pragma once

#include "host/data/XDataVolumeSequence.h"

#include <cstdint>
#include <filesystem>
#include <memory>

// Opens TIFF-family stacks (OME-TIFF, ImageJ hyperstack, plain multi-page TIFF) of 8-bit,
// 16-bit unsigned, 32-bit float or 8-bit RGB samples as volume sequences. The file's structure
// and metadata are checked at once; each channel's voxels are decoded when first used.
class XTiffStackReader
{
public:
    // Throws XException naming the file: kIOError when it cannot be read (missing, not a TIFF,
    // cut short) or its voxels would need more than inMemoryLimit bytes; kMalformedStream when
    // its contents are not a stack this reader supports (sample format, bit depth, planes of
    // differing size, metadata that does not match the pages).
    static std::unique_ptr<XDataVolumeSequence> Open(const std::filesystem::path& inPath,
                                                     std::uint64_t inMemoryLimit);
};
