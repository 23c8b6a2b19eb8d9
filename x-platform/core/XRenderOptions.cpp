#include "x-platform/core/XRenderOptions.h"

#include "host/core/XStream.h"

void XRenderOptions::Write(XStream& outStream) const
{
    outStream.Write8(firstFlag ? 1 : 0);
    outStream.Write8(secondFlag ? 1 : 0);
    outStream.Write8(thirdFlag ? 1 : 0);
    outStream.Write8(reflections ? 1 : 0);
    outStream.Write32(firstCount);
    outStream.Write32(samplesPerPixelSide);
    outStream.Write32(maxDepth);
    outStream.Write32(secondCount);
}

void XRenderOptions::Read(XStream& inStream)
{
    firstFlag = inStream.Read8() != 0;
    secondFlag = inStream.Read8() != 0;
    thirdFlag = inStream.Read8() != 0;
    reflections = inStream.Read8() != 0;
    firstCount = inStream.Read32();
    samplesPerPixelSide = inStream.Read32();
    maxDepth = inStream.Read32();
    secondCount = inStream.Read32();
}
