#include "x-platform/volume/XVolumetric.h"

#include "host/core/XStream.h"
#include "x-platform/core/XRay.h"

#include <algorithm>
#include <cmath>

namespace
{
// Weights and normalisers of the 3 x 3 x 3 gradient estimate: the centre 0, face neighbours 1,
// edge neighbours 1/sqrt(2), corner neighbours 1/sqrt(3).
struct XGradientTable
{
    float weights[27][3]; // per cell: w * dx, w * dy, w * dz
    float scale[3];       // 1 / sum of w * d^2 per axis

    XGradientTable()
    {
        double sums[3] = {0, 0, 0};
        for (int dz = -1; dz <= 1; ++dz)
        {
            for (int dy = -1; dy <= 1; ++dy)
            {
                for (int dx = -1; dx <= 1; ++dx)
                {
                    const int offsetCount = (dx != 0) + (dy != 0) + (dz != 0);
                    const double weight =
                        offsetCount == 0 ? 0.0 : 1.0 / std::sqrt(static_cast<double>(offsetCount));
                    const int cell = (dz + 1) * 9 + (dy + 1) * 3 + (dx + 1);
                    const int offsets[3] = {dx, dy, dz};
                    for (int axis = 0; axis < 3; ++axis)
                    {
                        weights[cell][axis] = static_cast<float>(weight * offsets[axis]);
                        sums[axis] += weight * offsets[axis] * offsets[axis];
                    }
                }
            }
        }
        for (int axis = 0; axis < 3; ++axis)
        {
            scale[axis] = static_cast<float>(1.0 / sums[axis]);
        }
    }
};

// Built on first use; the initialisation of a function-local static runs exactly once.
const XGradientTable& GetGradientTable()
{
    static const XGradientTable table;
    return table;
}
} // namespace

std::uint64_t XVolumetric::GetStreamSize() const
{
    return 3 * 16 * 4 + 6 * 4 + 1;
}

void XVolumetric::Write(XStream& outStream) const
{
    GetObjectToWorld().Write(outStream);
    itsVolumeTransform.Write(outStream);
    itsVoxelToWorld.Write(outStream);
    itsBounds.WriteStream(outStream);
    outStream.Write8(itsFlag);
}

void XVolumetric::Read(XStream& inStream)
{
    XMatrix_4x4<float> objectToWorld;
    objectToWorld.Read(inStream);
    itsVolumeTransform.Read(inStream);
    itsVoxelToWorld.Read(inStream);
    itsBounds.ReadStream(inStream);
    itsFlag = inStream.Read8();
    AssignTransform(objectToWorld, objectToWorld.Inverse());
    itsInverseVolumeTransform = itsVolumeTransform.Inverse();
    itsWorldToVoxel = itsVoxelToWorld.Inverse();
}

void XVolumetric::GetChannelValues(const XMathVectorF3&, std::span<float> outValues) const
{
    std::fill(outValues.begin(), outValues.end(), 0.0f);
}

void XVolumetric::SetVolumeTransform(const XMatrix_4x4<float>& inVolumeTransform)
{
    itsVolumeTransform = inVolumeTransform;
    itsInverseVolumeTransform = inVolumeTransform.Inverse();
    UpdateTransforms();
}

void XVolumetric::OnTransformChanged()
{
    UpdateTransforms();
}

void XVolumetric::UpdateTransforms()
{
    itsVoxelToWorld = GetObjectToWorld() * itsVolumeTransform;
    itsWorldToVoxel = itsVoxelToWorld.Inverse();
    itsBounds = GetVolumeBounds().MakeTransformedBox(itsVoxelToWorld);
}

bool XVolumetric::IntersectP(const XRay& inRay, float* outT0, float* outT1) const
{
    const XBoundingBox& box = GetBoundingBox();
    float t0 = inRay.tMin;
    float t1 = inRay.tMax;
    for (int axis = 0; axis < 3; ++axis)
    {
        const float lower = box.GetMin()[axis];
        const float upper = box.GetMax()[axis];
        if (!(lower <= upper))
        {
            return false; // a box that holds nothing
        }
        const float inverse = 1.0f / inRay.direction[axis];
        float tNear = (lower - inRay.origin[axis]) * inverse;
        float tFar = (upper - inRay.origin[axis]) * inverse;
        if (tNear != tNear || tFar != tFar)
        {
            // 0 * infinity: parallel to the slab with the origin on one of its planes, which
            // lies inside the (inclusive) slab for every t.
            continue;
        }
        if (tNear > tFar)
        {
            std::swap(tNear, tFar);
        }
        t0 = std::max(t0, tNear);
        t1 = std::min(t1, tFar);
    }
    if (!(t0 <= t1))
    {
        return false;
    }
    *outT0 = t0;
    *outT1 = t1;
    return true;
}

XMathVectorF3 XVolumetric::EstimateGradient(std::span<const float, 27> inValues)
{
    const XGradientTable& table = GetGradientTable();
    float sums[3] = {0, 0, 0};
    for (int cell = 0; cell < 27; ++cell)
    {
        for (int axis = 0; axis < 3; ++axis)
        {
            sums[axis] += table.weights[cell][axis] * inValues[cell];
        }
    }
    const XMathVectorF3 gradient(-table.scale[0] * sums[0], -table.scale[1] * sums[1],
                                 -table.scale[2] * sums[2]);
    const float lengthSquared = Dot(gradient, gradient);
    if (lengthSquared == 0.0f)
    {
        return gradient;
    }
    return gradient * (1.0f / std::sqrt(lengthSquared));
}
