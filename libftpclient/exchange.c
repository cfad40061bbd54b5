#include "libftpclient/exchange.h"

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

static size_t reply_size_of(uint32_t command)
{
    switch (command) {
    case COMMAND_GET_STATE:
        return sizeof(state_reply_t);
    case COMMAND_CANCEL:
        return sizeof(cancel_reply_t);
    case COMMAND_GET_FILE_INFO:
        return sizeof(file_info_reply_t);
    default:
        return sizeof(reply_t);
    }
}

FTPC int ftpc_exchange_begin(ftpc_exchange_t *exchange, int watcher, uint32_t command, const void *body,
                             size_t body_size)
{
    memset(exchange, 0, sizeof *exchange);
    exchange->fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (exchange->fd == -1)
        return FTPCLIENT_ERR_SYSTEM;
    exchange->watcher = watcher;
    exchange->connected_ms = FTPC_NEVER;
    exchange->replied_ms = FTPC_NEVER;
    exchange->head.command = command;
    exchange->head.length = (uint32_t)body_size;
    exchange->body = (const uint8_t *)body;
    exchange->body_size = body_size;
    exchange->reply_size = reply_size_of(command);
    return FTPCLIENT_OK;
}

static int watch(ftpc_exchange_t *exchange, uint32_t events)
{
    if (exchange->watched_events == events)
        return FTPCLIENT_OK;
    struct epoll_event event;
    memset(&event, 0, sizeof event);
    event.events = events;
    const int operation = exchange->watched_events == 0 ? EPOLL_CTL_ADD
                          : events == 0                 ? EPOLL_CTL_DEL
                                                        : EPOLL_CTL_MOD;
    exchange->watched_events = events;
    return epoll_ctl(exchange->watcher, operation, exchange->fd, &event) == 0 ? FTPCLIENT_OK
                                                                              : FTPCLIENT_ERR_SYSTEM;
}

/* Who called listen(); 0 when this program cannot see it, as from a container. */
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
        case EAGAIN: /* the daemon's queue is full, and no event says when it is not */
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
    exchange->connected_ms = ftpc_now_ms();
    exchange->daemon = peer_of(exchange->fd);
    return FTPCLIENT_OK;
}

/* After a send or recv that moved nothing. */
static int transfer_error(ssize_t count)
{
    if (count == 0)
        return FTPCLIENT_ERR_DISCONNECTED;
    if (errno == EINTR)
        return FTPCLIENT_OK;
    if (errno == EAGAIN)
        return FTPCLIENT_PENDING;
    return errno == EPIPE || errno == ECONNRESET ? FTPCLIENT_ERR_DISCONNECTED : FTPCLIENT_ERR_SYSTEM;
}

/* Head and body lie apart but travel as one. */
static int send_request(ftpc_exchange_t *exchange)
{
    const size_t head_size = sizeof exchange->head;
    while (exchange->sent < head_size + exchange->body_size) {
        const int in_head = exchange->sent < head_size;
        const uint8_t *from = in_head ? (const uint8_t *)&exchange->head + exchange->sent
                                      : exchange->body + (exchange->sent - head_size);
        const size_t size = (in_head ? head_size : head_size + exchange->body_size) - exchange->sent;
        const ssize_t count = send(exchange->fd, from, size, MSG_NOSIGNAL);
        const int error = count > 0 ? FTPCLIENT_OK : transfer_error(count);
        if (error != FTPCLIENT_OK)
            return error;
        exchange->sent += count > 0 ? (size_t)count : 0;
    }
    return FTPCLIENT_OK;
}

static int check_head(const ftpc_exchange_t *exchange)
{
    const message_header_t *head = &exchange->reply_head;
    if (head->command == COMMAND_NONE && exchange->head.command != COMMAND_NONE)
        return FTPCLIENT_ERR_UNREAD;
    if (head->command != exchange->head.command || head->length != exchange->reply_size)
        return FTPCLIENT_ERR_PROTOCOL;
    return FTPCLIENT_OK;
}

static int receive_reply(ftpc_exchange_t *exchange)
{
    const size_t head_size = sizeof exchange->reply_head;
    while (exchange->received < head_size + exchange->reply_size) {
        const int in_head = exchange->received < head_size;
        uint8_t *to = in_head ? (uint8_t *)&exchange->reply_head + exchange->received
                              : exchange->reply + (exchange->received - head_size);
        const size_t size = (in_head ? head_size : head_size + exchange->reply_size) - exchange->received;
        const ssize_t count = recv(exchange->fd, to, size, 0);
        int error = count > 0 ? FTPCLIENT_OK : transfer_error(count);
        exchange->received += count > 0 ? (size_t)count : 0;
        if (error == FTPCLIENT_OK && in_head && exchange->received == head_size)
            error = check_head(exchange);
        if (error != FTPCLIENT_OK)
            return error;
    }
    return FTPCLIENT_OK;
}

/* Connects, sends and receives, as far as it goes; *waits_for is the event that it then waits for. */
static int advance(ftpc_exchange_t *exchange, const struct sockaddr_un *address, uint32_t *waits_for)
{
    *waits_for = 0;
    int error = exchange->connected_ms == FTPC_NEVER ? connect_to(exchange, address) : FTPCLIENT_OK;
    if (error != FTPCLIENT_OK)
        return error;
    *waits_for = EPOLLOUT;
    error = send_request(exchange);
    if (error != FTPCLIENT_OK)
        return error;
    *waits_for = EPOLLIN;
    return receive_reply(exchange);
}

FTPC int ftpc_exchange_step(ftpc_exchange_t *exchange, const struct sockaddr_un *address)
{
    uint32_t waits_for;
    int error = advance(exchange, address, &waits_for);
    if (error == FTPCLIENT_PENDING && watch(exchange, waits_for) != FTPCLIENT_OK)
        error = FTPCLIENT_ERR_SYSTEM;
    if (error == FTPCLIENT_OK)
        exchange->replied_ms = ftpc_now_ms();
    if (error != FTPCLIENT_PENDING)
        ftpc_exchange_end(exchange);
    return error;
}

/* A child process may still have the descriptor, so closing it would not end the watch. */
FTPC void ftpc_exchange_end(ftpc_exchange_t *exchange)
{
    const int kept = errno;
    if (exchange->fd != -1)
        watch(exchange, 0);
    ftpc_close(&exchange->fd);
    errno = kept;
}
