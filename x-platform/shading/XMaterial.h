#pragma once

#include "host/core/XRefCountable.h"
#include "host/core/XStorable.h"
#include "host/imaging/XMathVectorF3.h"
#include "x-platform/core/XRGBSpectrum.h"

#include <cstdint>

struct XRayHit;

// How a surface reflects light. Materials are shared by reference count between surfaces, hit
// records and scene copies, and are read-only while rays are traced. Vectors are used as passed:
// nothing is normalised and no cosine is clamped.
// The reference count is the first base, so that the last release deletes through the object's
// own address (GCC 12 misreads a release through a later base as freeing an inner pointer).
class XMaterial : public XRefCountable, public XStorable
{
public:
    static constexpr std::uint32_t kClassID = 14946;

    std::uint32_t GetClassID() const override { return kClassID; }
    // The version record of this base.
    std::uint64_t GetStreamSize() const override;
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

    // The light reflected toward inToViewer for a unit intensity arriving along inToLight at the
    // hit (the caller multiplies by the light's intensity).
    virtual void Shade(XRGBSpectrum& outColour, const XMathVectorF3& inToViewer,
                       const XMathVectorF3& inToLight, const XRayHit& inHit) const = 0;
    // The diffuse colour at the hit (the surface integrator's ambient term uses it).
    virtual void GetDiffuseColour(XRGBSpectrum& outColour, const XRayHit& inHit) const = 0;
    // The specular colour at the hit (the filter of the mirror-reflected ray).
    virtual void GetSpecularColour(XRGBSpectrum& outColour, const XRayHit& inHit) const = 0;
    // The ambient colour at the hit (the filter of transmitted and shadow rays).
    virtual void GetAmbientColour(XRGBSpectrum& outColour, const XRayHit& inHit) const = 0;

protected:
    XMaterial() = default;
    XMaterial(const XMaterial&) = default;

    // The highlight model of the plastic and the glass: Kd (L . n) + Ks (r . v)^e per channel,
    // with r = L - 2 (L . n) n normalised and the power taken in single precision. No cosine is
    // clamped: (r . v) < 0 with a non-integer exponent gives a NaN highlight.
    static XRGBSpectrum Phong(const XMathVectorF3& inToViewer, const XMathVectorF3& inToLight,
                              const XMathVectorF3& inNormal, float inExponent,
                              const XRGBSpectrum& inKd, const XRGBSpectrum& inKs);

    // A colour as three float32: red, green, blue.
    static void WriteColour(XStream& outStream, const XRGBSpectrum& inColour);
    static XRGBSpectrum ReadColour(XStream& inStream);
};
