#pragma once

#include "x-platform/core/XRGBSpectrum.h"
#include "x-platform/shading/XMaterial.h"
#include "x-platform/shading/XTextureT.h"

#include <memory>

// A textured diffuse reflector: it reflects the texture colour T at the hit scaled by kd and
// the cosine n . L, and gives ka T as its ambient colour (the filter of rays passing it).
class XMatteMaterial final : public XMaterial
{
public:
    static constexpr std::uint32_t kClassID = 14947;

    // No texture, kd 1, ka 0. Without a texture the material is white: T = (1, 1, 1).
    XMatteMaterial() = default;
    // ka = inAmbient, kd = (1 - inAmbient) * inScale; the texture is owned.
    XMatteMaterial(std::unique_ptr<XTextureT<XRGBSpectrum>> inTexture, float inAmbient,
                   float inScale);
    // Clones the texture.
    XMatteMaterial(const XMatteMaterial& inOther);
    XMatteMaterial& operator=(const XMatteMaterial&) = delete;
    ~XMatteMaterial() override;

    const XTextureT<XRGBSpectrum>* GetTexture() const { return itsTexture.get(); }
    float GetKd() const { return itsKd; }
    float GetKa() const { return itsKa; }

    // T (n . L) kd; negative behind the surface (nothing is clamped).
    void Shade(XRGBSpectrum& outColour, const XMathVectorF3& inToViewer,
               const XMathVectorF3& inToLight, const XRayHit& inHit) const override;
    // kd T.
    void GetDiffuseColour(XRGBSpectrum& outColour, const XRayHit& inHit) const override;
    // Black: a matte surface spawns no mirror ray.
    void GetSpecularColour(XRGBSpectrum& outColour, const XRayHit& inHit) const override;
    // ka T.
    void GetAmbientColour(XRGBSpectrum& outColour, const XRayHit& inHit) const override;

    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override;
    std::uint64_t GetStreamSize() const override;
    // After the material record: 14947, the texture as an object (XException 1005 when it is not
    // a colour texture), kd and ka (float32).
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

private:
    XRGBSpectrum EvaluateTexture(const XRayHit& inHit) const;

    std::unique_ptr<XTextureT<XRGBSpectrum>> itsTexture;
    float itsKd = 1.0f;
    float itsKa = 0.0f;
};
