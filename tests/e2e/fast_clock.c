/* Preloaded in place of libfaketime where time_t has 32 bits (Debian 11), because that loses whole multiples of 2^32
 * nanoseconds there. Understands only FAKETIME="+0 xSPEED"; aborts the program otherwise. */
#include <poll.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

_Static_assert(sizeof(time_t) == 4, "with 64 bits, libfaketime and time64.c serve");

static const int64_t SECOND_NS = 1000000000;
static int64_t start_ns[2]; /* of CLOCK_REALTIME and CLOCK_MONOTONIC */
static double speed = 1;

static int64_t nanoseconds(const struct timespec *time) { return time->tv_sec * SECOND_NS + time->tv_nsec; }

static struct timespec parts(int64_t ns)
{
    return (struct timespec){(time_t)(ns / SECOND_NS), (long)(ns % SECOND_NS)};
}

static int64_t faster(int64_t ns) { return (int64_t)((double)ns * speed); }

static int64_t slower(int64_t ns) { return (int64_t)((double)ns / speed); }

__attribute__((constructor)) static void begin(void)
{
    struct timespec now;
    const char *told = getenv("FAKETIME");
    for (clockid_t clock = CLOCK_REALTIME; clock <= CLOCK_MONOTONIC; clock++)
        if (syscall(SYS_clock_gettime, clock, &now) == 0)
            start_ns[clock] = nanoseconds(&now);
    if (told == NULL || sscanf(told, "+0 x%lf", &speed) != 1)
        abort();
}

int clock_gettime(clockid_t clock, struct timespec *now)
{
    if (syscall(SYS_clock_gettime, clock, now) != 0)
        return -1;
    if (clock == CLOCK_REALTIME || clock == CLOCK_MONOTONIC)
        *now = parts(start_ns[clock] + faster(nanoseconds(now) - start_ns[clock]));
    return 0;
}

int gettimeofday(struct timeval *restrict now, void *restrict zone)
{
    (void)zone;
    struct timespec precise;
    clock_gettime(CLOCK_REALTIME, &precise);
    *now = (struct timeval){precise.tv_sec, precise.tv_nsec / 1000};
    return 0;
}

int nanosleep(const struct timespec *pause, struct timespec *rest)
{
    const struct timespec shorter = parts(slower(nanoseconds(pause)));
    const int result = (int)syscall(SYS_nanosleep, &shorter, rest);
    if (result != 0 && rest != NULL)
        *rest = parts(faster(nanoseconds(rest)));
    return result;
}

int usleep(useconds_t pause_us)
{
    const struct timespec pause = parts((int64_t)pause_us * 1000);
    return nanosleep(&pause, NULL);
}

unsigned sleep(unsigned pause_s)
{
    const struct timespec pause = {(time_t)pause_s, 0};
    nanosleep(&pause, NULL);
    return 0;
}

int poll(struct pollfd *fds, nfds_t count, int timeout_ms)
{
    const int shorter_ms = timeout_ms > 0 ? (int)slower(timeout_ms) + 1 : timeout_ms;
    return (int)syscall(SYS_poll, fds, count, shorter_ms);
}
