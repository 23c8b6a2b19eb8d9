#pragma once

#include <cstdint>

// The module's storable class identifiers lie in this range.
inline constexpr std::uint32_t kModuleFirstClassID = 14900;
inline constexpr std::uint32_t kModuleLastClassID = 14999;

// Registers every storable class of the host layer and of the renderer with the class registry,
// so that objects can be re-created from a stream. The module, the command, the worker and the
// tests all make this one call; calling it again is harmless.
void XRegisterStorableClasses();
