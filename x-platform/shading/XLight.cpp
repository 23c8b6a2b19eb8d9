#include "x-platform/shading/XLight.h"

#include "host/core/XStream.h"

std::uint64_t XLight::GetStreamSize() const
{
    return 8 + kTransformStreamSize;
}

void XLight::Read(XStream& inStream)
{
    inStream.ReadClassVersion(kClassID);
    ReadTransform(inStream);
}

void XLight::Write(XStream& outStream) const
{
    outStream.WriteVersion(kClassID);
    WriteTransform(outStream);
}

XRGBSpectrum& XLight::SampleIncident(XRGBSpectrum& outIntensity, const XMathVectorF3& inPoint,
                                     XMathVectorF3& outToLight, float) const
{
    return SampleIncident(outIntensity, inPoint, outToLight);
}
