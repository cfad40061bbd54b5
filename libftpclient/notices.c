/* The receiver of notices, in place of the network manager. */
#include "libftpclient/exchange.h"
#include "libftpclient/records.h"

#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/timerfd.h>

enum {
    SENDER_S = 10, /* for one notice */
    NOTICE_BACKLOG = 16
};

struct ftpclient_notices {
    struct sockaddr_un address;
    struct stat socket; /* the file that bind created */
    int epoll;
    int listening;
    int timer;      /* runs while there is a sender */
    int connection; /* the sender, or -1 */
    size_t received;
    uint8_t bytes[sizeof(notice_header_t) + NOTICE_BODY_MAX];
};

/* 1 for a socket without a listener. Connecting a datagram socket disturbs no listener: it fails with
 * EPROTOTYPE where there is one, with ECONNREFUSED otherwise. */
static int is_abandoned(const struct sockaddr_un *address)
{
    struct stat status;
    if (lstat(address->sun_path, &status) == -1 || !S_ISSOCK(status.st_mode))
        return 0;
    int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int refused =
        connect(fd, (const struct sockaddr *)address, sizeof *address) == -1 && errno == ECONNREFUSED;
    ftpc_close(&fd);
    return refused;
}

static int listen_at(ftpclient_notices_t *notices)
{
    const struct sockaddr_un *address = &notices->address;
    if (is_abandoned(address))
        unlink(address->sun_path);
    if (bind(notices->listening, (const struct sockaddr *)address, sizeof *address) == -1)
        return errno == EADDRINUSE ? FTPCLIENT_ERR_IN_USE : FTPCLIENT_ERR_SYSTEM;
    if (lstat(address->sun_path, &notices->socket) == -1 ||
        listen(notices->listening, NOTICE_BACKLOG) == -1 ||
        ftpc_look_after(notices->epoll, EPOLL_CTL_ADD, notices->listening, EPOLLIN) == -1 ||
        ftpc_look_after(notices->epoll, EPOLL_CTL_ADD, notices->timer, EPOLLIN) == -1)
        return FTPCLIENT_ERR_SYSTEM;
    return FTPCLIENT_OK;
}

/* After a failure, ftpclient_notices_close() closes what is open. */
static int open_all(ftpclient_notices_t *notices, const char *socket_path)
{
    notices->connection = -1;
    notices->epoll = epoll_create1(EPOLL_CLOEXEC);
    notices->listening = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    notices->timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    const int error = ftpc_set_address(&notices->address, socket_path);
    if (error != FTPCLIENT_OK)
        return error;
    if (notices->epoll == -1 || notices->listening == -1 || notices->timer == -1)
        return FTPCLIENT_ERR_SYSTEM;
    return listen_at(notices);
}

int ftpclient_notices_open(const char *socket_path, ftpclient_notices_t **notices)
{
    if (!notices)
        return FTPCLIENT_ERR_ARGUMENT;
    *notices = NULL;
    ftpclient_notices_t *made = (ftpclient_notices_t *)calloc(1, sizeof *made);
    if (!made)
        return FTPCLIENT_ERR_NO_MEMORY;
    const int error = open_all(made, socket_path ? socket_path : FTPCLIENT_NOTICE_SOCKET);
    if (error != FTPCLIENT_OK) {
        ftpclient_notices_close(made);
        return error;
    }
    *notices = made;
    return FTPCLIENT_OK;
}

int ftpclient_notices_fd(const ftpclient_notices_t *notices) { return notices ? notices->epoll : -1; }

static void limit_sender(const ftpclient_notices_t *notices, int seconds)
{
    const struct itimerspec limit = {{0, 0}, {seconds, 0}}; /* 0 stops the timer */
    timerfd_settime(notices->timer, 0, &limit, NULL);
}

static void leave_sender(ftpclient_notices_t *notices)
{
    const int kept = errno;
    ftpc_look_after(notices->epoll, EPOLL_CTL_DEL, notices->connection, 0);
    ftpc_close(&notices->connection);
    limit_sender(notices, 0);
    ftpc_look_after(notices->epoll, EPOLL_CTL_MOD, notices->listening, EPOLLIN);
    errno = kept;
}

/* Takes the next sender, one at a time: further ones wait in the queue. */
static int take_sender(ftpclient_notices_t *notices)
{
    notices->connection = accept4(notices->listening, NULL, NULL, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (notices->connection == -1)
        return errno == EAGAIN || errno == EINTR || errno == ECONNABORTED ? FTPCLIENT_ERR_TIMEOUT
                                                                          : FTPCLIENT_ERR_SYSTEM;
    notices->received = 0;
    limit_sender(notices, SENDER_S);
    ftpc_look_after(notices->epoll, EPOLL_CTL_MOD, notices->listening, 0);
    if (ftpc_look_after(notices->epoll, EPOLL_CTL_ADD, notices->connection, EPOLLIN) == 0)
        return FTPCLIENT_OK;
    leave_sender(notices);
    return FTPCLIENT_ERR_SYSTEM;
}

static int has_expired(const ftpclient_notices_t *notices)
{
    uint64_t expirations;
    return read(notices->timer, &expirations, sizeof expirations) == sizeof expirations;
}

/* Reads what the sender has sent. 1 when no more will be heard from it, otherwise 0. */
static int hear_sender(ftpclient_notices_t *notices)
{
    int error = FTPCLIENT_OK;
    while (error == FTPCLIENT_OK && notices->received < sizeof notices->bytes)
        error = ftpc_take_count(recv(notices->connection, notices->bytes + notices->received,
                                     sizeof notices->bytes - notices->received, 0),
                                &notices->received);
    return error != FTPCLIENT_PENDING || has_expired(notices);
}

/* Reads the notice in `size` bytes; FTPCLIENT_ERR_PROTOCOL unless they are exactly one notice. */
static int read_notice(const uint8_t *bytes, size_t size, ftpclient_notice_t *notice)
{
    notice_header_t head;
    completion_notice_t body;
    if (size < sizeof head)
        return FTPCLIENT_ERR_PROTOCOL;
    memcpy(&head, bytes, sizeof head);
    const size_t body_size = head.code == NOTICE_STARTED ? sizeof(reply_t) : sizeof body;
    if (head.sender != NOTICE_SENDER || head.kind != NOTICE_KIND || head.code > NOTICE_STARTED ||
        head.length != body_size || size != sizeof head + body_size)
        return FTPCLIENT_ERR_PROTOCOL;
    memset(&body, 0, sizeof body);
    memcpy(&body, bytes + sizeof head, body_size);
    const int result = ftpc_verdict(&body.reply);
    if (result < 0)
        return FTPCLIENT_ERR_PROTOCOL;
    memset(notice, 0, sizeof *notice);
    notice->code = head.code;
    notice->result = result;
    if (head.code != NOTICE_STARTED)
        notice->progress = ftpc_progress(&body.exec_info);
    return FTPCLIENT_OK;
}

/* FTPCLIENT_OK: a notice is complete. FTPCLIENT_ERR_PROTOCOL: a sender sent something else.
 * FTPCLIENT_ERR_TIMEOUT: no sender has finished yet. */
static int next_notice(ftpclient_notices_t *notices, ftpclient_notice_t *notice)
{
    const int error = notices->connection == -1 ? take_sender(notices) : FTPCLIENT_OK;
    if (error != FTPCLIENT_OK)
        return error;
    if (!hear_sender(notices))
        return FTPCLIENT_ERR_TIMEOUT;
    leave_sender(notices);
    return read_notice(notices->bytes, notices->received, notice);
}

int ftpclient_notices_receive(ftpclient_notices_t *notices, ftpclient_notice_t *notice, size_t notice_size,
                              int timeout_ms)
{
    if (!notices || !notice || notice_size < FTPC_NOTICE_SIZE_AT_FIRST)
        return FTPCLIENT_ERR_ARGUMENT;
    const int64_t end_ms = ftpc_end_after(timeout_ms);
    for (;;) {
        ftpclient_notice_t next;
        const int error = next_notice(notices, &next);
        if (error == FTPCLIENT_OK)
            ftpc_give(notice, notice_size, &next, sizeof next);
        if (error != FTPCLIENT_ERR_TIMEOUT)
            return error;
        struct pollfd waiting = {notices->epoll, POLLIN, 0};
        const int ready = poll(&waiting, 1, ftpc_left_until(end_ms));
        if (ready == 0)
            return FTPCLIENT_ERR_TIMEOUT;
        if (ready == -1 && errno != EINTR)
            return FTPCLIENT_ERR_SYSTEM;
    }
}

void ftpclient_notices_close(ftpclient_notices_t *notices)
{
    if (!notices)
        return;
    const int kept = errno;
    struct stat now;
    if (notices->socket.st_ino != 0 && lstat(notices->address.sun_path, &now) == 0 &&
        now.st_ino == notices->socket.st_ino && now.st_dev == notices->socket.st_dev)
        unlink(notices->address.sun_path);
    ftpc_close(&notices->connection);
    ftpc_close(&notices->timer);
    ftpc_close(&notices->listening);
    ftpc_close(&notices->epoll);
    free(notices);
    errno = kept;
}
