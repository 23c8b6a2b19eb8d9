#pragma once

#include "host/imaging/XMathVectorF3.h"
#include "host/imaging/XMatrix_4x4.h"

class XStream;

// A viewer given by its position, the point it looks at and its up vector. The camera looks
// along its own -z axis; camera x is to the right and camera y up on the picture.
class XCamera
{
public:
    // Looks from (0, 0, -10) at the origin with +y up.
    XCamera() = default;
    // Throws XException when no frame can be built: the position equals the point looked at, the
    // up vector is zero or parallel to the viewing direction, or a value is not finite.
    XCamera(const XMathVectorF3& inPosition, const XMathVectorF3& inLookAt,
            const XMathVectorF3& inUp);

    const XMathVectorF3& GetPosition() const { return itsPosition; }
    const XMathVectorF3& GetLookAt() const { return itsLookAt; }
    const XMathVectorF3& GetUp() const { return itsUp; }

    // The right-handed look-at frame: back = normalise(position - lookAt), right =
    // normalise(up x back), up' = back x right; the columns are right, up', back and the position.
    XMatrix_4x4<float> GetCameraToWorld() const;

    // Nine float32: position, point looked at, up vector. Reading checks the frame as the
    // constructor does and leaves the camera unchanged when it throws.
    void Write(XStream& outStream) const;
    void Read(XStream& inStream);

    bool operator==(const XCamera& inOther) const = default;

private:
    XMathVectorF3 itsPosition{0, 0, -10};
    XMathVectorF3 itsLookAt{0, 0, 0};
    XMathVectorF3 itsUp{0, 1, 0};
};
