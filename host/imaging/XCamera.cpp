#include "host/imaging/XCamera.h"

#include "host/core/XException.h"
#include "host/core/XStream.h"

#include <cmath>
#include <string>

namespace
{
XMatrix_4x4<float> MakeLookAtFrame(const XMathVectorF3& inPosition, const XMathVectorF3& inLookAt,
                                   const XMathVectorF3& inUp)
{
    const XMathVectorF3 back = (inPosition - inLookAt).Normalized();
    const XMathVectorF3 right = Cross(inUp, back).Normalized();
    const XMathVectorF3 up = Cross(back, right);
    return XMatrix_4x4<float>({right.x, right.y, right.z, 0, up.x, up.y, up.z, 0, back.x, back.y,
                               back.z, 0, inPosition.x, inPosition.y, inPosition.z, 1});
}

std::string ToText(const XMathVectorF3& inVector)
{
    return "(" + std::to_string(inVector.x) + ", " + std::to_string(inVector.y) + ", " +
           std::to_string(inVector.z) + ")";
}

// Degenerate input makes the normalisations divide by zero (or overflow), which leaves
// non-finite elements in the frame.
void CheckFrame(const XMathVectorF3& inPosition, const XMathVectorF3& inLookAt,
                const XMathVectorF3& inUp)
{
    const XMatrix_4x4<float> frame = MakeLookAtFrame(inPosition, inLookAt, inUp);
    for (const float element : frame.GetElements())
    {
        if (!std::isfinite(element))
        {
            throw XException(XException::kInvalidArgument,
                             "camera at " + ToText(inPosition) + " looking at " + ToText(inLookAt) +
                                 " with up " + ToText(inUp) +
                                 " has no view frame: the position must differ from the point "
                                 "looked at and the up vector must not be zero or parallel to "
                                 "the viewing direction");
        }
    }
}

XMathVectorF3 ReadVector(XStream& inStream)
{
    const float x = inStream.ReadFloat32S();
    const float y = inStream.ReadFloat32S();
    const float z = inStream.ReadFloat32S();
    return {x, y, z};
}

void WriteVector(XStream& outStream, const XMathVectorF3& inVector)
{
    outStream.WriteFloat32S(inVector.x);
    outStream.WriteFloat32S(inVector.y);
    outStream.WriteFloat32S(inVector.z);
}
} // namespace

XCamera::XCamera(const XMathVectorF3& inPosition, const XMathVectorF3& inLookAt,
                 const XMathVectorF3& inUp)
    : itsPosition(inPosition), itsLookAt(inLookAt), itsUp(inUp)
{
    CheckFrame(itsPosition, itsLookAt, itsUp);
}

XMatrix_4x4<float> XCamera::GetCameraToWorld() const
{
    return MakeLookAtFrame(itsPosition, itsLookAt, itsUp);
}

void XCamera::Write(XStream& outStream) const
{
    WriteVector(outStream, itsPosition);
    WriteVector(outStream, itsLookAt);
    WriteVector(outStream, itsUp);
}

void XCamera::Read(XStream& inStream)
{
    const XMathVectorF3 position = ReadVector(inStream);
    const XMathVectorF3 lookAt = ReadVector(inStream);
    const XMathVectorF3 up = ReadVector(inStream);
    CheckFrame(position, lookAt, up);
    itsPosition = position;
    itsLookAt = lookAt;
    itsUp = up;
}
