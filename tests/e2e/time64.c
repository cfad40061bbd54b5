/* Preloaded with libfaketime on 32-bit machines. That changes only the calls with a 32-bit time_t; these
 * functions redirect the ones with a 64-bit time_t to them. */
#include <stdint.h>
#include <sys/time.h>
#include <time.h>

_Static_assert(sizeof(time_t) == 4, "these calls redirect to those with a 32-bit time_t");

/* The C library's layouts on little-endian machines. */
struct time64 {
    int64_t seconds;
    int32_t part; /* nanoseconds or microseconds */
    int32_t unused;
};
struct timeval64 {
    int64_t seconds;
    int64_t microseconds;
};

int __clock_gettime64(clockid_t clock, struct time64 *now);
int __gettimeofday64(struct timeval64 *now, void *zone);
int __nanosleep64(const struct time64 *pause, struct time64 *rest);

int __clock_gettime64(clockid_t clock, struct time64 *now)
{
    struct timespec told;
    const int result = clock_gettime(clock, &told);
    *now = (struct time64){told.tv_sec, (int32_t)told.tv_nsec, 0};
    return result;
}

int __gettimeofday64(struct timeval64 *now, void *zone)
{
    struct timeval told;
    const int result = gettimeofday(&told, zone);
    *now = (struct timeval64){told.tv_sec, told.tv_usec};
    return result;
}

int __nanosleep64(const struct time64 *pause, struct time64 *rest)
{
    const struct timespec asked = {(time_t)pause->seconds, pause->part};
    struct timespec left = {0, 0};
    const int result = nanosleep(&asked, &left);
    if (rest != NULL)
        *rest = (struct time64){left.tv_sec, (int32_t)left.tv_nsec, 0};
    return result;
}
