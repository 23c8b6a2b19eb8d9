#include "x-platform/shading/XMaterial.h"

#include "host/core/XStream.h"

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
