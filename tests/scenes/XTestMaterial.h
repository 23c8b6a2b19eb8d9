#pragma once

// A material for tests: one constant colour for every query. Concrete materials live elsewhere.

#include "host/core/XClassRegistry.h"
#include "host/core/XStream.h"
#include "x-platform/geometry/XRayHit.h"
#include "x-platform/shading/XMaterial.h"

#include <cstdint>
#include <memory>

class XTestMaterial : public XMaterial
{
public:
    static constexpr std::uint32_t kClassID = 14998;

    XTestMaterial() = default;
    explicit XTestMaterial(const XRGBSpectrum& inColour) : itsColour(inColour) {}

    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override
    {
        return std::make_unique<XTestMaterial>(*this);
    }
    std::uint64_t GetStreamSize() const override { return XMaterial::GetStreamSize() + 8 + 12; }
    void Write(XStream& outStream) const override
    {
        XMaterial::Write(outStream);
        outStream.WriteVersion(kClassID);
        outStream.WriteFloat32S(itsColour.r);
        outStream.WriteFloat32S(itsColour.g);
        outStream.WriteFloat32S(itsColour.b);
    }
    void Read(XStream& inStream) override
    {
        XMaterial::Read(inStream);
        inStream.ReadClassVersion(kClassID);
        itsColour.r = inStream.ReadFloat32S();
        itsColour.g = inStream.ReadFloat32S();
        itsColour.b = inStream.ReadFloat32S();
    }

    void Shade(XRGBSpectrum& outColour, const XMathVectorF3&, const XMathVectorF3& inToLight,
               const XRayHit& inHit) const override
    {
        outColour = itsColour * Dot(inHit.normal, inToLight);
    }
    void GetDiffuseColour(XRGBSpectrum& outColour, const XRayHit&) const override
    {
        outColour = itsColour;
    }
    void GetSpecularColour(XRGBSpectrum& outColour, const XRayHit&) const override
    {
        outColour = itsColour;
    }
    void GetAmbientColour(XRGBSpectrum& outColour, const XRayHit&) const override
    {
        outColour = itsColour;
    }

    const XRGBSpectrum& GetColour() const { return itsColour; }

private:
    XRGBSpectrum itsColour{1, 1, 1};
};

inline void XRegisterTestMaterial()
{
    XRegisterClass<XTestMaterial>("XTestMaterial", XMaterial::kClassID);
}
