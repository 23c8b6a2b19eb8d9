#include "x-platform/shading/XMaterial.h"

#include "host/core/XStream.h"

#include <cmath>

std::uint64_t XMaterial::GetStreamSize() const
{
    return 8;
}

void XMaterial::Read(XStream& inStream)
{
    inStream.ReadClassVersion(kClassID);
}

void XMaterial::Write(XStream& outStream) const
{
    outStream.WriteVersion(kClassID);
}

XRGBSpectrum XMaterial::Phong(const XMathVectorF3& inToViewer, const XMathVectorF3& inToLight,
                              const XMathVectorF3& inNormal, float inExponent,
                              const XRGBSpectrum& inKd, const XRGBSpectrum& inKs)
{
    const float c = Dot(inToLight, inNormal);
    XMathVectorF3 r = inToLight - inNormal * (2.0f * c);
    r = r * (1.0f / r.Length());
    const float s = std::pow(Dot(r, inToViewer), inExponent);
    return inKd * c + inKs * s;
}

void XMaterial::WriteColour(XStream& outStream, const XRGBSpectrum& inColour)
{
    outStream.WriteFloat32S(inColour.r);
    outStream.WriteFloat32S(inColour.g);
    outStream.WriteFloat32S(inColour.b);
}

XRGBSpectrum XMaterial::ReadColour(XStream& inStream)
{
    XRGBSpectrum colour;
    colour.r = inStream.ReadFloat32S();
    colour.g = inStream.ReadFloat32S();
    colour.b = inStream.ReadFloat32S();
    return colour;
}
