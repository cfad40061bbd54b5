/* One request and its reply on a connection of its own, without ever waiting. */
#ifndef FTPC_EXCHANGE_H
#define FTPC_EXCHANGE_H

#include "libftpclient/ftpc.h"
#include "wire/notice.h"

#include <sys/epoll.h>
#include <sys/un.h>

typedef struct ftpc_exchange {
    int fd;      /* -1: no exchange is under way */
    int watcher; /* the epoll descriptor that looks after fd */
    uint32_t watched_events;
    int64_t connected_ms; /* FTPC_NEVER: not yet, the daemon's queue is full */
    int64_t replied_ms;   /* FTPC_NEVER: not yet */
    pid_t daemon;         /* who listens; 0: not known */
    message_header_t head;
    const uint8_t *body; /* the caller's, until the exchange ends */
    size_t body_size;
    size_t sent;
    size_t received;
    message_header_t reply_head;
    uint8_t reply[sizeof(state_reply_t)]; /* the longest reply */
    size_t reply_size;
} ftpc_exchange_t;

/* Fills `address`. FTPCLIENT_ERR_TOO_LONG for a path that no socket can have. */
FTPC int ftpc_set_address(struct sockaddr_un *address, const char *path);

/* Opens a socket for `command`; `body` may be NULL. While the exchange waits, the epoll descriptor `watcher`
 * becomes readable when there is something to do. FTPCLIENT_ERR_SYSTEM when there is no socket to be had. */
FTPC int ftpc_exchange_begin(ftpc_exchange_t *exchange, int watcher, uint32_t command, const void *body,
                             size_t body_size);

/* Goes on as far as it can: FTPCLIENT_PENDING, FTPCLIENT_OK when `reply` is whole, or the error that ended
 * it. PENDING without a connection: try again in a moment, no event says when. Whatever but PENDING closes
 * the connection. */
FTPC int ftpc_exchange_step(ftpc_exchange_t *exchange, const struct sockaddr_un *address);

/* Gives up. Does nothing when no exchange is under way. */
FTPC void ftpc_exchange_end(ftpc_exchange_t *exchange);

#endif
