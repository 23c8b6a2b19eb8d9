#pragma once

#include "host/core/XNetJobSharedData.h"
#include "host/core/XSharedHandle.h"
#include "x-platform/rendering/X3DScene.h"

#include <cstdint>
#include <memory>

// A frame's scene, attached once to the job queue and shared by every job of the frame. Copies
// share the scene (another reference to the same handle); a copy read from a stream holds a
// scene of its own, prepared once when it is read, so that every job of that machine renders
// from one read-only scene.
//
// Stored form: the shared-data base part, the version record 14902, the scene as an object.
class XRayTracerNetJobSharedData final : public XNetJobSharedData
{
public:
    static constexpr std::uint32_t kClassID = 14902;

    // Without a scene: the state that Read fills.
    XRayTracerNetJobSharedData() = default;
    explicit XRayTracerNetJobSharedData(XSharedHandle<X3DScene> inScene);
    XRayTracerNetJobSharedData(const XRayTracerNetJobSharedData& inData) = default;

    // A new reference to the scene; reports "itsScene" when there is none.
    XSharedHandle<X3DScene> GetScene() const;

    std::uint32_t GetClassID() const override { return kClassID; }
    std::unique_ptr<XStorable> Clone() const override;
    // The scene's estimate plus 24.
    std::uint64_t GetStreamSize() const override;
    // A null scene reads back as none; an object of another class throws XException.
    void Read(XStream& inStream) override;
    void Write(XStream& outStream) const override;

private:
    XSharedHandle<X3DScene> itsScene;
};
