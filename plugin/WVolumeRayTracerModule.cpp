#include "plugin/WVolumeRayTracerModule.h"

#include "host/ui/XRendererManager.h"
#include "x-platform/module/XRayTracerRendererStrategy.h"
#include "x-platform/module/XStorableClassTable.h"

#include <typeinfo>

WVolumeRayTracerModule::WVolumeRayTracerModule() : WModule(kModuleFirstClassID, kModuleLastClassID)
{
    Subscribe(XRendererManager::sRendererManager());
}

WVolumeRayTracerModule::~WVolumeRayTracerModule()
{
    UnsubscribeAll();
}

void WVolumeRayTracerModule::HandleMessage(const XMessage& inMessage)
{
    if (typeid(inMessage) == typeid(XRendererManager::XRegisterRendererMessage))
    {
        XRendererManager::sRendererManager().RegisterRendererStrategy(
            std::make_unique<XRayTracerRendererStrategy>());
    }
}
