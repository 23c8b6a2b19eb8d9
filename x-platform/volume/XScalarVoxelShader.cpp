#include "x-platform/volume/XScalarVoxelShader.h"

#include "host/core/XStream.h"

void XScalarVoxelShader::Read(XStream& inStream)
{
    XVoxelShaderBase::Read(inStream);
    inStream.ReadClassVersion(kClassID);
}

void XScalarVoxelShader::Write(XStream& outStream) const
{
    XVoxelShaderBase::Write(outStream);
    outStream.WriteVersion(kClassID);
}
