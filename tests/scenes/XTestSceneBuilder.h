#pragma once

// Builds small prepared scenes for tests and benchmarks: spheres and disks with materials, point
// lights, an optional volumetric, the background, the ambient fraction and the camera. Build
// returns the prepared scene in the shared handle that the tracer takes.

#include "host/core/XMutexLock.h"
#include "host/core/XRefCountable.h"
#include "host/core/XSharedHandle.h"
#include "host/imaging/XCamera.h"
#include "host/imaging/XMatrix_4x4.h"
#include "x-platform/geometry/XDisk.h"
#include "x-platform/geometry/XSphere.h"
#include "x-platform/geometry/XSurface.h"
#include "x-platform/rendering/X3DScene.h"
#include "x-platform/shading/XMaterial.h"
#include "x-platform/shading/XPointLight.h"
#include "x-platform/volume/XVolumetric.h"

#include <memory>
#include <utility>
#include <vector>

class XTestSceneBuilder
{
public:
    // A sphere of inRadius centred at inCentre.
    XTestSceneBuilder& AddSphere(const XMathVectorF3& inCentre, float inRadius,
                                 XRef<XMaterial> inMaterial)
    {
        return AddSurface(XMakeRef<XSphere>(inRadius),
                          XMatrix_4x4<float>::Translation(inCentre.x, inCentre.y, inCentre.z),
                          std::move(inMaterial));
    }
    // A disk of inRadius in the object plane z = 0 (normal along z) placed by inTransform.
    XTestSceneBuilder& AddDisk(const XMatrix_4x4<float>& inTransform, float inRadius,
                               XRef<XMaterial> inMaterial)
    {
        return AddSurface(XMakeRef<XDisk>(inRadius), inTransform, std::move(inMaterial));
    }
    XTestSceneBuilder& AddSurface(XRef<XGeometry> inGeometry, const XMatrix_4x4<float>& inTransform,
                                  XRef<XMaterial> inMaterial)
    {
        auto surface = std::make_unique<XSurface>();
        surface->SetGeometries({std::move(inGeometry)});
        surface->SetTransform(inTransform);
        surface->SetMaterial(inMaterial);
        itsSurfaces.push_back(std::move(surface));
        return *this;
    }
    XTestSceneBuilder& AddLight(const XMathVectorF3& inPosition, const XRGBSpectrum& inIntensity)
    {
        itsLights.push_back(std::make_unique<XPointLight>(
            XMatrix_4x4<float>::Translation(inPosition.x, inPosition.y, inPosition.z),
            inIntensity));
        return *this;
    }
    XTestSceneBuilder& SetVolumetric(XRef<XVolumetric> inVolumetric)
    {
        itsVolumetric = std::move(inVolumetric);
        return *this;
    }
    XTestSceneBuilder& SetBackground(const XRGBSpectrum& inColour)
    {
        itsBackground = inColour;
        return *this;
    }
    XTestSceneBuilder& SetAmbientFraction(float inFraction)
    {
        itsAmbientFraction = inFraction;
        return *this;
    }
    XTestSceneBuilder& SetCamera(const XCamera& inCamera)
    {
        itsCamera = inCamera;
        return *this;
    }

    // The prepared scene; the builder is left empty.
    XSharedHandle<X3DScene> Build()
    {
        auto scene = std::make_unique<X3DScene>();
        {
            const XMutexLock lock(scene->GetMutex());
            scene->SetLights(std::move(itsLights));
            scene->EditSurfaces() = std::move(itsSurfaces);
            if (itsVolumetric)
            {
                scene->SetVolumetric(std::move(itsVolumetric));
            }
        }
        scene->SetCamera(itsCamera);
        scene->SetBackground(itsBackground);
        scene->SetAmbientFraction(itsAmbientFraction);
        scene->Prepare();
        itsLights.clear();
        itsSurfaces.clear();
        return XSharedHandle<X3DScene>(std::move(scene));
    }

private:
    std::vector<std::unique_ptr<XSurface>> itsSurfaces;
    std::vector<std::unique_ptr<XLight>> itsLights;
    XRef<XVolumetric> itsVolumetric;
    XRGBSpectrum itsBackground;
    float itsAmbientFraction = 0.2f;
    XCamera itsCamera;
};
