#include "x-platform/rendering/X3DScene.h"

#include "host/core/XException.h"
#include "host/core/XInternalError.h"
#include "host/core/XMutexLock.h"
#include "host/core/XStream.h"
#include "x-platform/core/XObjectRecordSize.h"
#include "x-platform/core/XRay.h"
#include "x-platform/geometry/XRayHit.h"

#include <string>
#include <unordered_map>
#include <utility>

X_SOURCE_NAME("x-platform/X3DScene");

namespace
{
// Stored form of one hierarchy node: its box, the jump index, the has-primitive flag and the
// surface index.
constexpr std::uint64_t kStoredNodeSize = 6 * 4 + 4 + 1 + 4;

[[noreturn]] void ThrowMalformed(const XStream& inStream, const std::string& inWhat)
{
    throw XException(XException::kMalformedStream,
                     "scene at byte " + std::to_string(inStream.GetPosition()) + ": " + inWhat);
}

// Unlocks on the way out of TryCopy, also when a copy throws.
class XTryLockScope
{
public:
    explicit XTryLockScope(XMutex& inMutex) : itsMutex(inMutex), itsLocked(inMutex.TryLock()) {}
    ~XTryLockScope()
    {
        if (itsLocked)
        {
            itsMutex.Unlock();
        }
    }
    XTryLockScope(const XTryLockScope&) = delete;
    XTryLockScope& operator=(const XTryLockScope&) = delete;

    bool IsLocked() const { return itsLocked; }

private:
    XMutex& itsMutex;
    const bool itsLocked;
};
} // namespace

X3DScene::X3DScene()
    : itsCamera(XMathVectorF3(0, 0, -10), XMathVectorF3(0, 0, 0), XMathVectorF3(0, 1, 0))
{
}

X3DScene::~X3DScene() = default;

X3DScene::X3DScene(const X3DScene& inSource)
    : XStorable(inSource), itsCamera(inSource.itsCamera), itsVolumetric(nullptr),
      itsBackground(inSource.itsBackground), itsAmbientFraction(inSource.itsAmbientFraction)
{
    itsLights.reserve(inSource.itsLights.size());
    for (const std::unique_ptr<XLight>& light : inSource.itsLights)
    {
        itsLights.push_back(XClone(*light));
    }
    itsSurfaces.reserve(inSource.itsSurfaces.size());
    for (const std::unique_ptr<XSurface>& surface : inSource.itsSurfaces)
    {
        itsSurfaces.push_back(std::make_unique<XSurface>(*surface));
    }
    if (inSource.itsVolumetric)
    {
        itsVolumetric = XRef<XVolumetric>::Adopt(XClone(*inSource.itsVolumetric).release());
    }
}

std::unique_ptr<X3DScene> X3DScene::TryCopy(const X3DScene& inSource)
{
    const XTryLockScope lock(inSource.itsMutex);
    if (!lock.IsLocked())
    {
        return nullptr;
    }
    return std::unique_ptr<X3DScene>(new X3DScene(inSource));
}

std::unique_ptr<XStorable> X3DScene::Clone() const
{
    return TryCopy(*this);
}

void X3DScene::SetLights(std::vector<std::unique_ptr<XLight>> inLights)
{
    X_ASSERT(itsMutex.IsLockedByCurrentThread());
    itsLights = std::move(inLights);
}

std::vector<std::unique_ptr<XSurface>>& X3DScene::EditSurfaces()
{
    X_ASSERT(itsMutex.IsLockedByCurrentThread());
    itsPrepared = false;
    return itsSurfaces;
}

void X3DScene::SetVolumetric(XRef<XVolumetric> inVolumetric)
{
    X_ASSERT(itsMutex.IsLockedByCurrentThread());
    itsPrepared = false;
    itsVolumetric = std::move(inVolumetric);
}

XVolumetric* X3DScene::EditVolumetric()
{
    X_ASSERT(itsMutex.IsLockedByCurrentThread());
    return itsVolumetric.Get();
}

void X3DScene::Prepare()
{
    const XMutexLock lock(itsMutex);
    if (itsPrepared)
    {
        return;
    }
    itsHierarchy.reset();
    std::vector<const XSurface*> enabled;
    enabled.reserve(itsSurfaces.size());
    for (const std::unique_ptr<XSurface>& surface : itsSurfaces)
    {
        if (surface->IsEnabled())
        {
            surface->Prepare();
            enabled.push_back(surface.get());
        }
    }
    if (!enabled.empty())
    {
        itsHierarchy = std::make_unique<XHierarchy>(std::move(enabled));
    }
    if (itsVolumetric && itsVolumetric->IsEnabled())
    {
        itsVolumetric->Prepare();
    }
    itsPrepared = true;
}

bool X3DScene::Intersect(XRay& ioRay, XRayHit& outHit) const
{
    if (!itsHierarchy)
    {
        return false;
    }
    return itsHierarchy->Intersect(ioRay, outHit);
}

bool X3DScene::IntersectP(const XRay& inRay) const
{
    if (!itsHierarchy)
    {
        return false;
    }
    return itsHierarchy->IntersectP(inRay);
}

bool X3DScene::IntersectVolumetric(const XRay& inRay, float* outT0, float* outT1) const
{
    if (!itsVolumetric || !itsVolumetric->IsEnabled())
    {
        return false;
    }
    return itsVolumetric->IntersectP(inRay, outT0, outT1);
}

void X3DScene::RenderBegin()
{
    if (itsVolumetric && itsVolumetric->IsEnabled())
    {
        itsVolumetric->RenderBegin();
    }
    for (const std::unique_ptr<XSurface>& surface : itsSurfaces)
    {
        surface->RenderBegin();
    }
}

void X3DScene::RenderEnd()
{
    if (itsVolumetric && itsVolumetric->IsEnabled())
    {
        itsVolumetric->RenderEnd();
    }
    for (const std::unique_ptr<XSurface>& surface : itsSurfaces)
    {
        surface->RenderEnd();
    }
}

std::uint64_t X3DScene::GetStreamSize() const
{
    // Version record, camera (nine float32) and background colour.
    std::uint64_t size = 8 + 9 * 4 + 3 * 4;
    size += 4;
    for (const std::unique_ptr<XLight>& light : itsLights)
    {
        size += XObjectRecordSize(light.get());
    }
    size += 4;
    for (const std::unique_ptr<XSurface>& surface : itsSurfaces)
    {
        size += XObjectRecordSize(surface.get());
    }
    size += 4;
    if (itsVolumetric)
    {
        size += XObjectRecordSize(itsVolumetric.Get());
    }
    size += 1;
    if (itsHierarchy)
    {
        size += 6 * 4 + 4 + itsHierarchy->GetNodes().size() * kStoredNodeSize;
    }
    return size + 4;
}

void X3DScene::Write(XStream& outStream) const
{
    outStream.WriteVersion(kClassID);
    itsCamera.Write(outStream);
    outStream.WriteFloat32S(itsBackground.r);
    outStream.WriteFloat32S(itsBackground.g);
    outStream.WriteFloat32S(itsBackground.b);
    outStream.Write32(static_cast<std::uint32_t>(itsLights.size()));
    for (const std::unique_ptr<XLight>& light : itsLights)
    {
        outStream.WriteObject(light.get());
    }
    outStream.Write32(static_cast<std::uint32_t>(itsSurfaces.size()));
    for (const std::unique_ptr<XSurface>& surface : itsSurfaces)
    {
        outStream.WriteObject(surface.get());
    }
    outStream.Write32(itsVolumetric ? 1 : 0);
    if (itsVolumetric)
    {
        outStream.WriteObject(itsVolumetric.Get());
    }
    WriteHierarchy(outStream);
    outStream.WriteFloat32S(itsAmbientFraction);
}

void X3DScene::WriteHierarchy(XStream& outStream) const
{
    outStream.Write8(itsHierarchy ? 1 : 0);
    if (!itsHierarchy)
    {
        return;
    }
    using XSurfaceIterator = std::vector<std::unique_ptr<XSurface>>::const_iterator;
    std::unordered_map<const XSurface*, XSurfaceIterator> places;
    places.reserve(itsSurfaces.size());
    for (auto surface = itsSurfaces.begin(); surface != itsSurfaces.end(); ++surface)
    {
        places.emplace(surface->get(), surface);
    }

    itsHierarchy->GetBounds().WriteStream(outStream);
    const std::vector<XHierarchy::XNode>& nodes = itsHierarchy->GetNodes();
    outStream.Write32(static_cast<std::uint32_t>(nodes.size()));
    for (const XHierarchy::XNode& node : nodes)
    {
        node.box.WriteStream(outStream);
        outStream.Write32(node.jumpIndex);
        const XSurface* const surface = itsHierarchy->GetPrimitive(node);
        outStream.Write8(surface ? 1 : 0);
        std::uint32_t surfaceIndex = 0;
        if (surface)
        {
            const auto place = places.find(surface);
            const XSurfaceIterator surfSearch =
                place != places.end() ? place->second : itsSurfaces.end();
            X_ASSERT(surfSearch != itsSurfaces.end());
            if (surfSearch != itsSurfaces.end())
            {
                surfaceIndex = static_cast<std::uint32_t>(surfSearch - itsSurfaces.begin());
            }
        }
        outStream.Write32(surfaceIndex);
    }
}

void X3DScene::Read(XStream& inStream)
{
    inStream.ReadClassVersion(kClassID);
    XCamera camera;
    camera.Read(inStream);
    XRGBSpectrum background;
    background.r = inStream.ReadFloat32S();
    background.g = inStream.ReadFloat32S();
    background.b = inStream.ReadFloat32S();

    std::vector<std::unique_ptr<XLight>> lights;
    const std::uint32_t lightCount = inStream.ReadCount(1);
    lights.reserve(lightCount);
    for (std::uint32_t i = 0; i < lightCount; ++i)
    {
        std::unique_ptr<XLight> light = inStream.ReadObjectAs<XLight>();
        if (!light)
        {
            ThrowMalformed(inStream, "light " + std::to_string(i) + " is null");
        }
        lights.push_back(std::move(light));
    }

    std::vector<std::unique_ptr<XSurface>> surfaces;
    const std::uint32_t surfaceCount = inStream.ReadCount(1);
    surfaces.reserve(surfaceCount);
    for (std::uint32_t i = 0; i < surfaceCount; ++i)
    {
        std::unique_ptr<XSurface> surface = inStream.ReadObjectAs<XSurface>();
        if (!surface)
        {
            ThrowMalformed(inStream, "surface " + std::to_string(i) + " is null");
        }
        surfaces.push_back(std::move(surface));
    }

    XRef<XVolumetric> volumetric;
    const std::uint32_t volumetricPresent = inStream.Read32();
    if (volumetricPresent > 1)
    {
        ThrowMalformed(inStream, "volumetric flag " + std::to_string(volumetricPresent));
    }
    if (volumetricPresent == 1)
    {
        std::unique_ptr<XVolumetric> read = inStream.ReadObjectAs<XVolumetric>();
        if (!read)
        {
            ThrowMalformed(inStream, "the volumetric is null");
        }
        volumetric = XRef<XVolumetric>::Adopt(read.release());
    }

    // The hierarchy refers to the surfaces just read, so they take their place first.
    itsCamera = camera;
    itsBackground = background;
    itsLights = std::move(lights);
    itsHierarchy.reset();
    itsSurfaces = std::move(surfaces);
    itsVolumetric = std::move(volumetric);
    itsPrepared = false;
    ReadHierarchy(inStream);
    itsAmbientFraction = inStream.ReadFloat32S();
}

void X3DScene::ReadHierarchy(XStream& inStream)
{
    const std::uint8_t present = inStream.Read8();
    if (present > 1)
    {
        ThrowMalformed(inStream, "hierarchy flag " + std::to_string(present));
    }
    if (present == 0)
    {
        return;
    }
    XBoundingBox bounds;
    bounds.ReadStream(inStream);
    const std::uint32_t nodeCount = inStream.ReadCount(kStoredNodeSize);
    std::vector<XHierarchy::XIndexedNode> nodes(nodeCount);
    for (XHierarchy::XIndexedNode& node : nodes)
    {
        node.box.ReadStream(inStream);
        node.jumpIndex = inStream.Read32();
        const std::uint8_t hasPrimitive = inStream.Read8();
        const std::uint32_t surfaceIndex = inStream.Read32();
        if (hasPrimitive != 0)
        {
            if (surfaceIndex >= itsSurfaces.size())
            {
                ThrowMalformed(inStream, "hierarchy node names surface " +
                                             std::to_string(surfaceIndex) + " of " +
                                             std::to_string(itsSurfaces.size()));
            }
            node.primitive = itsSurfaces[surfaceIndex].get();
        }
    }
    itsHierarchy = std::make_unique<XHierarchy>(bounds, nodes);
}
