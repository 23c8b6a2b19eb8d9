#pragma once

#include <cstdint>
#include <map>

// How one channel of a volume is to be shown: its number, whether it is visible, whether it is
// a scalar or a colour (three-component) channel, the shader model, the channel colour and the
// shader model's optional numeric properties.
class XChannelShadeSpecification
{
public:
    // Property indices of the fluorescence model.
    static constexpr std::uint32_t kThresholdProperty = 0;
    static constexpr std::uint32_t kBrightnessProperty = 2;
    static constexpr std::uint32_t kOpacityProperty = 3;
    // Channel kinds.
    static constexpr std::uint32_t kScalarChannel = 1;
    static constexpr std::uint32_t kColourChannel = 2;
    // Shader models.
    static constexpr std::uint32_t kFluorescenceModel = 1;

    // Channel 1, visible, scalar, fluorescence, white, no properties.
    XChannelShadeSpecification() = default;
    explicit XChannelShadeSpecification(std::uint32_t inChannel) : itsChannel(inChannel) {}

    // 1-based.
    std::uint32_t GetChannel() const { return itsChannel; }
    void SetChannel(std::uint32_t inChannel) { itsChannel = inChannel; }
    bool IsVisible() const { return itsVisible; }
    void SetVisible(bool inVisible) { itsVisible = inVisible; }
    std::uint32_t GetChannelKind() const { return itsKind; }
    void SetChannelKind(std::uint32_t inKind) { itsKind = inKind; }
    std::uint32_t GetShaderModel() const { return itsShaderModel; }
    void SetShaderModel(std::uint32_t inModel) { itsShaderModel = inModel; }

    // The colour word: red in bits 8–15, green in 16–23, blue in 24–31; bits 0–7 unused.
    std::uint32_t GetColour() const { return itsColour; }
    void SetColour(std::uint32_t inColour) { itsColour = inColour; }
    static std::uint32_t MakeColour(std::uint8_t inRed, std::uint8_t inGreen, std::uint8_t inBlue);

    bool IsProperty(std::uint32_t inProperty) const;
    // 0 for a property that is not set.
    float GetProperty(std::uint32_t inProperty) const;
    void SetProperty(std::uint32_t inProperty, float inValue);
    void ClearProperty(std::uint32_t inProperty);

private:
    std::uint32_t itsChannel = 1;
    bool itsVisible = true;
    std::uint32_t itsKind = kScalarChannel;
    std::uint32_t itsShaderModel = kFluorescenceModel;
    std::uint32_t itsColour = 0xFFFFFF00u;
    std::map<std::uint32_t, float> itsProperties;
};
