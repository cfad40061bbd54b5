#include "libftpclient/batch.h"

enum { TOGETHER_MS = 5 };

FTPC void ftpc_batch_clear(ftpc_batch_t *batch)
{
    memset(batch, 0, sizeof *batch);
    for (int i = 0; i < FTPC_BATCH_MAX; i++)
        batch->exchanges[i].fd = -1;
}

FTPC int ftpc_batch_add(ftpc_batch_t *batch, int watcher, uint32_t command, const void *body,
                        size_t body_size)
{
    const int error = ftpc_exchange_begin(&batch->exchanges[batch->count], watcher, command, body, body_size);
    if (error == FTPCLIENT_OK)
        batch->count++;
    return error;
}

FTPC int ftpc_batch_step(ftpc_batch_t *batch, const struct sockaddr_un *address)
{
    int answered = 0;
    for (int i = 0; i < batch->count; i++) {
        ftpc_exchange_t *exchange = &batch->exchanges[i];
        if (exchange->replied_ms != FTPC_NEVER) {
            answered++;
            continue;
        }
        const int error = ftpc_exchange_step(exchange, address);
        if (error == FTPCLIENT_OK)
            answered++;
        else if (error != FTPCLIENT_PENDING)
            return error;
        else if (exchange->connected_ms == FTPC_NEVER)
            break; /* the ones behind it must stay behind it */
    }
    return answered == batch->count ? FTPCLIENT_OK : FTPCLIENT_PENDING;
}

FTPC int ftpc_batch_cannot_connect(const ftpc_batch_t *batch)
{
    for (int i = 0; i < batch->count; i++) {
        if (batch->exchanges[i].connected_ms == FTPC_NEVER)
            return 1;
    }
    return 0;
}

FTPC int ftpc_batch_is_adjacent(const ftpc_batch_t *batch, int index)
{
    return index > 0 &&
           batch->exchanges[index].connected_ms - batch->exchanges[index - 1].connected_ms < TOGETHER_MS;
}

FTPC void ftpc_batch_end(ftpc_batch_t *batch)
{
    for (int i = 0; i < FTPC_BATCH_MAX; i++)
        ftpc_exchange_end(&batch->exchanges[i]);
    batch->count = 0;
}
