#include "host/ui/WModule.h"

#include "host/core/XInternalError.h"
#include "host/ui/XModuleManager.h"

X_SOURCE_NAME("host/ui/WModule");

WModule::WModule(std::uint32_t inLowestClassID, std::uint32_t inHighestClassID)
    : itsLowestClassID(inLowestClassID), itsHighestClassID(inHighestClassID)
{
    X_ASSERT(inLowestClassID <= inHighestClassID);
    // Touching the manager here makes it outlive every module, even a module held in a static
    // object: statics are destroyed in the reverse order of their construction.
    XModuleManager::GetModuleManager();
}

WModule::~WModule()
{
    XModuleManager::GetModuleManager().SignOutModule(*this);
}

std::uint32_t WModule::GetModuleID() const
{
    return 0;
}
