/* The common part of all calls: a descriptor to wait for, a time limit, a result. */
#include "libftpclient/call.h"

#include "libftpclient/records.h"

#include <stdlib.h>
#include <sys/timerfd.h>

/* ---- The end ---- */

static void end(ftpclient_call_t *call, int result)
{
    call->result = result;
    if (result == FTPCLIENT_ERR_SYSTEM)
        call->saved_errno = errno;
    ftpc_batch_end(&call->batch);
    if (call->is_run)
        ftpc_run_end(call);
}

/* Once the call is finished, its descriptor stays readable, so that a waiting caller wakes up at once. */
static void set_timer(const ftpclient_call_t *call)
{
    const int64_t now_ms = monotonic_ms();
    int64_t at_ms = now_ms;
    if (call->result == FTPCLIENT_PENDING) {
        at_ms = ftpc_earlier(call->end_ms, call->wake_ms);
        if (call->batch.count > 0)
            at_ms = ftpc_earlier(at_ms, call->batch_end_ms);
        if (ftpc_batch_cannot_connect(&call->batch))
            at_ms = ftpc_earlier(at_ms, now_ms + FTPC_BATCH_RETRY_MS);
    }
    struct itimerspec wait;
    memset(&wait, 0, sizeof wait); /* all zero stops the timer */
    if (at_ms != FTPC_NEVER) {
        const int64_t left_ms = at_ms > now_ms ? at_ms - now_ms : 0;
        wait.it_value.tv_sec = (time_t)(left_ms / 1000);
        wait.it_value.tv_nsec = (long)(left_ms % 1000) * 1000000L + 1;
    }
    timerfd_settime(call->timer, 0, &wait, NULL);
}

/* ---- Calls that are one exchange ---- */

static int take_reply(ftpclient_call_t *call)
{
    const ftpc_exchange_t *exchange = &call->batch.exchanges[0];
    if (exchange->head.command == COMMAND_CANCEL)
        return ftpc_verdict(&exchange->reply.verdict);
    if (exchange->head.command == COMMAND_GET_STATE)
        call->state = ftpc_state(&exchange->reply.state);
    call->last_result = (int32_t)exchange->reply.verdict.detail;
    return FTPCLIENT_OK;
}

static int advance_exchange(ftpclient_call_t *call)
{
    const int error = ftpc_batch_step(&call->batch, &call->address);
    if (error == FTPCLIENT_PENDING && ftpc_is_over(call->end_ms))
        return FTPCLIENT_ERR_TIMEOUT;
    return error == FTPCLIENT_OK ? take_reply(call) : error;
}

int ftpclient_call_finish(ftpclient_call_t *call)
{
    if (!call)
        return FTPCLIENT_ERR_ARGUMENT;
    if (call->result == FTPCLIENT_PENDING) {
        const int result = call->is_run ? ftpc_run_advance(call) : advance_exchange(call);
        if (result != FTPCLIENT_PENDING)
            end(call, result);
        set_timer(call);
    }
    if (call->result == FTPCLIENT_ERR_SYSTEM)
        errno = call->saved_errno;
    return call->result;
}

/* ---- Begin ---- */

static int open_descriptors(ftpclient_call_t *call)
{
    call->batch.watcher = epoll_create1(EPOLL_CLOEXEC);
    call->timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    if (call->batch.watcher == -1 || call->timer == -1 ||
        ftpc_look_after(call->batch.watcher, EPOLL_CTL_ADD, call->timer, EPOLLIN) == -1)
        return FTPCLIENT_ERR_SYSTEM;
    return FTPCLIENT_OK;
}

/* Creates a call that has done nothing yet, with its timer set to now; on failure *call is NULL. */
static int new_call(const ftpclient_t *client, int timeout_ms, ftpclient_call_t **call)
{
    ftpclient_call_t *made = (ftpclient_call_t *)calloc(1, sizeof *made);
    if (!made)
        return FTPCLIENT_ERR_NO_MEMORY;
    made->address = client->address;
    made->result = FTPCLIENT_PENDING;
    made->end_ms = ftpc_end_after(timeout_ms);
    made->run.turn.fd = -1;
    made->wake_ms = FTPC_NEVER;
    made->batch_end_ms = FTPC_NEVER;
    ftpc_batch_clear(&made->batch);
    const int error = open_descriptors(made);
    if (error != FTPCLIENT_OK) {
        ftpclient_call_free(made);
        return error;
    }
    *call = made;
    return FTPCLIENT_OK;
}

static int begin_exchange(const ftpclient_t *client, uint32_t command, int timeout_ms,
                          ftpclient_call_t **call)
{
    if (call)
        *call = NULL;
    int error = client && call ? new_call(client, timeout_ms, call) : FTPCLIENT_ERR_ARGUMENT;
    if (error != FTPCLIENT_OK)
        return error;
    ftpc_batch_add(&(*call)->batch, command, NULL, 0);
    error = (*call)->batch.error;
    if (error != FTPCLIENT_OK) {
        ftpclient_call_free(*call);
        *call = NULL;
        return error;
    }
    ftpclient_call_finish(*call); /* sends the request */
    return FTPCLIENT_OK;
}

int ftpclient_begin_ping(const ftpclient_t *client, int timeout_ms, ftpclient_call_t **call)
{
    return begin_exchange(client, COMMAND_NONE, timeout_ms, call);
}

int ftpclient_begin_poll(const ftpclient_t *client, int timeout_ms, ftpclient_call_t **call)
{
    return begin_exchange(client, COMMAND_GET_STATE, timeout_ms, call);
}

int ftpclient_begin_cancel(const ftpclient_t *client, int timeout_ms, ftpclient_call_t **call)
{
    return begin_exchange(client, COMMAND_CANCEL, timeout_ms, call);
}

static int begin_run(const ftpclient_t *client, int job, const ftpclient_request_t *request, int timeout_ms,
                     int wants_outcome, ftpclient_call_t **call)
{
    if (call)
        *call = NULL;
    if (!client || !request || !call)
        return FTPCLIENT_ERR_ARGUMENT;
    int error = ftpc_check_job(job, request, wants_outcome);
    if (error == FTPCLIENT_OK)
        error = new_call(client, timeout_ms, call);
    if (error != FTPCLIENT_OK)
        return error;
    (*call)->is_run = 1;
    (*call)->run.request = *request;
    ftpc_run_begin(*call, job, wants_outcome);
    ftpclient_call_finish(*call);
    return FTPCLIENT_OK;
}

int ftpclient_begin_run(const ftpclient_t *client, int job, const ftpclient_request_t *request,
                        int timeout_ms, ftpclient_call_t **call)
{
    return begin_run(client, job, request, timeout_ms, 1, call);
}

int ftpclient_begin_start(const ftpclient_t *client, int job, const ftpclient_request_t *request,
                          int timeout_ms, ftpclient_call_t **call)
{
    return begin_run(client, job, request, timeout_ms, 0, call);
}

/* ---- The state of a call ---- */

int ftpclient_call_fd(const ftpclient_call_t *call) { return call ? call->batch.watcher : -1; }

int ftpclient_call_stop(ftpclient_call_t *call)
{
    if (!call)
        return FTPCLIENT_ERR_ARGUMENT;
    if (call->result != FTPCLIENT_PENDING)
        return FTPCLIENT_OK;
    if (call->is_run)
        ftpc_run_stop(call, FTPCLIENT_RESULT_CANCELED);
    else
        end(call, FTPCLIENT_RESULT_CANCELED);
    set_timer(call);
    return FTPCLIENT_OK;
}

int ftpclient_call_phase(const ftpclient_call_t *call)
{
    if (!call || call->result != FTPCLIENT_PENDING)
        return FTPCLIENT_PHASE_DONE;
    return call->is_run ? ftpc_run_phase(call) : FTPCLIENT_PHASE_ASKING;
}

int ftpclient_call_turn_error(const ftpclient_call_t *call) { return call ? call->run.turn_error : 0; }

int ftpclient_call_state(const ftpclient_call_t *call, ftpclient_state_t *state, size_t state_size)
{
    if (!call || !state || state_size < FTPC_STATE_SIZE_AT_FIRST)
        return FTPCLIENT_ERR_ARGUMENT;
    ftpc_give(state, state_size, &call->state, sizeof call->state);
    return FTPCLIENT_OK;
}

int ftpclient_call_last_result(const ftpclient_call_t *call, int32_t *last_result)
{
    if (!call || !last_result)
        return FTPCLIENT_ERR_ARGUMENT;
    *last_result = call->last_result;
    return FTPCLIENT_OK;
}

int ftpclient_call_outcome(const ftpclient_call_t *call, ftpclient_outcome_t *outcome, size_t outcome_size)
{
    if (!call || !outcome || outcome_size < FTPC_OUTCOME_SIZE_AT_FIRST)
        return FTPCLIENT_ERR_ARGUMENT;
    ftpc_give(outcome, outcome_size, &call->run.outcome, sizeof call->run.outcome);
    return FTPCLIENT_OK;
}

void ftpclient_call_free(ftpclient_call_t *call)
{
    if (!call)
        return;
    const int kept = errno;
    ftpc_batch_end(&call->batch);
    ftpc_run_end(call);
    ftpc_close(&call->timer);
    ftpc_close(&call->batch.watcher);
    explicit_bzero(call, sizeof *call);
    free(call);
    errno = kept;
}
