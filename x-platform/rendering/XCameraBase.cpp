#include "x-platform/rendering/XCameraBase.h"

XCameraBase::XCameraBase(const XMatrix_4x4<float>& inCameraToWorld, float inHither, float inYon)
    : itsCameraToWorld(inCameraToWorld), itsWorldToCamera(inCameraToWorld.Inverse()),
      itsHither(inHither), itsYon(inYon)
{
}
