#pragma once

#include "host/imaging/XMatrix_4x4.h"

struct ImageSample;
struct XRay;

// A camera: the camera-to-world transform, its inverse and the two clipping distances.
// Cameras are immutable once built and safe to share between threads.
class XCameraBase
{
public:
    XCameraBase(const XMatrix_4x4<float>& inCameraToWorld, float inHither, float inYon);
    virtual ~XCameraBase() = default;

    // Fills outRay with the world-space ray through the sample's raster position (imageX,
    // imageY) and returns the ray's weight. Allocates nothing.
    virtual float GenerateRay(const ImageSample& inSample, XRay& outRay) const = 0;

    const XMatrix_4x4<float>& GetCameraToWorld() const { return itsCameraToWorld; }
    const XMatrix_4x4<float>& GetWorldToCamera() const { return itsWorldToCamera; }
    // Near and far clipping distances.
    float GetHither() const { return itsHither; }
    float GetYon() const { return itsYon; }

protected:
    XCameraBase(const XCameraBase&) = default;
    XCameraBase& operator=(const XCameraBase&) = default;

    XMatrix_4x4<float> itsCameraToWorld;
    XMatrix_4x4<float> itsWorldToCamera;
    float itsHither;
    float itsYon;
};
