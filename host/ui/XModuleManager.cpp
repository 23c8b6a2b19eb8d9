#include "host/ui/XModuleManager.h"

#include "host/core/XInternalError.h"
#include "host/ui/WModule.h"

#include <algorithm>

X_SOURCE_NAME("host/ui/XModuleManager");

namespace
{
// True when some class id lies in both ranges; an inverted range owns no id.
bool RangesOverlap(const WModule& inFirst, const WModule& inSecond)
{
    return std::max(inFirst.GetLowestClassID(), inSecond.GetLowestClassID()) <=
           std::min(inFirst.GetHighestClassID(), inSecond.GetHighestClassID());
}
} // namespace

XModuleManager& XModuleManager::GetModuleManager()
{
    static XModuleManager manager;
    return manager;
}

void XModuleManager::SignInModule(WModule& inModule)
{
    bool overlapsSignedInModule = false;
    {
        const std::lock_guard lock(itsMutex);
        if (std::find(itsModules.begin(), itsModules.end(), &inModule) != itsModules.end())
        {
            return;
        }
        overlapsSignedInModule = std::any_of(itsModules.begin(), itsModules.end(),
                                             [&](const WModule* inSignedIn)
                                             { return RangesOverlap(*inSignedIn, inModule); });
        itsModules.push_back(&inModule);
    }
    // Reported outside the lock: the session log's sink may call back into the manager.
    X_ASSERT(!overlapsSignedInModule);
}

void XModuleManager::SignOutModule(const WModule& inModule)
{
    const std::lock_guard lock(itsMutex);
    std::erase(itsModules, &inModule);
}

std::vector<WModule*> XModuleManager::GetModules() const
{
    const std::lock_guard lock(itsMutex);
    return itsModules;
}

WModule* XModuleManager::FindModule(std::uint32_t inModuleID) const
{
    const std::lock_guard lock(itsMutex);
    const auto found = std::find_if(itsModules.begin(), itsModules.end(),
                                    [&](const WModule* inModule)
                                    { return inModule->GetModuleID() == inModuleID; });
    return found == itsModules.end() ? nullptr : *found;
}
