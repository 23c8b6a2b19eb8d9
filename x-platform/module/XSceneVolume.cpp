#include "x-platform/module/XSceneVolume.h"

#include "host/core/XException.h"
#include "host/data/XDataVolumeSequence.h"
#include "host/data/XSampleDB.h"
#include "x-platform/module/XSceneJson.h"
#include "x-platform/volume/XMultiChannelVolumetric.h"
#include "x-platform/volume/XMultiChannelVolumetricFactory.h"

#include <cmath>
#include <set>

namespace
{
// A colour component in [0, 1] as the byte of a 32-bit colour word.
std::uint32_t ColourByte(float inComponent)
{
    return static_cast<std::uint32_t>(std::lround(inComponent * 255.0f));
}
} // namespace

XSceneVolume::XSceneVolume(const XSceneJson& inVolume, const std::filesystem::path& inFolder)
{
    inVolume.CheckKeys({"file", "timePoint", "voxelSize", "origin", "channels"});
    const XSceneJson file = inVolume["file"];
    const std::filesystem::path path = inFolder / file.GetString();
    const XDataVolumeSequence* sequence = nullptr;
    try
    {
        itsSampleID = XSampleDB::GetDB().OpenFile(path);
        sequence = XDBGetSample<XDataVolumeSequence>(itsSampleID);
    }
    catch (const XException& error)
    {
        file.Fail(error.what());
    }
    if (sequence == nullptr)
    {
        file.Fail(path.string() + " is not a volume stack");
    }

    const std::uint32_t timePoints = sequence->GetTimePointCount();
    if (inVolume.Has("timePoint"))
    {
        itsTimePoint = inVolume["timePoint"].GetUnsigned(0, timePoints - 1);
    }
    itsVoxelSize = XMathVectorF3(static_cast<float>(sequence->GetXScale()),
                                 static_cast<float>(sequence->GetYScale()),
                                 static_cast<float>(sequence->GetZScale()));
    if (inVolume.Has("voxelSize"))
    {
        const XSceneJson size = inVolume["voxelSize"];
        itsVoxelSize = size.GetVector();
        if (!(itsVoxelSize.x > 0.0f && itsVoxelSize.y > 0.0f && itsVoxelSize.z > 0.0f))
        {
            size.Fail("every voxel size must be greater than 0");
        }
    }
    if (inVolume.Has("origin"))
    {
        itsOrigin = inVolume["origin"].GetVector();
    }
    itsExtent[0] = sequence->GetBounds().GetWidth();
    itsExtent[1] = sequence->GetBounds().GetHeight();
    itsExtent[2] = sequence->GetBounds().GetDepth();

    // One shade per channel of the stack, in channel order; listed channels are shown.
    const std::uint32_t channels = sequence->GetChannelCount();
    const bool colour = sequence->IsColour();
    for (std::uint32_t c = 1; c <= channels; ++c)
    {
        XChannelShadeSpecification shade(c);
        shade.SetChannelKind(colour ? XChannelShadeSpecification::kColourChannel
                                    : XChannelShadeSpecification::kScalarChannel);
        shade.SetShaderModel(XChannelShadeSpecification::kFluorescenceModel);
        shade.SetColour(GetDefaultColour(c));
        shade.SetVisible(!inVolume.Has("channels"));
        itsSpecifications.push_back(shade);
    }
    if (!inVolume.Has("channels"))
    {
        return;
    }
    const XSceneJson list = inVolume["channels"];
    std::set<std::uint32_t> seen;
    for (std::size_t i = 0, n = list.ExpectArray(); i < n; ++i)
    {
        const XSceneJson entry = list[i];
        entry.CheckKeys(
            {"channel", "visible", "colour", "threshold", "brightness", "opacity", "range"});
        const std::uint32_t channel = entry["channel"].GetUnsigned(1, channels);
        if (!seen.insert(channel).second)
        {
            entry["channel"].Fail("channel " + std::to_string(channel) + " is listed twice");
        }
        XChannelShadeSpecification& shade = itsSpecifications[channel - 1];
        shade.SetVisible(entry.GetBool("visible", true));
        if (entry.Has("colour"))
        {
            const XSceneJson colourValue = entry["colour"];
            const XRGBSpectrum rgb = colourValue.GetColour(true);
            for (const float component : {rgb.r, rgb.g, rgb.b})
            {
                if (component < 0.0f || component > 1.0f)
                {
                    colourValue.Fail("a channel colour's components must lie in [0, 1]");
                }
            }
            shade.SetColour(ColourByte(rgb.r) << 8 | ColourByte(rgb.g) << 16 |
                            ColourByte(rgb.b) << 24);
        }
        if (entry.Has("threshold"))
        {
            shade.SetProperty(XChannelShadeSpecification::kThresholdProperty,
                              entry["threshold"].GetFloat(0.0, 1.0));
        }
        if (entry.Has("brightness"))
        {
            shade.SetProperty(XChannelShadeSpecification::kBrightnessProperty,
                              entry["brightness"].GetFloat(0.0, 1e6));
        }
        if (entry.Has("opacity"))
        {
            shade.SetProperty(XChannelShadeSpecification::kOpacityProperty,
                              entry["opacity"].GetFloat(0.0, 1.0));
        }
        if (entry.Has("range"))
        {
            const XSceneJson range = entry["range"];
            if (colour)
            {
                range.Fail("a colour channel has no display range");
            }
            if (range.ExpectArray() != 2)
            {
                range.Fail("expected [low, high]");
            }
            const double low = range[std::size_t(0)].GetNumber();
            const double high = range[std::size_t(1)].GetNumber();
            if (!(high > low))
            {
                range.Fail("the upper end must exceed the lower end");
            }
            itsRanges[channel] = XRange{low, high};
        }
    }
}

std::pair<XMathVectorF3, XMathVectorF3> XSceneVolume::GetWorldDataBox() const
{
    XMathVectorF3 low, high;
    for (int axis = 0; axis < 3; ++axis)
    {
        const double last = itsExtent[axis] > 0 ? itsExtent[axis] - 1.0 : 0.0;
        low[axis] = itsOrigin[axis];
        high[axis] = static_cast<float>(double(itsOrigin[axis]) + last * itsVoxelSize[axis]);
    }
    return {low, high};
}

XRef<XVolumetric> XSceneVolume::CreateVolumetric(float inRenderScale) const
{
    XRef<XMultiChannelVolumetric> volumetric =
        XMultiChannelVolumetricFactory::Create(itsSpecifications, itsSampleID, itsTimePoint);
    volumetric->SetOrigin(itsOrigin * inRenderScale);
    volumetric->SetVoxelSize(itsVoxelSize * inRenderScale);
    for (const auto& [channel, range] : itsRanges)
    {
        volumetric->SetDisplayRange(channel, range.low, range.high);
    }
    return volumetric;
}

std::uint32_t XSceneVolume::GetDefaultColour(std::uint32_t inChannel)
{
    static constexpr std::uint32_t kColours[6][3] = {{0, 255, 0},   {255, 0, 255}, {0, 255, 255},
                                                     {255, 255, 0}, {255, 0, 0},   {0, 0, 255}};
    const auto& rgb = kColours[(inChannel - 1) % 6];
    return rgb[0] << 8 | rgb[1] << 16 | rgb[2] << 24;
}
