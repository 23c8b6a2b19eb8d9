#pragma once

#include "x-platform/rendering/XProjectiveCamera.h"

// A pinhole camera looking along its -z axis with a vertical field of view in degrees; the
// screen window sets the aspect (a window of (-a, -1) to (a, 1) widens only the horizontal
// field). Rays start where the raster point lands on the plane z = -1 of camera space.
class XPerspectiveCamera final : public XProjectiveCamera
{
public:
    // Throws XException unless the field of view lies strictly between 0 and 180 degrees.
    XPerspectiveCamera(const XMatrix_4x4<float>& inCameraToWorld, const XRectF& inScreen,
                       float inHither, float inYon, float inLensParameter1, float inLensParameter2,
                       float inFieldOfView, const XFilm& inFilm);

    // The projection for field of view inFieldOfView degrees, aspect inAspect and clipping
    // distances inNear, inFar: c = 1 / tan(angle / 2), elements 0 = c / aspect, 5 = c,
    // 10 = (near + far) / (near - far), 11 = -1, 14 = 2 near far / (near - far), the rest 0.
    static XMatrix_4x4<float> Perspective(float inFieldOfView, float inAspect, float inNear,
                                          float inFar);

    // Origin: the raster point (x, y, 0) taken to camera space as an affine point; direction:
    // that point normalised; tMin 0, tMax |(yon - hither) / direction z|; then to world space.
    // Returns 1.
    float GenerateRay(const ImageSample& inSample, XRay& outRay) const override;
};
