#pragma once

#include "x-platform/shading/XLight.h"

// A light at the origin of its own placement with an RGB intensity.
class XPointLight : public XLight
{
public:
    static constexpr std::uint32_t kClassID = 14931;

    // At the world origin, dark.
    XPointLight() = default;
    XPointLight(const XMatrix_4x4<float>& inTransform, const XRGBSpectrum& inIntensity);

    // The image of the origin under the transform.
    const XMathVectorF3& GetPosition() const { return itsPosition; }
    const XRGBSpectrum& GetIntensity() const { return itsIntensity; }
    void SetIntensity(const XRGBSpectrum& inIntensity) { itsIntensity = inIntensity; }

    using XLight::SampleIncident;
    XRGBSpectrum& SampleIncident(XRGBSpectrum& outIntensity, const XMathVectorF3& inPoint,
                                 XMathVectorF3& outToLight) const override;

    // Moves the light to the new image of the origin.
    void OnTransformChanged() override;

    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override;
    std::uint64_t GetStreamSize() const override;
    // The position is stored as three float64 and read back as float.
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

private:
    XMathVectorF3 itsPosition;
    XRGBSpectrum itsIntensity;
};
