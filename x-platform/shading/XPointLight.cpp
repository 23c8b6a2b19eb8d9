#include "x-platform/shading/XPointLight.h"

#include "host/core/XStream.h"

XPointLight::XPointLight(const XMatrix_4x4<float>& inTransform, const XRGBSpectrum& inIntensity)
    : itsIntensity(inIntensity)
{
    SetTransform(inTransform);
}

void XPointLight::OnTransformChanged()
{
    itsPosition = GetObjectToWorld().TransformPoint(XMathVectorF3());
}

XRGBSpectrum& XPointLight::SampleIncident(XRGBSpectrum& outIntensity, const XMathVectorF3& inPoint,
                                          XMathVectorF3& outToLight) const
{
    outToLight = itsPosition - inPoint;
    outIntensity = itsIntensity;
    return outIntensity;
}

std::unique_ptr<XStorable> XPointLight::Clone() const
{
    return std::make_unique<XPointLight>(*this);
}

std::uint64_t XPointLight::GetStreamSize() const
{
    return XLight::GetStreamSize() + 8 + 3 * 8 + 3 * 4;
}

void XPointLight::Read(XStream& inStream)
{
    XLight::Read(inStream);
    inStream.ReadClassVersion(kClassID);
    itsPosition.x = static_cast<float>(inStream.ReadFloat64());
    itsPosition.y = static_cast<float>(inStream.ReadFloat64());
    itsPosition.z = static_cast<float>(inStream.ReadFloat64());
    itsIntensity.r = inStream.ReadFloat32S();
    itsIntensity.g = inStream.ReadFloat32S();
    itsIntensity.b = inStream.ReadFloat32S();
}

void XPointLight::Write(XStream& outStream) const
{
    XLight::Write(outStream);
    outStream.WriteVersion(kClassID);
    outStream.WriteFloat64(itsPosition.x);
    outStream.WriteFloat64(itsPosition.y);
    outStream.WriteFloat64(itsPosition.z);
    outStream.WriteFloat32S(itsIntensity.r);
    outStream.WriteFloat32S(itsIntensity.g);
    outStream.WriteFloat32S(itsIntensity.b);
}
