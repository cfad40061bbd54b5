/* The blocking functions: each begins a call and continues it until it is finished. */
#include "libftpclient/call.h"

#include <poll.h>
#include <stdlib.h>

int ftpclient_open(const char *socket_path, ftpclient_t **client)
{
    if (!client)
        return FTPCLIENT_ERR_ARGUMENT;
    *client = NULL;
    ftpclient_t *made = (ftpclient_t *)malloc(sizeof *made);
    if (!made)
        return FTPCLIENT_ERR_NO_MEMORY;
    const int error = ftpc_set_address(&made->address, socket_path ? socket_path : FTPCLIENT_CONTROL_SOCKET);
    if (error != FTPCLIENT_OK)
        ftpclient_close(made);
    else
        *client = made;
    return error;
}

int ftpclient_connect(const char *socket_path, int timeout_ms, ftpclient_t **client)
{
    int error = ftpclient_open(socket_path, client);
    if (error == FTPCLIENT_OK)
        error = ftpclient_ping(*client, NULL, timeout_ms);
    if (error != FTPCLIENT_OK && client) {
        ftpclient_close(*client);
        *client = NULL;
    }
    return error;
}

void ftpclient_close(ftpclient_t *client)
{
    const int kept = errno;
    free(client);
    errno = kept;
}

/* Continues the call until it is finished, unless it could not begin. */
static int wait_for(int error, ftpclient_call_t *const *call)
{
    while (error == FTPCLIENT_OK) {
        const int result = ftpclient_call_finish(*call);
        if (result != FTPCLIENT_PENDING)
            return result;
        struct pollfd waiting = {ftpclient_call_fd(*call), POLLIN, 0};
        if (poll(&waiting, 1, -1) == -1 && errno != EINTR)
            error = FTPCLIENT_ERR_SYSTEM;
    }
    return error;
}

int ftpclient_ping(const ftpclient_t *client, int32_t *last_result, int timeout_ms)
{
    ftpclient_call_t *call;
    const int result = wait_for(ftpclient_begin_ping(client, timeout_ms, &call), &call);
    if (result == FTPCLIENT_OK && last_result)
        *last_result = call->last_result;
    ftpclient_call_free(call);
    return result;
}

int ftpclient_poll(const ftpclient_t *client, ftpclient_state_t *state, size_t state_size, int timeout_ms)
{
    if (!state || state_size < FTPC_STATE_SIZE_AT_FIRST)
        return FTPCLIENT_ERR_ARGUMENT;
    ftpclient_call_t *call;
    int result = wait_for(ftpclient_begin_poll(client, timeout_ms, &call), &call);
    if (result == FTPCLIENT_OK)
        result = ftpclient_call_state(call, state, state_size);
    ftpclient_call_free(call);
    return result;
}

int ftpclient_cancel(const ftpclient_t *client, int timeout_ms)
{
    ftpclient_call_t *call;
    const int result = wait_for(ftpclient_begin_cancel(client, timeout_ms, &call), &call);
    ftpclient_call_free(call);
    return result;
}

int ftpclient_start(const ftpclient_t *client, int job, const ftpclient_request_t *request, int timeout_ms)
{
    ftpclient_call_t *call;
    const int result = wait_for(ftpclient_begin_start(client, job, request, timeout_ms, &call), &call);
    ftpclient_call_free(call);
    return result;
}

int ftpclient_run(const ftpclient_t *client, int job, const ftpclient_request_t *request,
                  ftpclient_outcome_t *outcome, size_t outcome_size, int timeout_ms)
{
    if (outcome && outcome_size < FTPC_OUTCOME_SIZE_AT_FIRST)
        return FTPCLIENT_ERR_ARGUMENT;
    ftpclient_call_t *call;
    const int result = wait_for(ftpclient_begin_run(client, job, request, timeout_ms, &call), &call);
    if (call && outcome)
        ftpclient_call_outcome(call, outcome, outcome_size);
    ftpclient_call_free(call);
    return result;
}
