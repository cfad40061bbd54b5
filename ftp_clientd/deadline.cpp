#include "ftp_clientd/deadline.h"

#include "strutil/clock.h"
#include "wire/control.h"

#include <cerrno>
#include <poll.h>

static struct {
    int connection;
    int64_t deadline_ms;
} accepted_ = {-1, 0};

void deadline_start(int connection) { accepted_ = {connection, monotonic_ms() + CONTROL_TALK_MS}; }

void deadline_end(int connection)
{
    if (connection == accepted_.connection)
        accepted_ = {-1, 0};
}

int64_t deadline_of(int fd)
{
    return fd == accepted_.connection ? accepted_.deadline_ms : monotonic_ms() + CONTROL_TALK_MS;
}

// Uses poll instead of SO_RCVTIMEO, which restarts with every byte: a client could send one byte a
// second forever.
bool deadline_wait(int fd, short events, int64_t deadline_ms)
{
    for (;;) {
        const int64_t left_ms = deadline_ms - monotonic_ms();
        if (left_ms <= 0) {
            errno = ETIMEDOUT;
            return false;
        }
        pollfd waited = {fd, events, 0};
        const int ready = poll(&waited, 1, static_cast<int>(left_ms));
        if (ready > 0)
            return true;
        if (ready == -1 && errno != EINTR) // a signal ends the daemon after this pass, not within a request
            return false;
    }
}
