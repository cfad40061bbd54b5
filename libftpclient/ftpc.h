/* Shared by all source files of the library: linkage, time and small helpers. */
#ifndef FTPC_H
#define FTPC_H

#include "libftpclient/ftpclient.h"
#include "strutil/clock.h"

#include <assert.h>
#include <errno.h>
#include <limits.h>
#include <stdint.h>
#include <string.h>
#include <unistd.h>

/* Linkage of functions used across files of the library: hidden from programs; static in the
 * single-file build. */
#ifndef FTPC
#define FTPC __attribute__((visibility("hidden")))
#endif

/* The sizes of the output structures in the first version of the header; they only grow at the end. */
enum { FTPC_STATE_SIZE_AT_FIRST = 64, FTPC_OUTCOME_SIZE_AT_FIRST = 152, FTPC_NOTICE_SIZE_AT_FIRST = 56 };
static_assert(sizeof(ftpclient_progress_t) == 48, "part of the binary interface: never grows");
static_assert(sizeof(ftpclient_file_info_t) == 56, "part of the binary interface: never grows");
static_assert(sizeof(ftpclient_state_t) == FTPC_STATE_SIZE_AT_FIRST,
              "grow it only by new members at its end");
static_assert(sizeof(ftpclient_outcome_t) == FTPC_OUTCOME_SIZE_AT_FIRST, "grow it only at its end");
static_assert(sizeof(ftpclient_notice_t) == FTPC_NOTICE_SIZE_AT_FIRST, "grow it only at its end");

/* Points in time are those of monotonic_ms(); none is negative, except NEVER. */
#define FTPC_NEVER INT64_C(-1)

/* The point in time at which a wait of `timeout_ms` that begins now is over; NEVER for a negative timeout.
 * One millisecond more, because monotonic_ms() rounds down. */
static inline int64_t ftpc_end_after(int timeout_ms)
{
    return timeout_ms < 0 ? FTPC_NEVER : monotonic_ms() + timeout_ms + (timeout_ms > 0 ? 1 : 0);
}

/* Milliseconds left until `end_ms`: 0 once it has come, -1 (for poll(2): no limit) for NEVER. */
static inline int ftpc_left_until(int64_t end_ms)
{
    const int64_t left_ms = end_ms - monotonic_ms();
    return end_ms == FTPC_NEVER ? -1 : left_ms > INT_MAX ? INT_MAX : left_ms > 0 ? (int)left_ms : 0;
}

/* 1 once the time `end_ms` has come, otherwise 0; always 0 for NEVER. */
static inline int ftpc_is_over(int64_t end_ms) { return end_ms != FTPC_NEVER && monotonic_ms() >= end_ms; }

/* The earlier of two points in time; NEVER counts as the latest. */
static inline int64_t ftpc_earlier(int64_t a, int64_t b)
{
    if (a == FTPC_NEVER || b == FTPC_NEVER)
        return a == FTPC_NEVER ? b : a;
    return a < b ? a : b;
}

/* Closes the descriptor unless it is -1, sets it to -1, and preserves errno. */
static inline void ftpc_close(int *fd)
{
    const int kept = errno;
    if (*fd != -1)
        close(*fd);
    *fd = -1;
    errno = kept;
}

/* Fills a caller's structure of `out_size` bytes, whose header may be older or newer than this library:
 * members that the caller does not know are left out, those that the library does not know become 0. */
static inline void ftpc_give(void *out, size_t out_size, const void *record, size_t record_size)
{
    memset(out, 0, out_size);
    memcpy(out, record, out_size < record_size ? out_size : record_size);
}

#endif
