#pragma once

#include <cstdint>

// The identity of the test module library (XTestModuleLibrary.cpp), shared with the tests that
// load it.
inline constexpr std::uint32_t kTestModuleID = 0x7E57AB1E;
inline constexpr std::uint32_t kTestModuleLowestClassID = 61000;
inline constexpr std::uint32_t kTestModuleHighestClassID = 61099;
inline constexpr const char* kTestModuleRendererName = "Test Module Renderer";
