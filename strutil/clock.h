/* The clock for waits and time limits. C11 and C++. The header depends on nothing else here, so any folder
 * may include it. */
#ifndef STRUTIL_CLOCK_H
#define STRUTIL_CLOCK_H

#include <stdint.h>
#include <time.h>

/* Milliseconds of CLOCK_MONOTONIC, which goes on when somebody sets the time of day. Rounded down. */
static inline int64_t monotonic_ms(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * INT64_C(1000) + now.tv_nsec / 1000000;
}

#endif
