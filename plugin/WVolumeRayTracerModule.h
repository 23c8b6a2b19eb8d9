#pragma once

#include "host/core/XListener.h"
#include "host/ui/WModule.h"

#include <cstdint>

// The ray tracer as a module of the host: it reserves the storable class ids 14900 to 14999 and
// answers the renderer manager's call for renderers by registering an
// XRayTracerRendererStrategy, once per call.
class WVolumeRayTracerModule final : public WModule, public XListener
{
public:
    static constexpr std::uint32_t kModuleID = 1400206262; // 0x537573B6

    // Listens to the process's renderer manager.
    WVolumeRayTracerModule();
    ~WVolumeRayTracerModule() override;

    std::uint32_t GetModuleID() const override { return kModuleID; }
    void HandleMessage(const XMessage& inMessage) override;
};
