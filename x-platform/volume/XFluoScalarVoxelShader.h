#pragma once

#include "x-platform/volume/XScalarVoxelShader.h"

#include <cstdint>
#include <memory>

// The fluorescence model: a value v above the threshold t emits (v - t) x gain in the channel
// colour and has the opacity 1 - 2^(-(v - t) x absorption); values at or below t are transparent.
class XFluoScalarVoxelShader : public XScalarVoxelShader
{
public:
    static constexpr std::uint32_t kClassID = 14941;
    static constexpr float kDefaultGain = 1.5f;
    static constexpr float kDefaultOpacitySetting = 0.5f;

    // Threshold 0, gain 1.5, absorption 0.5 (the opacity setting before it is mapped to an
    // absorption; SetFromSpecification applies the mapping), colour black.
    XFluoScalarVoxelShader() = default;
    // The fields as given (no mapping applied).
    XFluoScalarVoxelShader(float inThreshold, float inGain, float inAbsorption,
                           const XRGBSpectrum& inColour);

    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override;
    std::uint64_t GetStreamSize() const override
    {
        return XScalarVoxelShader::GetStreamSize() + 32;
    }
    // After the base records: its version record, then threshold, gain, absorption and the
    // colour's r, g, b as float32.
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

    float GetThreshold() const override { return itsThreshold; }
    // Gain 1.5 x brightness (property 2, default 1); absorption 2^(13 x opacity - 6) with the
    // opacity setting of property 3 (default 0.5), so 0..1 maps to 1/64..128; threshold
    // property 0 x 0.99 + 0.01 (0 when absent); colour from the shade's colour word.
    void SetFromSpecification(const XChannelShadeSpecification& inSpecification) override;
    float GetOpacity(float inValue) const override;
    void Classify(float inValue, XRGBSpectrum& outColour, float& outOpacity) const override;
    void BuildTables(std::span<float, 256> outOpacity,
                     std::span<float, 256> outEmission) const override;

    float GetGain() const { return itsGain; }
    float GetAbsorption() const { return itsAbsorption; }
    const XRGBSpectrum& GetColour() const { return itsColour; }

private:
    float itsThreshold = 0.0f;
    float itsGain = kDefaultGain;
    float itsAbsorption = kDefaultOpacitySetting;
    XRGBSpectrum itsColour;
};
