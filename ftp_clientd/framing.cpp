#include "ftp_clientd/framing.h"
#include "ftp_clientd/deadline.h"
#include "ftp_clientd/ftp_clientd_if.h"
#include "ftp_clientd/heap_block.h"
#include "strutil/log.h"

#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

static constexpr int PEEKS_WITHOUT_GAIN = 10;
static constexpr useconds_t PEEK_PAUSE_US = 100000;

static ssize_t receive_some(int fd, void *buffer, size_t size, int flags, int64_t deadline_ms)
{
    const ssize_t got = deadline_wait(fd, POLLIN, deadline_ms) ? recv(fd, buffer, size, flags) : -1;
    if (got == -1)
        log_errno("ftp_clientd_if(776)");
    return got;
}

static moved_t receive_all(int fd, void *buffer, size_t size, int flags, int64_t deadline_ms)
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
        const bool is_full = sent == -1 && (errno == EAGAIN || errno == EWOULDBLOCK);
        if (!is_full)
            return sent;
        if (!deadline_wait(fd, POLLOUT, deadline_ms))
            return -1;
    }
}

moved_t framing_send(int fd, const void *buffer, size_t size, int flags, int64_t deadline_ms)
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

// The count as callers and the log have it: after a failure one more than was asked for. It is an int there,
// so a length of 2 GiB and more shows negative.
static int count_of(const moved_t &moved, size_t size)
{
    return static_cast<int>(moved.failed ? size + 1 : moved.bytes);
}

// True when all `size` bytes went over; else that is logged under `id` as the loop named `loop` reports it.
static bool is_whole(const moved_t &moved, size_t size, const char *id, const char *loop)
{
    if (!moved.failed && moved.bytes == size)
        return true;
    log_error(id, "%s(): incomplete(%d of %d)", loop, count_of(moved, size), static_cast<int>(size));
    return false;
}

// A request that could not be read is answered like one for command 0.
static void *no_request(message_header_t *header)
{
    *header = {};
    return nullptr;
}

void *ftp_clientd_if_receive(int connection, message_header_t *header)
{
    const int64_t deadline_ms = deadline_of(connection);
    const moved_t head = receive_all(connection, header, sizeof *header, 0, deadline_ms);
    if (!is_whole(head, sizeof *header, "ftp_clientd_if(699)", "recvn"))
        return no_request(header);

    const size_t length = header->length;
    if (length == 0)
        return nullptr;
    heap_block body(malloc(length));
    if (body == nullptr) {
        log_error("ftp_clientd_if(725)", "Failed: malloc()");
        return no_request(header);
    }
    const moved_t rest = receive_all(connection, body.get(), length, 0, deadline_ms);
    if (!is_whole(rest, length, "ftp_clientd_if(737)", "recvn"))
        return no_request(header);
    return body.release();
}

int ftp_clientd_if_send(int connection, const message_header_t *header, const void *body)
{
    const int64_t deadline_ms = deadline_of(connection);
    const moved_t head = framing_send(connection, header, sizeof *header, 0, deadline_ms);
    if (!is_whole(head, sizeof *header, "ftp_clientd_if(662)", "sendn"))
        return -1;

    const size_t length = header->length;
    if (length == 0)
        return sizeof *header;
    const moved_t rest = framing_send(connection, body, length, 0, deadline_ms);
    if (!is_whole(rest, length, "ftp_clientd_if(670)", "sendn"))
        return -1;
    return static_cast<int>(length);
}

// Looks until `size` bytes are there. Each look sees them from the first on.
static int peek_all(int fd, void *buffer, size_t size, int flags, int64_t deadline_ms)
{
    ssize_t seen = 0;
    for (int same_count = 0; same_count < PEEKS_WITHOUT_GAIN;) {
        if (same_count > 0)
            usleep(PEEK_PAUSE_US);
        const ssize_t got = receive_some(fd, buffer, size, flags, deadline_ms);
        if (got <= 0)
            return count_of({0, got == -1}, size);
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
    return count_of(receive_all(fd, buffer, size, flags, deadline_ms), size);
}

int sendn(int fd, const void *buffer, int len, int flags)
{
    if (len < 1)
        return 0;
    const size_t size = static_cast<size_t>(len);
    return count_of(framing_send(fd, buffer, size, flags, deadline_of(fd)), size);
}
