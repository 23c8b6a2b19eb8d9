#include "x-platform/volume/XVoxelShaderBase.h"

#include "host/core/XStream.h"

void XVoxelShaderBase::Read(XStream& inStream)
{
    inStream.ReadClassVersion(kClassID);
}

void XVoxelShaderBase::Write(XStream& outStream) const
{
    outStream.WriteVersion(kClassID);
}

XRGBSpectrum XVoxelShaderBase::ColourOfWord(std::uint32_t inWord)
{
    return XRGBSpectrum(static_cast<float>((inWord >> 8) & 255u) / 255.0f,
                        static_cast<float>((inWord >> 16) & 255u) / 255.0f,
                        static_cast<float>(inWord >> 24) / 255.0f);
}
