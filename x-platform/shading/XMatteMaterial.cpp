#include "x-platform/shading/XMatteMaterial.h"

#include "host/core/XStream.h"
#include "x-platform/core/XObjectRecordSize.h"
#include "x-platform/geometry/XRayHit.h"

#include <utility>

XMatteMaterial::XMatteMaterial(std::unique_ptr<XTextureT<XRGBSpectrum>> inTexture, float inAmbient,
                               float inScale)
    : itsTexture(std::move(inTexture)), itsKd((1.0f - inAmbient) * inScale), itsKa(inAmbient)
{
}

XMatteMaterial::XMatteMaterial(const XMatteMaterial& inOther)
    : XMaterial(inOther), itsTexture(inOther.itsTexture ? XClone(*inOther.itsTexture) : nullptr),
      itsKd(inOther.itsKd), itsKa(inOther.itsKa)
{
}

XMatteMaterial::~XMatteMaterial() = default;

XRGBSpectrum XMatteMaterial::EvaluateTexture(const XRayHit& inHit) const
{
    return itsTexture ? itsTexture->Evaluate(inHit) : XRGBSpectrum(1.0f, 1.0f, 1.0f);
}

void XMatteMaterial::Shade(XRGBSpectrum& outColour, const XMathVectorF3&,
                           const XMathVectorF3& inToLight, const XRayHit& inHit) const
{
    outColour = EvaluateTexture(inHit) * Dot(inHit.normal, inToLight) * itsKd;
}

void XMatteMaterial::GetDiffuseColour(XRGBSpectrum& outColour, const XRayHit& inHit) const
{
    outColour = itsKd * EvaluateTexture(inHit);
}

void XMatteMaterial::GetSpecularColour(XRGBSpectrum& outColour, const XRayHit&) const
{
    outColour = XRGBSpectrum();
}

void XMatteMaterial::GetAmbientColour(XRGBSpectrum& outColour, const XRayHit& inHit) const
{
    outColour = itsKa * EvaluateTexture(inHit);
}

std::unique_ptr<XStorable> XMatteMaterial::Clone() const
{
    return std::make_unique<XMatteMaterial>(*this);
}

std::uint64_t XMatteMaterial::GetStreamSize() const
{
    return XMaterial::GetStreamSize() + 8 + XObjectRecordSize(itsTexture.get()) + 2 * 4;
}

void XMatteMaterial::Read(XStream& inStream)
{
    XMaterial::Read(inStream);
    inStream.ReadClassVersion(kClassID);
    std::unique_ptr<XTextureT<XRGBSpectrum>> texture =
        inStream.ReadObjectAs<XTextureT<XRGBSpectrum>>();
    const float kd = inStream.ReadFloat32S();
    const float ka = inStream.ReadFloat32S();
    itsTexture = std::move(texture);
    itsKd = kd;
    itsKa = ka;
}

void XMatteMaterial::Write(XStream& outStream) const
{
    XMaterial::Write(outStream);
    outStream.WriteVersion(kClassID);
    outStream.WriteObject(itsTexture.get());
    outStream.WriteFloat32S(itsKd);
    outStream.WriteFloat32S(itsKa);
}
