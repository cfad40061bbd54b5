// The clock for waits and time limits. The header depends on nothing else here, so any folder may include it.
#pragma once

#include <cstdint>
#include <ctime>

// Milliseconds of CLOCK_MONOTONIC, which goes on when somebody sets the time of day. Rounded down.
inline int64_t monotonic_ms()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}
