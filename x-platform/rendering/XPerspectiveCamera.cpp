#include "x-platform/rendering/XPerspectiveCamera.h"

#include "host/core/XException.h"
#include "x-platform/core/XRay.h"
#include "x-platform/image/XImageSampler.h"

#include <cmath>
#include <numbers>
#include <string>

namespace
{
float CheckFieldOfView(float inFieldOfView)
{
    if (!(inFieldOfView > 0.0f && inFieldOfView < 180.0f))
    {
        throw XException(XException::kInvalidArgument,
                         "perspective camera: the field of view must lie strictly between 0 and "
                         "180 degrees (got " +
                             std::to_string(inFieldOfView) + ")");
    }
    return inFieldOfView;
}
} // namespace

XPerspectiveCamera::XPerspectiveCamera(const XMatrix_4x4<float>& inCameraToWorld,
                                       const XRectF& inScreen, float inHither, float inYon,
                                       float inLensParameter1, float inLensParameter2,
                                       float inFieldOfView, const XFilm& inFilm)
    : XProjectiveCamera(inCameraToWorld,
                        Perspective(CheckFieldOfView(inFieldOfView), 1.0f, inHither, inYon),
                        inScreen, inHither, inYon, inLensParameter1, inLensParameter2, inFilm)
{
}

XMatrix_4x4<float> XPerspectiveCamera::Perspective(float inFieldOfView, float inAspect,
                                                   float inNear, float inFar)
{
    // The half angle in double precision, rounded to float before the tangent.
    const float halfAngle =
        static_cast<float>(static_cast<double>(inFieldOfView) * std::numbers::pi / 180.0 * 0.5);
    const float c = 1.0f / std::tan(halfAngle);
    XMatrix_4x4<float> result;
    for (int i = 0; i < 16; ++i)
    {
        result[i] = 0.0f;
    }
    result[0] = c / inAspect;
    result[5] = c;
    result[10] = (inNear + inFar) / (inNear - inFar);
    result[11] = -1.0f;
    result[14] = 2.0f * inNear * inFar / (inNear - inFar);
    return result;
}

float XPerspectiveCamera::GenerateRay(const ImageSample& inSample, XRay& outRay) const
{
    const XMathVectorF3 p =
        itsRasterToCamera.TransformPoint(XMathVectorF3(inSample.imageX, inSample.imageY, 0.0f));
    const XMathVectorF3 direction = p / p.Length();
    outRay.origin = itsCameraToWorld.TransformPoint(p);
    outRay.direction = itsCameraToWorld.TransformVector(direction);
    outRay.tMin = 0.0f;
    outRay.tMax = std::fabs((itsYon - itsHither) / direction.z);
    return 1.0f;
}
