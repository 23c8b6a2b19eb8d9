#include "x-platform/module/XRayTracerRendererStrategy.h"

#include "x-platform/module/XRayTracerRenderer.h"

std::unique_ptr<XBaseRenderer>
XRayTracerRendererStrategy::CreateRenderer(const std::filesystem::path& inSceneFile) const
{
    return std::make_unique<XRayTracerRenderer>(inSceneFile);
}
