#pragma once

#include "host/core/XStream.h"
#include "x-platform/core/XRGBSpectrum.h"

#include <array>
#include <cmath>
#include <cstdint>

// The classification of one visible channel: opacity and emission for each of the 256 byte
// values, the channel colour and a spare float; 516 float32 in that order when streamed.
struct XChannelTableRecord
{
    static constexpr std::uint32_t kFloatCount = 516;

    std::array<float, 256> opacity{};
    std::array<float, 256> emission{};
    XRGBSpectrum colour;
    float spare = 0.0f;

    void Write(XStream& outStream) const
    {
        for (const float value : opacity)
        {
            outStream.WriteFloat32S(value);
        }
        for (const float value : emission)
        {
            outStream.WriteFloat32S(value);
        }
        outStream.WriteFloat32S(colour.r);
        outStream.WriteFloat32S(colour.g);
        outStream.WriteFloat32S(colour.b);
        outStream.WriteFloat32S(spare);
    }

    void Read(XStream& inStream)
    {
        inStream.CheckRemaining(std::uint64_t{kFloatCount} * 4);
        for (float& value : opacity)
        {
            value = inStream.ReadFloat32S();
        }
        for (float& value : emission)
        {
            value = inStream.ReadFloat32S();
        }
        colour.r = inStream.ReadFloat32S();
        colour.g = inStream.ReadFloat32S();
        colour.b = inStream.ReadFloat32S();
        spare = inStream.ReadFloat32S();
    }

    // Opacities in [0, 1], emissions and colour finite: what sampling relies on (a non-finite
    // value would turn a transparent corner's zero weight into NaN).
    bool IsValid() const
    {
        for (std::size_t index = 0; index < opacity.size(); ++index)
        {
            if (!(opacity[index] >= 0.0f && opacity[index] <= 1.0f) ||
                !std::isfinite(emission[index]))
            {
                return false;
            }
        }
        return std::isfinite(colour.r) && std::isfinite(colour.g) && std::isfinite(colour.b);
    }

    bool operator==(const XChannelTableRecord&) const = default;
};
