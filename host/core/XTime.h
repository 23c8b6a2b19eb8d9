#pragma once

#include <cstdint>

// Microseconds on a monotonic clock; only differences are meaningful.
std::int64_t GetMicroSecondTime();
