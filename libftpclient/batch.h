/* Requests that the daemon is to serve one right after the other. They are queued at once, so that no other
 * program's request comes between. */
#ifndef FTPC_BATCH_H
#define FTPC_BATCH_H

#include "libftpclient/exchange.h"

enum { FTPC_BATCH_MAX = 4, FTPC_BATCH_RETRY_MS = 10 };

typedef struct ftpc_batch {
    ftpc_exchange_t exchanges[FTPC_BATCH_MAX];
    int count; /* 0: nothing is under way */
} ftpc_batch_t;

/* Empty, and safe to end. */
FTPC void ftpc_batch_clear(ftpc_batch_t *batch);

/* Adds a request; `body` may be NULL and is the caller's until the batch ends. Returns as
 * ftpc_exchange_begin(). */
FTPC int ftpc_batch_add(ftpc_batch_t *batch, int watcher, uint32_t command, const void *body,
                        size_t body_size);

/* FTPCLIENT_PENDING (look again when the watcher says so, and after FTPC_BATCH_RETRY_MS while it cannot
 * connect), FTPCLIENT_OK when all replies are there, or the first error. */
FTPC int ftpc_batch_step(ftpc_batch_t *batch, const struct sockaddr_un *address);

/* 1 while a request waits for room in the daemon's queue. */
FTPC int ftpc_batch_cannot_connect(const ftpc_batch_t *batch);

/* 1 when the request at `index` was queued so soon after the one before it that nobody came between. */
FTPC int ftpc_batch_is_adjacent(const ftpc_batch_t *batch, int index);

/* Gives up whatever is under way. */
FTPC void ftpc_batch_end(ftpc_batch_t *batch);

#endif
