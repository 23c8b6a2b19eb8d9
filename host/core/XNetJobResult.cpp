#include "host/core/XNetJobResult.h"

#include "host/core/XStream.h"

std::uint64_t XNetJobResult::GetStreamSize() const
{
    return 8; // the version record
}

void XNetJobResult::Read(XStream& inStream)
{
    inStream.ReadClassVersion(kBaseClassID);
}

void XNetJobResult::Write(XStream& outStream) const
{
    outStream.WriteVersion(kBaseClassID);
}
