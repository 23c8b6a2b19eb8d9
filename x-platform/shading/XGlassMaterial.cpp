#include "x-platform/shading/XGlassMaterial.h"

#include "host/core/XStream.h"
#include "x-platform/geometry/XRayHit.h"

XGlassMaterial::XGlassMaterial(const XRGBSpectrum& inColourA, const XRGBSpectrum& inColourB,
                               const XRGBSpectrum& inColourC, const XRGBSpectrum& inColourD)
    : itsColourA(inColourA), itsColourB(inColourB), itsColourC(inColourC), itsColourD(inColourD)
{
}

void XGlassMaterial::SetColours(const XRGBSpectrum& inColourA, const XRGBSpectrum& inColourB,
                                const XRGBSpectrum& inColourC, const XRGBSpectrum& inColourD)
{
    itsColourA = inColourA;
    itsColourB = inColourB;
    itsColourC = inColourC;
    itsColourD = inColourD;
}

void XGlassMaterial::Shade(XRGBSpectrum& outColour, const XMathVectorF3& inToViewer,
                           const XMathVectorF3& inToLight, const XRayHit& inHit) const
{
    outColour = Phong(inToViewer, inToLight, inHit.normal, kExponent, kDiffuseShare * itsColourC,
                      kSpecularShare * itsColourC);
}

void XGlassMaterial::GetDiffuseColour(XRGBSpectrum& outColour, const XRayHit&) const
{
    outColour = itsColourC;
}

void XGlassMaterial::GetSpecularColour(XRGBSpectrum& outColour, const XRayHit&) const
{
    outColour = itsColourD;
}

void XGlassMaterial::GetAmbientColour(XRGBSpectrum& outColour, const XRayHit&) const
{
    outColour = itsColourA;
}

std::unique_ptr<XStorable> XGlassMaterial::Clone() const
{
    return std::make_unique<XGlassMaterial>(*this);
}

std::uint64_t XGlassMaterial::GetStreamSize() const
{
    return XMaterial::GetStreamSize() + 8 + 12 * 4;
}

void XGlassMaterial::Read(XStream& inStream)
{
    XMaterial::Read(inStream);
    inStream.ReadClassVersion(kClassID);
    itsColourA = ReadColour(inStream);
    itsColourB = ReadColour(inStream);
    itsColourC = ReadColour(inStream);
    itsColourD = ReadColour(inStream);
}

void XGlassMaterial::Write(XStream& outStream) const
{
    XMaterial::Write(outStream);
    outStream.WriteVersion(kClassID);
    WriteColour(outStream, itsColourA);
    WriteColour(outStream, itsColourB);
    WriteColour(outStream, itsColourC);
    WriteColour(outStream, itsColourD);
}
