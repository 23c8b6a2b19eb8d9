#include "x-platform/shading/XTextureBase.h"

#include "host/core/XStream.h"

std::uint64_t XTextureBase::GetStreamSize() const
{
    return 8;
}

void XTextureBase::Read(XStream& inStream)
{
    inStream.ReadClassVersion(kClassID);
}

void XTextureBase::Write(XStream& outStream) const
{
    outStream.WriteVersion(kClassID);
}
