#pragma once

#include "host/core/XMutex.h"
#include "host/core/XRefCountable.h"
#include "host/core/XStorable.h"
#include "host/imaging/XCamera.h"
#include "x-platform/core/XRGBSpectrum.h"
#include "x-platform/geometry/XSurface.h"
#include "x-platform/rendering/XBoundingVolumeHierarchy.h"
#include "x-platform/shading/XLight.h"
#include "x-platform/volume/XVolumetric.h"

#include <cstdint>
#include <memory>
#include <vector>

struct XRay;
struct XRayHit;

// The self-contained description of one frame: a camera, lights, surfaces, at most one
// volumetric, the background colour, the ambient fraction and a hierarchy over the enabled
// surfaces. Built and prepared under its lock, then only read: queries take no lock, and each
// render thread or job works on its own copy.
class X3DScene : public XStorable
{
public:
    static constexpr std::uint32_t kClassID = 14912;
    static constexpr std::int32_t kLockTimeoutMilliseconds = 4000;
    using XHierarchy = XBoundingVolumeHierarchy<XSurface>;

    // Camera from (0, 0, -10) looking at the origin with +y up, black background, ambient
    // fraction 0.2, nothing else.
    X3DScene();
    ~X3DScene() override;
    X3DScene& operator=(const X3DScene&) = delete;

    // A copy (camera, cloned lights, copied surfaces sharing their geometries and materials, a
    // cloned volumetric, background and ambient fraction; no hierarchy, unprepared), or null
    // without waiting when another thread holds the source's lock.
    static std::unique_ptr<X3DScene> TryCopy(const X3DScene& inSource);

    // Guards the lights, surfaces, volumetric, hierarchy and prepared flag while they change.
    XMutex& GetMutex() const { return itsMutex; }

    const XCamera& GetCamera() const { return itsCamera; }
    void SetCamera(const XCamera& inCamera) { itsCamera = inCamera; }
    // The colour of a ray that hits no surface.
    const XRGBSpectrum& GetBackground() const { return itsBackground; }
    void SetBackground(const XRGBSpectrum& inColour) { itsBackground = inColour; }
    // The share of each light's contribution given as unshadowed ambient light.
    float GetAmbientFraction() const { return itsAmbientFraction; }
    void SetAmbientFraction(float inFraction) { itsAmbientFraction = inFraction; }

    // Changes of the contents: the caller must hold the lock (asserted). Changing the surfaces or
    // the volumetric marks the scene unprepared.
    void SetLights(std::vector<std::unique_ptr<XLight>> inLights);
    std::vector<std::unique_ptr<XSurface>>& EditSurfaces();
    void SetVolumetric(XRef<XVolumetric> inVolumetric);
    XVolumetric* EditVolumetric();

    // Read-only views for rendering a prepared scene; no lock.
    const std::vector<std::unique_ptr<XLight>>& GetLights() const { return itsLights; }
    const std::vector<std::unique_ptr<XSurface>>& GetSurfaces() const { return itsSurfaces; }
    const XVolumetric* GetVolumetric() const { return itsVolumetric.Get(); }
    const XHierarchy* GetHierarchy() const { return itsHierarchy.get(); }
    bool IsPrepared() const { return itsPrepared; }

    // Builds the hierarchy over the enabled surfaces (preparing each) and prepares an enabled
    // volumetric; does nothing when already prepared. Takes the lock, waiting without limit.
    void Prepare();

    // The nearest surface hit; shortens the ray's tMax to it. False without a hierarchy.
    bool Intersect(XRay& ioRay, XRayHit& outHit) const;
    // Whether any surface occludes the ray; the ray is not changed. False without a hierarchy.
    bool IntersectP(const XRay& inRay) const;
    // The interval [t0, t1] in which the ray meets the volumetric's world bounds within
    // [tMin, tMax]; false without an enabled volumetric or when the interval is empty.
    bool IntersectVolumetric(const XRay& inRay, float* outT0, float* outT1) const;

    // Sent before and after a region is rendered: forwarded to an enabled volumetric, then to
    // every surface in list order.
    virtual void RenderBegin();
    virtual void RenderEnd();

    std::uint32_t GetClassID() const override { return kClassID; }
    // The same as TryCopy: null while another thread holds the lock.
    std::unique_ptr<XStorable> Clone() const override;
    std::uint64_t GetStreamSize() const override;
    // Reading replaces the contents, the stored hierarchy included, and leaves the scene
    // unprepared. Neither takes the lock: a scene is stored and loaded by its only user.
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

private:
    // Copies under the source's lock, held by TryCopy.
    X3DScene(const X3DScene& inSource);

    void WriteHierarchy(XStream& outStream) const;
    void ReadHierarchy(XStream& inStream);

    XCamera itsCamera;
    std::vector<std::unique_ptr<XLight>> itsLights;
    std::vector<std::unique_ptr<XSurface>> itsSurfaces;
    std::unique_ptr<XHierarchy> itsHierarchy;
    XRef<XVolumetric> itsVolumetric;
    XRGBSpectrum itsBackground;
    float itsAmbientFraction = 0.2f;
    bool itsPrepared = false;
    mutable XMutex itsMutex{kLockTimeoutMilliseconds, false};
};
