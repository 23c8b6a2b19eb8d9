#pragma once

// The storable classes that render jobs carry, registered once per test program.

#include "host/XHostClassTable.h"
#include "x-platform/distributed/XDistributedClassTable.h"
#include "x-platform/image/XImageClassTable.h"
#include "x-platform/rendering/XSceneClassTable.h"
#include "x-platform/volume/XVolumeClassTable.h"

inline void XRegisterRenderClasses()
{
    XRegisterHostClasses();
    XRegisterImageClasses();
    XRegisterSceneClasses();
    XRegisterVolumeClasses();
    XRegisterDistributedClasses();
}
