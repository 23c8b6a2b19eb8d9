#pragma once

// Registers the storable classes of the volume and scene layers (surfaces, geometries, materials,
// textures, lights and the scene) with the class registry by name and identifier. Calling it
// again is harmless.
void XRegisterSceneClasses();
