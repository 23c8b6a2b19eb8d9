#pragma once

// A small volumetric for tests: a constant density and colour inside the voxel box
// [0, extent - 1] on every axis. It stands in for the multi-channel volumetrics in scene tests.

#include "host/core/XClassRegistry.h"
#include "host/core/XStream.h"
#include "x-platform/volume/XVolumetric.h"

#include <cstdint>
#include <memory>

class XBoxTestVolumetric : public XVolumetric
{
public:
    static constexpr std::uint32_t kClassID = 14999;

    XBoxTestVolumetric() = default;
    XBoxTestVolumetric(float inExtent, float inDensity, const XRGBSpectrum& inColour)
        : itsExtent(inExtent), itsDensity(inDensity), itsColour(inColour)
    {
        UpdateTransforms();
    }

    // Counters of the hooks, so that tests can see who called them.
    int prepareCount = 0;
    int renderBeginCount = 0;
    int renderEndCount = 0;
    bool enabled = true;

    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override
    {
        return std::make_unique<XBoxTestVolumetric>(*this);
    }
    std::uint64_t GetStreamSize() const override
    {
        return XVolumetric::GetStreamSize() + 8 + 5 * 4;
    }
    void Write(XStream& outStream) const override
    {
        XVolumetric::Write(outStream);
        outStream.WriteVersion(kClassID);
        outStream.WriteFloat32S(itsExtent);
        outStream.WriteFloat32S(itsDensity);
        outStream.WriteFloat32S(itsColour.r);
        outStream.WriteFloat32S(itsColour.g);
        outStream.WriteFloat32S(itsColour.b);
    }
    void Read(XStream& inStream) override
    {
        XVolumetric::Read(inStream);
        inStream.ReadClassVersion(kClassID);
        itsExtent = inStream.ReadFloat32S();
        itsDensity = inStream.ReadFloat32S();
        itsColour.r = inStream.ReadFloat32S();
        itsColour.g = inStream.ReadFloat32S();
        itsColour.b = inStream.ReadFloat32S();
    }

    void Prepare() override { ++prepareCount; }
    void RenderBegin() override { ++renderBeginCount; }
    void RenderEnd() override { ++renderEndCount; }
    bool IsEnabled() const override { return enabled; }

    XBoundingBox GetVolumeBounds() const override
    {
        return XBoundingBox(XMathVectorF3(0, 0, 0),
                            XMathVectorF3(itsExtent - 1, itsExtent - 1, itsExtent - 1));
    }
    float GetDensity(const XMathVectorF3& inVoxelPoint) const override
    {
        return GetVolumeBounds().Contains(inVoxelPoint) ? itsDensity : 0.0f;
    }
    void Shade(const XMathVectorF3& inVoxelPoint, const XMathVectorF3&, float& ioOpacity,
               XRGBSpectrum& outColour) const override
    {
        ioOpacity = GetDensity(inVoxelPoint);
        outColour = ioOpacity > 0 ? itsColour : XRGBSpectrum();
    }

    float GetExtent() const { return itsExtent; }
    float GetDensityValue() const { return itsDensity; }
    const XRGBSpectrum& GetColour() const { return itsColour; }

private:
    float itsExtent = 2;
    float itsDensity = 0.5f;
    XRGBSpectrum itsColour{1, 1, 1};
};

inline void XRegisterBoxTestVolumetric()
{
    XRegisterClass<XBoxTestVolumetric>("XBoxTestVolumetric", XVolumetric::kClassID);
}
