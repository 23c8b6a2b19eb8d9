#include "x-platform/volume/XFluoScalarVoxelShader.h"

#include "host/core/XStream.h"
#include "host/ui/XChannelShadeSpecification.h"

#include <cmath>

XFluoScalarVoxelShader::XFluoScalarVoxelShader(float inThreshold, float inGain, float inAbsorption,
                                               const XRGBSpectrum& inColour)
    : itsThreshold(inThreshold), itsGain(inGain), itsAbsorption(inAbsorption), itsColour(inColour)
{
}

std::unique_ptr<XStorable> XFluoScalarVoxelShader::Clone() const
{
    return std::make_unique<XFluoScalarVoxelShader>(*this);
}

void XFluoScalarVoxelShader::Read(XStream& inStream)
{
    XScalarVoxelShader::Read(inStream);
    inStream.ReadClassVersion(kClassID);
    inStream.CheckRemaining(6 * 4);
    itsThreshold = inStream.ReadFloat32S();
    itsGain = inStream.ReadFloat32S();
    itsAbsorption = inStream.ReadFloat32S();
    itsColour.r = inStream.ReadFloat32S();
    itsColour.g = inStream.ReadFloat32S();
    itsColour.b = inStream.ReadFloat32S();
}

void XFluoScalarVoxelShader::Write(XStream& outStream) const
{
    XScalarVoxelShader::Write(outStream);
    outStream.WriteVersion(kClassID);
    outStream.WriteFloat32S(itsThreshold);
    outStream.WriteFloat32S(itsGain);
    outStream.WriteFloat32S(itsAbsorption);
    outStream.WriteFloat32S(itsColour.r);
    outStream.WriteFloat32S(itsColour.g);
    outStream.WriteFloat32S(itsColour.b);
}

void XFluoScalarVoxelShader::SetFromSpecification(const XChannelShadeSpecification& inSpecification)
{
    itsGain = kDefaultGain;
    itsAbsorption = kDefaultOpacitySetting;
    itsThreshold = 0.0f;
    if (inSpecification.IsProperty(XChannelShadeSpecification::kBrightnessProperty))
    {
        itsGain = inSpecification.GetProperty(XChannelShadeSpecification::kBrightnessProperty) *
                  kDefaultGain;
    }
    if (inSpecification.IsProperty(XChannelShadeSpecification::kOpacityProperty))
    {
        itsAbsorption = inSpecification.GetProperty(XChannelShadeSpecification::kOpacityProperty);
    }
    itsAbsorption = std::exp2(13.0f * itsAbsorption - 6.0f);
    if (inSpecification.IsProperty(XChannelShadeSpecification::kThresholdProperty))
    {
        itsThreshold =
            inSpecification.GetProperty(XChannelShadeSpecification::kThresholdProperty) * 0.99f +
            0.01f;
    }
    itsColour = ColourOfWord(inSpecification.GetColour());
}

float XFluoScalarVoxelShader::GetOpacity(float inValue) const
{
    const float difference = inValue - itsThreshold;
    if (difference > 0.0f)
    {
        return 1.0f - std::exp2(-difference * itsAbsorption);
    }
    return 0.0f;
}

void XFluoScalarVoxelShader::Classify(float inValue, XRGBSpectrum& outColour,
                                      float& outOpacity) const
{
    const float difference = inValue - itsThreshold;
    if (difference > 0.0f)
    {
        outOpacity = 1.0f - std::exp2(-difference * itsAbsorption);
        outColour = itsColour * (difference * itsGain);
        return;
    }
    outOpacity = 0.0f;
    outColour = XRGBSpectrum();
}

void XFluoScalarVoxelShader::BuildTables(std::span<float, 256> outOpacity,
                                         std::span<float, 256> outEmission) const
{
    for (std::uint32_t byte = 0; byte < 256; ++byte)
    {
        const float difference = ByteValue(byte) - itsThreshold;
        if (difference > 0.0f)
        {
            outOpacity[byte] = 1.0f - std::exp2(-difference * itsAbsorption);
            outEmission[byte] = difference * itsGain;
        }
        else
        {
            outOpacity[byte] = 0.0f;
            outEmission[byte] = 0.0f;
        }
    }
}
