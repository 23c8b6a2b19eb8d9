#include "x-platform/rendering/XSceneClassTable.h"

#include "host/core/XClassRegistry.h"
#include "x-platform/geometry/XCone.h"
#include "x-platform/geometry/XCylinder.h"
#include "x-platform/geometry/XDisk.h"
#include "x-platform/geometry/XSphere.h"
#include "x-platform/geometry/XSurface.h"
#include "x-platform/rendering/X3DScene.h"
#include "x-platform/shading/XCheckeredTexture.h"
#include "x-platform/shading/XGlassMaterial.h"
#include "x-platform/shading/XMatteMaterial.h"
#include "x-platform/shading/XPlasticMaterial.h"
#include "x-platform/shading/XPointLight.h"
#include "x-platform/shading/XRGBSolidTexture.h"
#include "x-platform/shading/XScalarSolidTexture.h"

void XRegisterSceneClasses()
{
    // The abstract bases (XGeometry, XMaterial, XTextureBase, XLight, XVolumetric) have nothing to
    // create.
    XRegisterClass<X3DScene>("X3DScene");
    XRegisterClass<XSurface>("XSurface");
    XRegisterClass<XSphere>("XSphere", XGeometry::kClassID);
    XRegisterClass<XCone>("XCone", XGeometry::kClassID);
    XRegisterClass<XCylinder>("XCylinder", XGeometry::kClassID);
    XRegisterClass<XDisk>("XDisk", XGeometry::kClassID);
    XRegisterClass<XPointLight>("XPointLight", XLight::kClassID);
    XRegisterClass<XMatteMaterial>("XMatteMaterial", XMaterial::kClassID);
    XRegisterClass<XPlasticMaterial>("XPlasticMaterial", XMaterial::kClassID);
    XRegisterClass<XGlassMaterial>("XGlassMaterial", XMaterial::kClassID);
    // Every texture's stored form opens with the texture record 14942.
    XRegisterClass<XRGBSolidTexture>("XRGBSolidTexture", XTextureBase::kClassID);
    XRegisterClass<XScalarSolidTexture>("XScalarSolidTexture", XTextureBase::kClassID);
    XRegisterClass<XRGBCheckeredTexture>("XCheckeredTexture", XTextureBase::kClassID);
}
