#include "host/core/XClassRegistry.h"
#include "host/ui/XModuleManager.h"
#include "plugin/WVolumeRayTracerModule.h"
#include "x-platform/module/XStorableClassTable.h"

#include <dlfcn.h>

#include <memory>

namespace
{
// The module's one instance, from load to unload.
std::unique_ptr<WVolumeRayTracerModule> gModule;
} // namespace

// The load and unload entry that the host calls: reason 1 when the library is loaded, 0 before it
// is unloaded, anything else ignored; every call answers 1.
extern "C" __attribute__((visibility("default"))) int VoltraceModuleEntry(int inReason)
{
    if (inReason == 1 && !gModule)
    {
        XRegisterStorableClasses();
        gModule = std::make_unique<WVolumeRayTracerModule>();
        // The library's instance handle is its load address.
        Dl_info info{};
        if (dladdr(reinterpret_cast<void*>(&VoltraceModuleEntry), &info) != 0)
        {
            gModule->SetInstanceHandle(info.dli_fbase);
        }
        XModuleManager::GetModuleManager().SignInModule(*gModule);
    }
    else if (inReason == 0 && gModule)
    {
        // The renderer's classes are made by code in this library, which is about to go.
        XClassRegistry::Get().UnregisterRange(kModuleFirstClassID, kModuleLastClassID);
        gModule.reset();
    }
    return 1;
}
