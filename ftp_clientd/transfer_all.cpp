#include "ftp_clientd/transfer_all.h"
#include "ftp_clientd/deadline.h"
#include "ftp_clientd/ftp_clientd_if.h"
#include "strutil/log.h"

#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

constexpr int PEEKS_WITHOUT_GAIN = 10;
constexpr useconds_t PEEK_PAUSE_US = 100000;

static ssize_t receive_some(int fd, void *buffer, size_t size, int flags, int64_t deadline_ms)
{
    const ssize_t got = deadline_wait(fd, POLLIN, deadline_ms) ? recv(fd, buffer, size, flags) : -1;
    if (got == -1)
        log_errno("ftp_clientd_if(776)");
    return got;
}

moved_t receive_all(int fd, void *buffer, size_t size, int flags, int64_t deadline_ms)
{
    size_t received = 0;
    while (received < size) {
        const ssize_t got =
            receive_some(fd, static_cast<char *>(buffer) + received, size - received, flags, deadline_ms);
        if (got <= 0)
            return {received, got == -1};
        received += static_cast<size_t>(got);
    }
    return {received, false};
}

static ssize_t send_some(int fd, const void *buffer, size_t size, int flags, int64_t deadline_ms)
{
    for (;;) {
        const ssize_t sent = send(fd, buffer, size, flags | MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent != -1 || errno != EAGAIN)
            return sent;
        if (!deadline_wait(fd, POLLOUT, deadline_ms))
            return -1;
    }
}

moved_t send_all(int fd, const void *buffer, size_t size, int flags, int64_t deadline_ms)
{
    size_t sent = 0;
    while (sent < size) {
        const ssize_t went =
            send_some(fd, static_cast<const char *>(buffer) + sent, size - sent, flags, deadline_ms);
        if (went == -1)
            log_errno("ftp_clientd_if(843)");
        if (went == 0)
            log_error("ftp_clientd_if(849)", "Failed: Could not send.");
        if (went <= 0)
            return {sent, went == -1};
        sent += static_cast<size_t>(went);
    }
    return {sent, false};
}

int moved_count(const moved_t &moved, size_t size)
{
    return static_cast<int>(moved.failed ? size + 1 : moved.bytes);
}

// Peeks until `size` bytes have arrived. Each peek starts at the first byte.
static int peek_all(int fd, void *buffer, size_t size, int flags, int64_t deadline_ms)
{
    ssize_t seen = 0;
    for (int same_count = 0; same_count < PEEKS_WITHOUT_GAIN;) {
        if (same_count > 0)
            usleep(PEEK_PAUSE_US);
        const ssize_t got = receive_some(fd, buffer, size, flags, deadline_ms);
        if (got <= 0)
            return moved_count({0, got == -1}, size);
        if (static_cast<size_t>(got) == size)
            return static_cast<int>(got);
        same_count = got == seen ? same_count + 1 : 1;
        seen = got;
    }
    log_error("ftp_clientd_if(799)", "recv(MSG_PEEK): incomplete(%d of %d)", static_cast<int>(seen),
              static_cast<int>(size));
    return static_cast<int>(seen);
}

int recvn(int fd, void *buffer, int len, int flags)
{
    if (len < 1)
        return 0;
    const size_t size = static_cast<size_t>(len);
    const int64_t deadline_ms = deadline_of(fd);
    if ((flags & MSG_PEEK) != 0)
        return peek_all(fd, buffer, size, flags, deadline_ms);
    return moved_count(receive_all(fd, buffer, size, flags, deadline_ms), size);
}

int sendn(int fd, const void *buffer, int len, int flags)
{
    if (len < 1)
        return 0;
    const size_t size = static_cast<size_t>(len);
    return moved_count(send_all(fd, buffer, size, flags, deadline_of(fd)), size);
}
