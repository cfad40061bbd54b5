#include "ftp_clientd/deadline.h"
#include "ftp_clientd/ftp_clientd_if.h"
#include "ftp_clientd/transfer_all.h"
#include "strutil/guards.h"
#include "strutil/log.h"

#include <algorithm>

// Only this much of a body is kept, so that a client cannot exhaust memory.
constexpr size_t KEPT_BYTES = size_t{1} << 20;
constexpr size_t DROPPED_AT_ONCE_BYTES = 65536;

// True when all `size` bytes were transferred; otherwise logs under `id` in the words of `loop`.
static bool is_whole(const moved_t &moved, size_t size, const char *id, const char *loop)
{
    if (moved.bytes == size)
        return true;
    log_error(id, "%s(): incomplete(%d of %d)", loop, moved_count(moved, size), static_cast<int>(size));
    return false;
}

// An unreadable request is answered as command 0.
static void *no_request(message_header_t *header)
{
    *header = {};
    return nullptr;
}

// Receives `length` bytes. All those beyond the kept part go to the same place behind it; the rest of the
// block is never touched and so costs no memory.
static moved_t receive_body(int connection, char *body, size_t length, int64_t deadline_ms)
{
    moved_t moved = receive_all(connection, body, std::min(length, KEPT_BYTES), 0, deadline_ms);
    if (moved.bytes < KEPT_BYTES)
        return moved;
    while (moved.bytes < length) {
        const size_t size = std::min(length - moved.bytes, DROPPED_AT_ONCE_BYTES);
        const moved_t dropped = receive_all(connection, body + KEPT_BYTES, size, 0, deadline_ms);
        moved.bytes += dropped.bytes;
        moved.failed = dropped.failed;
        if (dropped.bytes < size)
            break;
    }
    return moved;
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
    if (log_if_null("ftp_clientd_if(725)", "Failed: malloc()", body.get()))
        return no_request(header);
    const moved_t rest = receive_body(connection, static_cast<char *>(body.get()), length, deadline_ms);
    if (!is_whole(rest, length, "ftp_clientd_if(737)", "recvn"))
        return no_request(header);
    return body.release();
}

int ftp_clientd_if_send(int connection, const message_header_t *header, const void *body)
{
    const int64_t deadline_ms = deadline_of(connection);
    const moved_t head = send_all(connection, header, sizeof *header, 0, deadline_ms);
    if (!is_whole(head, sizeof *header, "ftp_clientd_if(662)", "sendn"))
        return -1;

    const size_t length = header->length;
    if (length == 0)
        return sizeof *header;
    const moved_t rest = send_all(connection, body, length, 0, deadline_ms);
    if (!is_whole(rest, length, "ftp_clientd_if(670)", "sendn"))
        return -1;
    return static_cast<int>(length);
}
