#pragma once

// Host storable class identifiers (below the module's range).
#include <cstdint>

inline constexpr std::uint32_t kX3DRectClassID = 1100;
inline constexpr std::uint32_t kXNetJobClassID = 1200;
inline constexpr std::uint32_t kXNetJobResultClassID = 1202;
inline constexpr std::uint32_t kXNetJobSharedDataClassID = 1203;

// Registers the host layer's storable classes with the class registry.
void XRegisterHostClasses();
