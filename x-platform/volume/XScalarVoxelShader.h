#pragma once

#include "x-platform/volume/XVoxelShaderBase.h"

#include <cstdint>

// A voxel shader of one scalar value per voxel. It adds only its version record; the concrete
// shading models derive from it.
class XScalarVoxelShader : public XVoxelShaderBase
{
public:
    static constexpr std::uint32_t kClassID = 14940;

    std::uint32_t GetClassID() const override { return kClassID; }
    std::uint64_t GetStreamSize() const override { return XVoxelShaderBase::GetStreamSize() + 8; }
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

protected:
    XScalarVoxelShader() = default;
    XScalarVoxelShader(const XScalarVoxelShader&) = default;
    XScalarVoxelShader& operator=(const XScalarVoxelShader&) = default;
};
