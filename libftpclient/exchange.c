#include "libftpclient/exchange.h"

#include "wire/control.h"

#include <sys/socket.h>

FTPC int ftpc_set_address(struct sockaddr_un *address, const char *path)
{
    memset(address, 0, sizeof *address);
    address->sun_family = AF_UNIX;
    const size_t length = strlen(path);
    if (length >= sizeof address->sun_path)
        return FTPCLIENT_ERR_TOO_LONG;
    memcpy(address->sun_path, path, length);
    return FTPCLIENT_OK;
}

FTPC int ftpc_look_after(int epoll, int operation, int fd, uint32_t events)
{
    struct epoll_event event;
    memset(&event, 0, sizeof event);
    event.events = events;
    return epoll_ctl(epoll, operation, fd, &event);
}

static int watch(const ftpc_batch_t *batch, ftpc_exchange_t *exchange, uint32_t events)
{
    if (exchange->watched_events == events)
        return FTPCLIENT_OK;
    const int operation = exchange->watched_events == 0 ? EPOLL_CTL_ADD
                          : events == 0                 ? EPOLL_CTL_DEL
                                                        : EPOLL_CTL_MOD;
    exchange->watched_events = events;
    return ftpc_look_after(batch->watcher, operation, exchange->fd, events) == 0 ? FTPCLIENT_OK
                                                                                 : FTPCLIENT_ERR_SYSTEM;
}

/* The process that called listen(); 0 when it is not visible, as from a container. */
static pid_t peer_of(int fd)
{
    struct ucred peer;
    socklen_t size = sizeof peer;
    return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 ? peer.pid : 0;
}

static int connect_to(ftpc_exchange_t *exchange, const struct sockaddr_un *address)
{
    while (connect(exchange->fd, (const struct sockaddr *)address, sizeof *address) == -1) {
        switch (errno) {
        case EINTR:
            continue;
        case EAGAIN: /* the daemon's queue is full; no event reports when it has room */
            return FTPCLIENT_PENDING;
        case ENOENT:
        case ENOTDIR:
        case ECONNREFUSED:
            return FTPCLIENT_ERR_NO_DAEMON;
        case EACCES:
        case EPERM:
            return FTPCLIENT_ERR_DENIED;
        default:
            return FTPCLIENT_ERR_SYSTEM;
        }
    }
    exchange->connected_ms = monotonic_ms();
    exchange->daemon = peer_of(exchange->fd);
    return FTPCLIENT_OK;
}

FTPC int ftpc_take_count(ssize_t count, size_t *done)
{
    if (count > 0)
        *done += (size_t)count;
    if (count > 0 || (count == -1 && errno == EINTR))
        return FTPCLIENT_OK;
    if (count == -1 && errno == EAGAIN)
        return FTPCLIENT_PENDING;
    return count == 0 || errno == EPIPE || errno == ECONNRESET ? FTPCLIENT_ERR_DISCONNECTED
                                                               : FTPCLIENT_ERR_SYSTEM;
}

/* Sends the head, then the body; `sent` counts the bytes of both. */
static int send_request(ftpc_exchange_t *exchange)
{
    const size_t head_size = sizeof exchange->head;
    const size_t size = head_size + exchange->head.length;
    while (exchange->sent < size) {
        const int in_head = exchange->sent < head_size;
        const uint8_t *from = in_head ? (const uint8_t *)&exchange->head + exchange->sent
                                      : exchange->body + (exchange->sent - head_size);
        const size_t left = (in_head ? head_size : size) - exchange->sent;
        const int error = ftpc_take_count(send(exchange->fd, from, left, MSG_NOSIGNAL), &exchange->sent);
        if (error != FTPCLIENT_OK)
            return error;
    }
    return FTPCLIENT_OK;
}

static int check_head(const ftpc_exchange_t *exchange)
{
    if (exchange->received < sizeof exchange->reply.head)
        return FTPCLIENT_OK;
    const message_header_t *head = &exchange->reply.head;
    if (head->command == COMMAND_NONE && exchange->head.command != COMMAND_NONE)
        return FTPCLIENT_ERR_UNREAD;
    if (head->command != exchange->head.command || head->length != control_reply_size(head->command))
        return FTPCLIENT_ERR_PROTOCOL;
    return FTPCLIENT_OK;
}

static int receive_reply(ftpc_exchange_t *exchange)
{
    const size_t size = sizeof exchange->reply.head + control_reply_size(exchange->head.command);
    while (exchange->received < size) {
        uint8_t *to = (uint8_t *)&exchange->reply + exchange->received;
        int error =
            ftpc_take_count(recv(exchange->fd, to, size - exchange->received, 0), &exchange->received);
        if (error != FTPCLIENT_OK)
            return error;
        error = check_head(exchange);
        if (error != FTPCLIENT_OK)
            return error;
    }
    return FTPCLIENT_OK;
}

/* Connects, sends and receives, as far as possible without waiting. */
static int advance(ftpc_exchange_t *exchange, const struct sockaddr_un *address)
{
    int error = exchange->connected_ms == FTPC_NEVER ? connect_to(exchange, address) : FTPCLIENT_OK;
    if (error != FTPCLIENT_OK)
        return error;
    error = send_request(exchange);
    if (error != FTPCLIENT_OK)
        return error;
    return receive_reply(exchange);
}

static uint32_t awaited_event(const ftpc_exchange_t *exchange)
{
    if (exchange->connected_ms == FTPC_NEVER)
        return 0;
    return exchange->sent < sizeof exchange->head + exchange->head.length ? EPOLLOUT : EPOLLIN;
}

/* Removes the descriptor from the watcher first: if a child process has a copy of it, closing it
 * here does not. */
static void end_exchange(const ftpc_batch_t *batch, ftpc_exchange_t *exchange)
{
    const int kept = errno;
    if (exchange->fd != -1)
        watch(batch, exchange, 0);
    ftpc_close(&exchange->fd);
    errno = kept;
}

/* FTPCLIENT_PENDING, FTPCLIENT_OK when the reply is complete, or the error that ended the exchange. */
static int step_exchange(const ftpc_batch_t *batch, ftpc_exchange_t *exchange,
                         const struct sockaddr_un *address)
{
    if (exchange->replied_ms != FTPC_NEVER)
        return FTPCLIENT_OK;
    int error = advance(exchange, address);
    if (error == FTPCLIENT_PENDING && watch(batch, exchange, awaited_event(exchange)) != FTPCLIENT_OK)
        error = FTPCLIENT_ERR_SYSTEM;
    if (error == FTPCLIENT_OK)
        exchange->replied_ms = monotonic_ms();
    if (error != FTPCLIENT_PENDING)
        end_exchange(batch, exchange);
    return error;
}

FTPC void ftpc_batch_clear(ftpc_batch_t *batch)
{
    memset(batch, 0, sizeof *batch);
    for (int i = 0; i < FTPC_BATCH_MAX; i++)
        batch->exchanges[i].fd = -1;
}

FTPC void ftpc_batch_add(ftpc_batch_t *batch, uint32_t command, const void *body, size_t body_size)
{
    if (batch->error != FTPCLIENT_OK)
        return;
    ftpc_exchange_t *exchange = &batch->exchanges[batch->count];
    memset(exchange, 0, sizeof *exchange);
    exchange->fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    exchange->connected_ms = FTPC_NEVER;
    exchange->replied_ms = FTPC_NEVER;
    exchange->head.command = command;
    exchange->head.length = (uint32_t)body_size;
    exchange->body = (const uint8_t *)body;
    if (exchange->fd == -1)
        batch->error = FTPCLIENT_ERR_SYSTEM;
    else
        batch->count++;
}

FTPC int ftpc_batch_step(ftpc_batch_t *batch, const struct sockaddr_un *address)
{
    int result = batch->error;
    for (int i = 0; i < batch->count && (result == FTPCLIENT_OK || result == FTPCLIENT_PENDING); i++) {
        const int error = step_exchange(batch, &batch->exchanges[i], address);
        if (error != FTPCLIENT_OK)
            result = error;
        if (batch->exchanges[i].connected_ms == FTPC_NEVER)
            break; /* the later requests must be queued after it */
    }
    return result;
}

/* Requests connect in their order, so the last one shows whether all have. */
FTPC int ftpc_batch_cannot_connect(const ftpc_batch_t *batch)
{
    return batch->count > 0 && batch->exchanges[batch->count - 1].connected_ms == FTPC_NEVER;
}

FTPC int ftpc_batch_is_adjacent(const ftpc_batch_t *batch, int index)
{
    enum { TOGETHER_MS = 5 };
    return index > 0 &&
           batch->exchanges[index].connected_ms - batch->exchanges[index - 1].connected_ms < TOGETHER_MS;
}

FTPC int64_t ftpc_batch_replied_ms(const ftpc_batch_t *batch, int index)
{
    int64_t latest_ms = batch->exchanges[index].replied_ms;
    for (int i = index + 1; i < batch->count; i++)
        latest_ms =
            ftpc_earlier(latest_ms, batch->exchanges[i].replied_ms - (int64_t)(i - index) * CONTROL_PASS_MS);
    const int64_t queued_ms = batch->exchanges[index].connected_ms;
    return latest_ms > queued_ms ? latest_ms : queued_ms;
}

FTPC int64_t ftpc_batch_ended_ms(const ftpc_batch_t *batch)
{
    const int last = batch->count - 1;
    int64_t ended_ms = batch->exchanges[last].replied_ms;
    for (int i = 0; i < last; i++)
        ended_ms =
            ftpc_earlier(ended_ms, batch->exchanges[i].replied_ms + (int64_t)(last - i) * CONTROL_PASS_MS);
    return ended_ms;
}

FTPC void ftpc_batch_end(ftpc_batch_t *batch)
{
    for (int i = 0; i < FTPC_BATCH_MAX; i++)
        end_exchange(batch, &batch->exchanges[i]);
    batch->count = 0;
    batch->error = FTPCLIENT_OK;
}
