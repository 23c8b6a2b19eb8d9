#include "x-platform/module/XStorableClassTable.h"

#include "host/XHostClassTable.h"
#include "x-platform/distributed/XDistributedClassTable.h"
#include "x-platform/image/XImageClassTable.h"
#include "x-platform/rendering/XSceneClassTable.h"
#include "x-platform/volume/XVolumeClassTable.h"

void XRegisterStorableClasses()
{
    XRegisterHostClasses();
    XRegisterImageClasses();
    XRegisterSceneClasses();
    XRegisterVolumeClasses();
    XRegisterDistributedClasses();
}
