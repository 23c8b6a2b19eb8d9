#include "x-platform/distributed/XDistributedClassTable.h"

#include "host/core/XClassRegistry.h"
#include "x-platform/distributed/XRayTracerNetJobSharedData.h"
#include "x-platform/distributed/XRenderNetJob.h"
#include "x-platform/distributed/XRenderNetJobResult.h"

void XRegisterDistributedClasses()
{
    XRegisterClass<XRenderNetJob>("XRenderNetJob", XNetJob::kBaseClassID);
    XRegisterClass<XRenderNetJobResult>("XRenderNetJobResult", XNetJobResult::kBaseClassID);
    XRegisterClass<XRayTracerNetJobSharedData>("XRayTracerNetJobSharedData",
                                               XNetJobSharedData::kBaseClassID);
}
