#pragma once

#include "host/core/XStorable.h"
#include "host/imaging/XMathVectorF3.h"
#include "x-platform/core/XRGBSpectrum.h"
#include "x-platform/core/XTransformable.h"

#include <cstdint>

// A light source placed in the world by its transform.
class XLight : public XStorable, public XTransformable
{
public:
    static constexpr std::uint32_t kClassID = 14930;

    std::uint32_t GetClassID() const override { return kClassID; }
    // The version record and the transform record of this base.
    std::uint64_t GetStreamSize() const override;
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

    // The light arriving at the world point inPoint: sets outToLight to the vector from the point
    // to the light (not normalised: its length is the distance) and outIntensity to the light's
    // intensity without fall-off. Returns outIntensity.
    virtual XRGBSpectrum& SampleIncident(XRGBSpectrum& outIntensity, const XMathVectorF3& inPoint,
                                         XMathVectorF3& outToLight) const = 0;
    // As above; the sample value is ignored.
    virtual XRGBSpectrum& SampleIncident(XRGBSpectrum& outIntensity, const XMathVectorF3& inPoint,
                                         XMathVectorF3& outToLight, float inSample) const;

protected:
    XLight() = default;
    XLight(const XLight&) = default;
};
