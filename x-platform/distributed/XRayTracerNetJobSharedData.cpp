#include "x-platform/distributed/XRayTracerNetJobSharedData.h"

#include "host/core/XInternalError.h"
#include "host/core/XStream.h"

#include <utility>

X_SOURCE_NAME("x-platform/XRayTracerNetJobSharedData");

XRayTracerNetJobSharedData::XRayTracerNetJobSharedData(XSharedHandle<X3DScene> inScene)
    : itsScene(std::move(inScene))
{
}

XSharedHandle<X3DScene> XRayTracerNetJobSharedData::GetScene() const
{
    X_ASSERT(itsScene);
    return itsScene;
}

std::unique_ptr<XStorable> XRayTracerNetJobSharedData::Clone() const
{
    return std::make_unique<XRayTracerNetJobSharedData>(*this);
}

std::uint64_t XRayTracerNetJobSharedData::GetStreamSize() const
{
    return (itsScene ? itsScene->GetStreamSize() : 0) + 24;
}

void XRayTracerNetJobSharedData::Read(XStream& inStream)
{
    XNetJobSharedData::Read(inStream);
    inStream.ReadClassVersion(kClassID);
    std::unique_ptr<X3DScene> scene = inStream.ReadObjectAs<X3DScene>();
    if (scene)
    {
        // Every job of this machine renders from this one scene, so it is prepared here, once.
        scene->Prepare();
    }
    itsScene = XSharedHandle<X3DScene>(std::move(scene));
}

void XRayTracerNetJobSharedData::Write(XStream& outStream) const
{
    XNetJobSharedData::Write(outStream);
    outStream.WriteVersion(kClassID);
    outStream.WriteObject(itsScene.Get());
}
