#pragma once

#include "host/ui/XRendererStrategy.h"

// The renderer strategy that the module registers with the host: "3D Ray Tracer", kind 9,
// creating an XRayTracerRenderer for a scene file.
class XRayTracerRendererStrategy final : public XRendererStrategy
{
public:
    static constexpr std::int32_t kRendererKind = 9;
    static constexpr const char* kName = "3D Ray Tracer";

    std::int32_t GetRendererKind() const override { return kRendererKind; }
    std::string GetName() const override { return kName; }
    std::unique_ptr<XBaseRenderer>
    CreateRenderer(const std::filesystem::path& inSceneFile) const override;
    // True when the request's upper bound exceeds its lower bound by more than 1, in unsigned
    // 32-bit arithmetic (so an upper bound below the lower one wraps around and passes).
    bool CanRender(const XRendererRequest& inRequest) const override
    {
        return inRequest.upper - inRequest.lower > 1u;
    }
};
