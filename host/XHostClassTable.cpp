#include "host/XHostClassTable.h"

#include "host/core/XClassRegistry.h"
#include "host/imaging/X3DRect.h"

void XRegisterHostClasses()
{
    // Host storables are added here as they appear.
    XRegisterClass<X3DRect>("X3DRect");
}
