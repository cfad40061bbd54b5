/* Batches of requests that the daemon serves one directly after the other, each on a separate connection.
 * They are queued together, so that no other program's request comes in between. Nothing here waits, and
 * nothing raises SIGPIPE. An error is an ftpclient_error; FTPCLIENT_ERR_SYSTEM leaves errno set. */
#ifndef FTPC_EXCHANGE_H
#define FTPC_EXCHANGE_H

#include "libftpclient/ftpc.h"
#include "wire/notice.h"

#include <sys/epoll.h>
#include <sys/un.h>

enum { FTPC_BATCH_MAX = 6, FTPC_BATCH_RETRY_MS = 10 };

/* One request and its reply. */
typedef struct ftpc_exchange {
    int fd;                  /* -1: not pending */
    uint32_t watched_events; /* for which the watcher watches `fd`; 0: it does not */
    int64_t connected_ms;    /* FTPC_NEVER: not yet, because the daemon's queue is full */
    int64_t replied_ms;      /* FTPC_NEVER: not yet */
    pid_t daemon;            /* the listening process; 0: unknown */
    message_header_t head;
    const uint8_t *body; /* the caller's, until the exchange ends */
    size_t sent;         /* bytes of head and body */
    size_t received;     /* bytes of the reply, its head included */
    struct {
        message_header_t head;
        union {
            reply_t verdict; /* the start of the others */
            cancel_reply_t cancel;
            state_reply_t state;
            file_info_reply_t file_info;
        };
    } reply;
} ftpc_exchange_t;
static_assert(offsetof(ftpc_exchange_t, reply.state) - offsetof(ftpc_exchange_t, reply) ==
                  sizeof(message_header_t),
              "a reply is received in one piece");

typedef struct ftpc_batch {
    int watcher; /* the epoll descriptor that watches the exchanges; the batch does not close it */
    ftpc_exchange_t exchanges[FTPC_BATCH_MAX];
    int count; /* 0: nothing is pending */
    int error; /* of the first request that could not be added */
} ftpc_batch_t;

/* Fills `address`: FTPCLIENT_OK, or FTPCLIENT_ERR_TOO_LONG for a path that no socket can have. */
FTPC int ftpc_set_address(struct sockaddr_un *address, const char *path);

/* Changes the events that the epoll descriptor waits for on `fd`; result and errno as epoll_ctl(2). */
FTPC int ftpc_look_after(int epoll, int operation, int fd, uint32_t events);

/* Adds the result of a send or recv to *done; call it before errno changes. FTPCLIENT_OK: continue,
 * FTPCLIENT_PENDING: try later, FTPCLIENT_ERR_DISCONNECTED or _SYSTEM. */
FTPC int ftpc_take_count(ssize_t count, size_t *done);

/* Makes the batch empty, without a watcher. Must be the first call for a batch. */
FTPC void ftpc_batch_clear(ftpc_batch_t *batch);

/* Adds a request, a control_command and its body, to the at most FTPC_BATCH_MAX of a batch; sends nothing
 * yet. `body` may be NULL and must stay valid until the batch ends. If no socket can be created, batch->error
 * becomes FTPCLIENT_ERR_SYSTEM, and no further request is added. While an exchange waits, batch->watcher
 * becomes readable when there is something to do. */
FTPC void ftpc_batch_add(ftpc_batch_t *batch, uint32_t command, const void *body, size_t body_size);

/* Continues as far as possible: FTPCLIENT_PENDING (call it again when the watcher is readable, and after
 * FTPC_BATCH_RETRY_MS while it cannot connect), FTPCLIENT_OK when all replies have arrived, or the first
 * error, after which only ftpc_batch_end() may follow. FTPCLIENT_ERR_UNREAD and _PROTOCOL are replies that do
 * not fit their request. */
FTPC int ftpc_batch_step(ftpc_batch_t *batch, const struct sockaddr_un *address);

/* 1 while a request waits for room in the daemon's queue, otherwise 0. */
FTPC int ftpc_batch_cannot_connect(const ftpc_batch_t *batch);

/* 1 when the request at `index` was queued so soon after the previous one that no other request is in
 * between; otherwise 0, also for the first one. */
FTPC int ftpc_batch_is_adjacent(const ftpc_batch_t *batch, int index);

/* The latest time at which the reply at `index` of a completed batch can have been sent. It may have been
 * read late, but the daemon sent it at least a pass before the next one. It is never earlier than the time at
 * which its request was queued. */
FTPC int64_t ftpc_batch_replied_ms(const ftpc_batch_t *batch, int index);

/* When the last reply of a completed batch was sent, to within some milliseconds: replies are about a pass
 * apart, so one that was read in time is enough. */
FTPC int64_t ftpc_batch_ended_ms(const ftpc_batch_t *batch);

/* Closes the connections of all pending exchanges and empties the batch; its watcher stays open. The daemon
 * logs a client that hangs up before its reply. Preserves errno. */
FTPC void ftpc_batch_end(ftpc_batch_t *batch);

#endif
