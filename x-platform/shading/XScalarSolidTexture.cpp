#include "x-platform/shading/XScalarSolidTexture.h"

#include "host/core/XStream.h"

std::unique_ptr<XStorable> XScalarSolidTexture::Clone() const
{
    return std::make_unique<XScalarSolidTexture>(*this);
}

std::uint64_t XScalarSolidTexture::GetStreamSize() const
{
    return XTextureBase::GetStreamSize() + 8 + 4;
}

void XScalarSolidTexture::Read(XStream& inStream)
{
    XTextureBase::Read(inStream);
    inStream.ReadClassVersion(kClassID);
    itsValue = inStream.ReadFloat32S();
}

void XScalarSolidTexture::Write(XStream& outStream) const
{
    XTextureBase::Write(outStream);
    outStream.WriteVersion(kClassID);
    outStream.WriteFloat32S(itsValue);
}
