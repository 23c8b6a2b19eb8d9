#include "host/core/XTime.h"

#include <chrono>

std::int64_t GetMicroSecondTime()
{
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}
