#pragma once

// Multi-channel volumetrics for tests and benchmarks: prepared volumetrics over a stack file and
// a list of its channels, and small synthetic samples with known voxels.

#include "host/XHostClassTable.h"
#include "host/data/XDataVolume.h"
#include "host/data/XDataVolumeSequence.h"
#include "host/data/XSampleDB.h"
#include "host/imaging/XARGB32Volume.h"
#include "host/imaging/XGrey8Volume.h"
#include "host/ui/XChannelShadeSpecification.h"
#include "x-platform/volume/XMultiChannelVolumetric.h"
#include "x-platform/volume/XMultiChannelVolumetricFactory.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <utility>
#include <vector>

// The colour word of a channel's default colour: green, magenta, cyan, yellow, red, blue, then
// green again, by channel number (1-based).
inline std::uint32_t XDefaultChannelColour(std::uint32_t inChannel)
{
    static constexpr std::uint8_t kColours[6][3] = {{0, 255, 0},   {255, 0, 255}, {0, 255, 255},
                                                    {255, 255, 0}, {255, 0, 0},   {0, 0, 255}};
    const auto& colour = kColours[(inChannel + 5) % 6];
    return XChannelShadeSpecification::MakeColour(colour[0], colour[1], colour[2]);
}

// The optional fluorescence settings of one shown channel (absent ones keep the defaults).
struct XChannelLook
{
    std::optional<float> threshold = std::nullopt;
    std::optional<float> brightness = std::nullopt;
    std::optional<float> opacity = std::nullopt;
};

// One shade per channel of the sample, in channel order: the channels of inShown are
// visible with their default colours and inLook's settings, every other one hidden. Colour
// channels are marked as such.
inline std::vector<XChannelShadeSpecification>
XMakeChannelSpecifications(std::uint32_t inChannelCount, bool inColour,
                           const std::vector<std::uint32_t>& inShown,
                           const XChannelLook& inLook = {})
{
    std::vector<XChannelShadeSpecification> specifications;
    for (std::uint32_t channel = 1; channel <= inChannelCount; ++channel)
    {
        XChannelShadeSpecification shade(channel);
        shade.SetVisible(std::find(inShown.begin(), inShown.end(), channel) != inShown.end());
        shade.SetChannelKind(inColour ? XChannelShadeSpecification::kColourChannel
                                      : XChannelShadeSpecification::kScalarChannel);
        shade.SetColour(XDefaultChannelColour(channel));
        if (inLook.threshold)
        {
            shade.SetProperty(XChannelShadeSpecification::kThresholdProperty, *inLook.threshold);
        }
        if (inLook.brightness)
        {
            shade.SetProperty(XChannelShadeSpecification::kBrightnessProperty, *inLook.brightness);
        }
        if (inLook.opacity)
        {
            shade.SetProperty(XChannelShadeSpecification::kOpacityProperty, *inLook.opacity);
        }
        specifications.push_back(std::move(shade));
    }
    return specifications;
}

// A prepared volumetric, of the class that fits, showing the channels inShown (1-based) of time
// point inTimePoint of a stack file (opened through the process's sample database). Throws what
// opening or preparing throws.
inline XRef<XMultiChannelVolumetric> XMakeStackVolumetric(const std::filesystem::path& inPath,
                                                          const std::vector<std::uint32_t>& inShown,
                                                          std::uint32_t inTimePoint = 0,
                                                          const XChannelLook& inLook = {})
{
    const std::uint32_t sampleID = XSampleDB::GetDB().OpenFile(inPath);
    const XDataVolumeSequence* sequence = XDBGetSample<XDataVolumeSequence>(sampleID);
    XRef<XMultiChannelVolumetric> volumetric = XMultiChannelVolumetricFactory::Create(
        XMakeChannelSpecifications(sequence->GetChannelCount(), sequence->IsColour(), inShown,
                                   inLook),
        sampleID, inTimePoint);
    volumetric->Prepare();
    return volumetric;
}

// The confocal and the widefield channel of the real nucleus stack in inDataFolder, with a
// threshold that leaves the nucleus; null when the shared sample data is not there.
inline XRef<XMultiChannelVolumetric>
XMakeNucleusVolumetric(const std::filesystem::path& inDataFolder)
{
    const std::filesystem::path path =
        inDataFolder / "nucleus_hoechst_confocal_widefield_zcyx_u16.tif";
    if (!std::filesystem::exists(path))
    {
        return {};
    }
    XRegisterHostClasses();
    return XMakeStackVolumetric(path, {1, 2}, 0, {.threshold = 0.25f});
}

// A sample of inChannels 8-bit channels of one time point, W x H x D voxels, whose voxel (x, y, z)
// of channel c (1-based) is inValue(c, x, y, z); voxel size inScale. Returns its sample number.
inline std::uint32_t XAddGrey8Sample(
    std::uint32_t inChannels, std::uint32_t inWidth, std::uint32_t inHeight, std::uint32_t inDepth,
    const std::function<std::uint8_t(std::uint32_t, std::int32_t, std::int32_t, std::int32_t)>&
        inValue,
    double inScale = 1.0)
{
    std::vector<std::unique_ptr<XDataVolume>> volumes;
    const X3DRect bounds(0, 0, 0, static_cast<std::int32_t>(inWidth),
                         static_cast<std::int32_t>(inHeight), static_cast<std::int32_t>(inDepth));
    for (std::uint32_t channel = 1; channel <= inChannels; ++channel)
    {
        auto voxels = std::make_unique<XGrey8Volume>(bounds);
        for (std::int32_t z = 0; z < bounds.GetZ1(); ++z)
            for (std::int32_t y = 0; y < bounds.GetY1(); ++y)
                for (std::int32_t x = 0; x < bounds.GetX1(); ++x)
                    voxels->At(x, y, z) = inValue(channel, x, y, z);
        volumes.push_back(
            std::make_unique<XDataVolume>(std::move(voxels), inScale, inScale, inScale));
    }
    return XSampleDB::GetDB().AddSample(std::make_unique<XDataVolumeSequence>(
        inChannels, 1, std::move(volumes),
        XDataVolumeSequence::XAxes{"CZYX", {inChannels, inDepth, inHeight, inWidth}}));
}

// Like XAddGrey8Sample, with colour channels: inValue gives the red, green and blue bytes.
inline std::uint32_t XAddColourSample(
    std::uint32_t inChannels, std::uint32_t inWidth, std::uint32_t inHeight, std::uint32_t inDepth,
    const std::function<XARGB32Colour(std::uint32_t, std::int32_t, std::int32_t, std::int32_t)>&
        inValue)
{
    std::vector<std::unique_ptr<XDataVolume>> volumes;
    const X3DRect bounds(0, 0, 0, static_cast<std::int32_t>(inWidth),
                         static_cast<std::int32_t>(inHeight), static_cast<std::int32_t>(inDepth));
    for (std::uint32_t channel = 1; channel <= inChannels; ++channel)
    {
        auto voxels = std::make_unique<XARGB32Volume>(bounds);
        for (std::int32_t z = 0; z < bounds.GetZ1(); ++z)
            for (std::int32_t y = 0; y < bounds.GetY1(); ++y)
                for (std::int32_t x = 0; x < bounds.GetX1(); ++x)
                    voxels->At(x, y, z) = inValue(channel, x, y, z);
        volumes.push_back(std::make_unique<XDataVolume>(std::move(voxels), 1.0, 1.0, 1.0));
    }
    return XSampleDB::GetDB().AddSample(std::make_unique<XDataVolumeSequence>(
        inChannels, 1, std::move(volumes),
        XDataVolumeSequence::XAxes{"CZYXS", {inChannels, inDepth, inHeight, inWidth, 3}}));
}

// Reproducible random bytes for synthetic samples: sparse bright spots on a dark floor, so that
// thresholds leave empty space and channels compete.
inline std::function<std::uint8_t(std::uint32_t, std::int32_t, std::int32_t, std::int32_t)>
XRandomSpotBytes(std::uint32_t inSeed, std::uint32_t inWidth, std::uint32_t inHeight,
                 std::uint32_t inDepth, std::uint32_t inChannels)
{
    auto bytes = std::make_shared<std::vector<std::uint8_t>>(std::size_t{inWidth} * inHeight *
                                                             inDepth * inChannels);
    std::mt19937 engine(inSeed);
    for (std::uint8_t& byte : *bytes)
    {
        const std::uint32_t draw = engine();
        byte = (draw & 15u) == 0 ? static_cast<std::uint8_t>(draw >> 24)
                                 : static_cast<std::uint8_t>((draw >> 24) & 15u);
    }
    return [bytes, inWidth, inHeight, inDepth](std::uint32_t inChannel, std::int32_t inX,
                                               std::int32_t inY, std::int32_t inZ)
    {
        const std::size_t index =
            ((std::size_t{inChannel - 1} * inDepth + static_cast<std::size_t>(inZ)) * inHeight +
             static_cast<std::size_t>(inY)) *
                inWidth +
            static_cast<std::size_t>(inX);
        return (*bytes)[index];
    };
}
