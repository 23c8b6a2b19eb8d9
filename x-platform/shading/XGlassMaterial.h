#pragma once

#include "x-platform/core/XRGBSpectrum.h"
#include "x-platform/shading/XMaterial.h"

// A glass-like surface of four colours: A is the filter of rays passing through it (its ambient
// colour), B is carried only, C scales a highlight model with the fixed split 0.1 diffuse /
// 0.9 specular and exponent 50 and is its diffuse colour, D is its mirror colour.
class XGlassMaterial final : public XMaterial
{
public:
    static constexpr std::uint32_t kClassID = 14949;
    static constexpr float kExponent = 50.0f;
    static constexpr float kDiffuseShare = 0.1f;
    static constexpr float kSpecularShare = 0.9f;

    // A = (1, 1, 1), B = C = (0.1, 0.1, 0.1), D = (0.05, 0.05, 0.05).
    XGlassMaterial() = default;
    XGlassMaterial(const XRGBSpectrum& inColourA, const XRGBSpectrum& inColourB,
                   const XRGBSpectrum& inColourC, const XRGBSpectrum& inColourD);

    const XRGBSpectrum& GetColourA() const { return itsColourA; }
    const XRGBSpectrum& GetColourB() const { return itsColourB; }
    const XRGBSpectrum& GetColourC() const { return itsColourC; }
    const XRGBSpectrum& GetColourD() const { return itsColourD; }
    void SetColours(const XRGBSpectrum& inColourA, const XRGBSpectrum& inColourB,
                    const XRGBSpectrum& inColourC, const XRGBSpectrum& inColourD);

    // Phong(v, L, n, 50, 0.1 C, 0.9 C).
    void Shade(XRGBSpectrum& outColour, const XMathVectorF3& inToViewer,
               const XMathVectorF3& inToLight, const XRayHit& inHit) const override;
    // C.
    void GetDiffuseColour(XRGBSpectrum& outColour, const XRayHit& inHit) const override;
    // D.
    void GetSpecularColour(XRGBSpectrum& outColour, const XRayHit& inHit) const override;
    // A.
    void GetAmbientColour(XRGBSpectrum& outColour, const XRayHit& inHit) const override;

    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override;
    std::uint64_t GetStreamSize() const override;
    // After the material record: 14949, colours A to D (three float32 each).
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

private:
    XRGBSpectrum itsColourA{1.0f, 1.0f, 1.0f};
    XRGBSpectrum itsColourB{0.1f, 0.1f, 0.1f};
    XRGBSpectrum itsColourC{0.1f, 0.1f, 0.1f};
    XRGBSpectrum itsColourD{0.05f, 0.05f, 0.05f};
};
