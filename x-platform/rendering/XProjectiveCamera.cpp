#include "x-platform/rendering/XProjectiveCamera.h"

#include "x-platform/image/XFilm.h"

namespace
{
// Screen window to raster: move the window's (left, top) corner to the origin, scale the window
// to the unit square, then to the film's resolution. The window's values are taken in storage
// order w1..w4 = left, top, bottom, right.
XMatrix_4x4<float> ScreenToRaster(const XRectF& inScreen, const XFilm& inFilm)
{
    const float w1 = inScreen.left;
    const float w2 = inScreen.top;
    const float w3 = inScreen.bottom;
    const float w4 = inScreen.right;
    using Matrix = XMatrix_4x4<float>;
    return Matrix::Scale(inFilm.GetResolutionX(), inFilm.GetResolutionY(), 1.0f) *
           Matrix::Scale(1.0f / (w4 - w1), 1.0f / (w3 - w2), 1.0f) *
           Matrix::Translation(-w1, -w2, 0.0f);
}
} // namespace

XProjectiveCamera::XProjectiveCamera(const XMatrix_4x4<float>& inCameraToWorld,
                                     const XMatrix_4x4<float>& inCameraToScreen,
                                     const XRectF& inScreen, float inHither, float inYon,
                                     float inLensParameter1, float inLensParameter2,
                                     const XFilm& inFilm)
    : XCameraBase(inCameraToWorld, inHither, inYon), itsCameraToScreen(inCameraToScreen),
      itsWorldToScreen(inCameraToScreen * itsWorldToCamera),
      itsScreenToRaster(ScreenToRaster(inScreen, inFilm)),
      itsRasterToScreen(itsScreenToRaster.Inverse()), itsLensParameter1(inLensParameter1),
      itsLensParameter2(inLensParameter2), itsFilm(&inFilm)
{
    itsRasterToCamera = inCameraToScreen.Inverse() * itsRasterToScreen;
}
