#include "x-platform/shading/XRGBSolidTexture.h"

#include "host/core/XStream.h"

std::unique_ptr<XStorable> XRGBSolidTexture::Clone() const
{
    return std::make_unique<XRGBSolidTexture>(*this);
}

std::uint64_t XRGBSolidTexture::GetStreamSize() const
{
    return XTextureBase::GetStreamSize() + 8 + 3 * 4;
}

void XRGBSolidTexture::Read(XStream& inStream)
{
    XTextureBase::Read(inStream);
    inStream.ReadClassVersion(kClassID);
    XRGBSpectrum colour;
    colour.r = inStream.ReadFloat32S();
    colour.g = inStream.ReadFloat32S();
    colour.b = inStream.ReadFloat32S();
    itsValue = colour;
}

void XRGBSolidTexture::Write(XStream& outStream) const
{
    XTextureBase::Write(outStream);
    outStream.WriteVersion(kClassID);
    outStream.WriteFloat32S(itsValue.r);
    outStream.WriteFloat32S(itsValue.g);
    outStream.WriteFloat32S(itsValue.b);
}
