#pragma once

#include "x-platform/core/XRGBSpectrum.h"
#include "x-platform/shading/XMaterial.h"

// A diffuse reflector with a Phong-style highlight.
class XPlasticMaterial final : public XMaterial
{
public:
    static constexpr std::uint32_t kClassID = 14948;

    // Every colour and number 0: shades to black.
    XPlasticMaterial() = default;
    // diffuse = kd colour, specular = ks colour, ambient = ka colour, scale = (1 - ka) s.
    XPlasticMaterial(const XRGBSpectrum& inColour, float inExponent, float inKd, float inKs,
                     float inKa, float inScale);

    const XRGBSpectrum& GetDiffuse() const { return itsDiffuse; }
    const XRGBSpectrum& GetSpecular() const { return itsSpecular; }
    const XRGBSpectrum& GetAmbient() const { return itsAmbient; }
    float GetExponent() const { return itsExponent; }
    float GetScale() const { return itsScale; }

    // scale Phong(v, L, n, exponent, diffuse, specular).
    void Shade(XRGBSpectrum& outColour, const XMathVectorF3& inToViewer,
               const XMathVectorF3& inToLight, const XRayHit& inHit) const override;
    // scale diffuse.
    void GetDiffuseColour(XRGBSpectrum& outColour, const XRayHit& inHit) const override;
    // scale specular.
    void GetSpecularColour(XRGBSpectrum& outColour, const XRayHit& inHit) const override;
    // ambient, not scaled.
    void GetAmbientColour(XRGBSpectrum& outColour, const XRayHit& inHit) const override;

    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override;
    std::uint64_t GetStreamSize() const override;
    // After the material record: 14948, diffuse, specular, ambient (three float32 each),
    // exponent, scale (float32).
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

private:
    XRGBSpectrum itsDiffuse;
    XRGBSpectrum itsSpecular;
    XRGBSpectrum itsAmbient;
    float itsExponent = 0.0f;
    float itsScale = 0.0f;
};
