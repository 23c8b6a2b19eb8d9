#include "host/XHostClassTable.h"

#include "host/core/XClassRegistry.h"

void XRegisterHostClasses()
{
    // Host storables are added here as they appear.
}
