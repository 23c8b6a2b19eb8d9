#pragma once

#include "host/imaging/XRect.h"
#include "x-platform/rendering/XCameraBase.h"

class XFilm;

// A camera with a projection and the chain of raster, screen and camera spaces. Raster space is
// the film's pixel grid: raster (0, 0) maps to the screen rectangle's corner (left, top) and
// raster (resolution x, resolution y) to (right, bottom). Ray generation is left to derived
// classes.
class XProjectiveCamera : public XCameraBase
{
public:
    // inScreen is the screen window; the two lens parameters are carried, never used.
    XProjectiveCamera(const XMatrix_4x4<float>& inCameraToWorld,
                      const XMatrix_4x4<float>& inCameraToScreen, const XRectF& inScreen,
                      float inHither, float inYon, float inLensParameter1, float inLensParameter2,
                      const XFilm& inFilm);

    const XMatrix_4x4<float>& GetCameraToScreen() const { return itsCameraToScreen; }
    const XMatrix_4x4<float>& GetWorldToScreen() const { return itsWorldToScreen; }
    const XMatrix_4x4<float>& GetRasterToCamera() const { return itsRasterToCamera; }
    const XMatrix_4x4<float>& GetScreenToRaster() const { return itsScreenToRaster; }
    const XMatrix_4x4<float>& GetRasterToScreen() const { return itsRasterToScreen; }
    float GetLensParameter1() const { return itsLensParameter1; }
    float GetLensParameter2() const { return itsLensParameter2; }
    // The film whose resolution defines raster space (not owned).
    const XFilm& GetFilm() const { return *itsFilm; }

protected:
    XMatrix_4x4<float> itsCameraToScreen;
    XMatrix_4x4<float> itsWorldToScreen;
    XMatrix_4x4<float> itsRasterToCamera;
    XMatrix_4x4<float> itsScreenToRaster;
    XMatrix_4x4<float> itsRasterToScreen;
    float itsLensParameter1;
    float itsLensParameter2;
    const XFilm* itsFilm;
};
