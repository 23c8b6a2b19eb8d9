#pragma once

// Registers the storable classes of the distributed layer with the class registry, by name and
// id: XRenderNetJob 14900, XRenderNetJobResult 14901, XRayTracerNetJobSharedData 14902. Calling
// this again is harmless.
void XRegisterDistributedClasses();
