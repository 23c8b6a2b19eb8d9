#include "x-platform/shading/XPlasticMaterial.h"

#include "host/core/XStream.h"
#include "x-platform/geometry/XRayHit.h"

XPlasticMaterial::XPlasticMaterial(const XRGBSpectrum& inColour, float inExponent, float inKd,
                                   float inKs, float inKa, float inScale)
    : itsDiffuse(inKd * inColour), itsSpecular(inKs * inColour), itsAmbient(inKa * inColour),
      itsExponent(inExponent), itsScale((1.0f - inKa) * inScale)
{
}

void XPlasticMaterial::Shade(XRGBSpectrum& outColour, const XMathVectorF3& inToViewer,
                             const XMathVectorF3& inToLight, const XRayHit& inHit) const
{
    outColour =
        itsScale * Phong(inToViewer, inToLight, inHit.normal, itsExponent, itsDiffuse, itsSpecular);
}

void XPlasticMaterial::GetDiffuseColour(XRGBSpectrum& outColour, const XRayHit&) const
{
    outColour = itsScale * itsDiffuse;
}

void XPlasticMaterial::GetSpecularColour(XRGBSpectrum& outColour, const XRayHit&) const
{
    outColour = itsScale * itsSpecular;
}

void XPlasticMaterial::GetAmbientColour(XRGBSpectrum& outColour, const XRayHit&) const
{
    outColour = itsAmbient;
}

std::unique_ptr<XStorable> XPlasticMaterial::Clone() const
{
    return std::make_unique<XPlasticMaterial>(*this);
}

std::uint64_t XPlasticMaterial::GetStreamSize() const
{
    return XMaterial::GetStreamSize() + 8 + 11 * 4;
}

void XPlasticMaterial::Read(XStream& inStream)
{
    XMaterial::Read(inStream);
    inStream.ReadClassVersion(kClassID);
    itsDiffuse = ReadColour(inStream);
    itsSpecular = ReadColour(inStream);
    itsAmbient = ReadColour(inStream);
    itsExponent = inStream.ReadFloat32S();
    itsScale = inStream.ReadFloat32S();
}

void XPlasticMaterial::Write(XStream& outStream) const
{
    XMaterial::Write(outStream);
    outStream.WriteVersion(kClassID);
    WriteColour(outStream, itsDiffuse);
    WriteColour(outStream, itsSpecular);
    WriteColour(outStream, itsAmbient);
    outStream.WriteFloat32S(itsExponent);
    outStream.WriteFloat32S(itsScale);
}
