#include "host/core/XNetJobSharedData.h"

#include "host/core/XStream.h"

std::uint64_t XNetJobSharedData::GetStreamSize() const
{
    return 8; // the version record
}

void XNetJobSharedData::Read(XStream& inStream)
{
    inStream.ReadClassVersion(kBaseClassID);
}

void XNetJobSharedData::Write(XStream& outStream) const
{
    outStream.WriteVersion(kBaseClassID);
}
