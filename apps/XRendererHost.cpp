#include "apps/XRendererHost.h"

#include "host/core/XException.h"
#include "host/ui/XBaseRenderer.h"
#include "host/ui/XModuleLibrary.h"
#include "host/ui/XRendererManager.h"
#include "host/ui/XRendererStrategy.h"

XRendererHost::XRendererHost(const std::filesystem::path& inLibrary)
{
    itsLibrary = std::make_unique<XModuleLibrary>(XModuleLibrary::FindLibrary(inLibrary));
    XRendererManager& manager = XRendererManager::sRendererManager();
    manager.CollectRenderers();
    itsStrategy = manager.FindRenderer(kRendererName);
    if (itsStrategy == nullptr)
    {
        manager.ClearRenderers();
        throw XException(XException::kIOError, "the module " + itsLibrary->GetPath().string() +
                                                   " offers no renderer named \"" + kRendererName +
                                                   "\"");
    }
}

XRendererHost::~XRendererHost()
{
    // The strategies' code lives in the library.
    XRendererManager::sRendererManager().ClearRenderers();
}

std::unique_ptr<XBaseRenderer>
XRendererHost::CreateRenderer(const std::filesystem::path& inSceneFile) const
{
    return itsStrategy->CreateRenderer(inSceneFile);
}
