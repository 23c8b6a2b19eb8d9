#include "x-platform/module/XStorableClassTable.h"

#include "host/XHostClassTable.h"

void XRegisterStorableClasses()
{
    XRegisterHostClasses();
}
