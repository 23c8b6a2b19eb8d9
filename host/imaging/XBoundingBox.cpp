#include "host/imaging/XBoundingBox.h"

#include "host/core/XStream.h"

namespace
{
XMathVectorF3 Min(const XMathVectorF3& inA, const XMathVectorF3& inB)
{
    return {std::min(inA.x, inB.x), std::min(inA.y, inB.y), std::min(inA.z, inB.z)};
}

XMathVectorF3 Max(const XMathVectorF3& inA, const XMathVectorF3& inB)
{
    return {std::max(inA.x, inB.x), std::max(inA.y, inB.y), std::max(inA.z, inB.z)};
}
} // namespace

XBoundingBox XBoundingBox::MakeSurroundingBox(const XBoundingBox& inA, const XBoundingBox& inB)
{
    return XBoundingBox(Min(inA.GetMin(), inB.GetMin()), Max(inA.GetMax(), inB.GetMax()));
}

XBoundingBox XBoundingBox::MakeTransformedBox(const XMatrix_4x4<float>& inMatrix) const
{
    XMathVectorF3 lower(std::numeric_limits<float>::infinity(),
                        std::numeric_limits<float>::infinity(),
                        std::numeric_limits<float>::infinity());
    XMathVectorF3 upper = -lower;
    for (int corner = 0; corner < 8; ++corner)
    {
        const XMathVectorF3 point(itsCorners[corner & 1].x, itsCorners[(corner >> 1) & 1].y,
                                  itsCorners[(corner >> 2) & 1].z);
        const XMathVectorF3 transformed = inMatrix.TransformPoint(point);
        lower = Min(lower, transformed);
        upper = Max(upper, transformed);
    }
    return XBoundingBox(lower, upper);
}

void XBoundingBox::WriteStream(XStream& outStream) const
{
    for (const XMathVectorF3& corner : itsCorners)
    {
        outStream.WriteFloat32S(corner.x);
        outStream.WriteFloat32S(corner.y);
        outStream.WriteFloat32S(corner.z);
    }
}

void XBoundingBox::ReadStream(XStream& inStream)
{
    inStream.CheckRemaining(6 * 4);
    for (XMathVectorF3& corner : itsCorners)
    {
        corner.x = inStream.ReadFloat32S();
        corner.y = inStream.ReadFloat32S();
        corner.z = inStream.ReadFloat32S();
    }
}
