#include "x-platform/rendering/XSceneClassTable.h"

#include "host/core/XClassRegistry.h"
#include "x-platform/geometry/XCone.h"
#include "x-platform/geometry/XCylinder.h"
#include "x-platform/geometry/XDisk.h"
#include "x-platform/geometry/XSphere.h"
#include "x-platform/geometry/XSurface.h"
#include "x-platform/rendering/X3DScene.h"
#include "x-platform/shading/XPointLight.h"

void XRegisterSceneClasses()
{
    // The abstract bases (XGeometry, XMaterial, XLight, XVolumetric) have nothing to create.
    XRegisterClass<X3DScene>("X3DScene");
    XRegisterClass<XSurface>("XSurface");
    XRegisterClass<XSphere>("XSphere", XGeometry::kClassID);
    XRegisterClass<XCone>("XCone", XGeometry::kClassID);
    XRegisterClass<XCylinder>("XCylinder", XGeometry::kClassID);
    XRegisterClass<XDisk>("XDisk", XGeometry::kClassID);
    XRegisterClass<XPointLight>("XPointLight", XLight::kClassID);
}
