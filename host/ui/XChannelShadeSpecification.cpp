#include "host/ui/XChannelShadeSpecification.h"

std::uint32_t XChannelShadeSpecification::MakeColour(std::uint8_t inRed, std::uint8_t inGreen,
                                                     std::uint8_t inBlue)
{
    return (std::uint32_t{inRed} << 8) | (std::uint32_t{inGreen} << 16) |
           (std::uint32_t{inBlue} << 24);
}

bool XChannelShadeSpecification::IsProperty(std::uint32_t inProperty) const
{
    return itsProperties.contains(inProperty);
}

float XChannelShadeSpecification::GetProperty(std::uint32_t inProperty) const
{
    const auto found = itsProperties.find(inProperty);
    return found == itsProperties.end() ? 0.0f : found->second;
}

void XChannelShadeSpecification::SetProperty(std::uint32_t inProperty, float inValue)
{
    itsProperties[inProperty] = inValue;
}

void XChannelShadeSpecification::ClearProperty(std::uint32_t inProperty)
{
    itsProperties.erase(inProperty);
}
