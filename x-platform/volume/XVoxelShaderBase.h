#pragma once

#include "host/core/XStorable.h"
#include "x-platform/core/XRGBSpectrum.h"

#include <cstdint>
#include <memory>
#include <span>

class XChannelShadeSpecification;

// Turns a channel's display settings into the classification of its normalised voxel values
// (a byte b is the value b / 256): opacity, emission and colour, tabulated for the 256 bytes.
class XVoxelShaderBase : public XStorable
{
public:
    static constexpr std::uint32_t kClassID = 14939;

    std::uint32_t GetClassID() const override { return kClassID; }
    std::uint64_t GetStreamSize() const override { return 8; }
    // Only the version record: the base has no fields.
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

    // Values at or below the threshold are transparent.
    virtual float GetThreshold() const = 0;
    virtual void SetFromSpecification(const XChannelShadeSpecification& inSpecification) = 0;
    // The opacity (0..1) of a normalised value.
    virtual float GetOpacity(float inValue) const = 0;
    // The colour and opacity of a normalised value.
    virtual void Classify(float inValue, XRGBSpectrum& outColour, float& outOpacity) const = 0;
    // Opacity and emission of the bytes 0..255 (value byte / 256).
    virtual void BuildTables(std::span<float, 256> outOpacity,
                             std::span<float, 256> outEmission) const = 0;

    // The normalised value of a voxel byte.
    static constexpr float ByteValue(std::uint32_t inByte) { return inByte * 0.00390625f; }
    // The colour of a host colour word: red in bits 8-15, green 16-23, blue 24-31, each / 255;
    // the low byte is not used.
    static XRGBSpectrum ColourOfWord(std::uint32_t inWord);

protected:
    XVoxelShaderBase() = default;
    XVoxelShaderBase(const XVoxelShaderBase&) = default;
    XVoxelShaderBase& operator=(const XVoxelShaderBase&) = default;
};
