/* Watching a job: whether it is ours, its progress, its end. */
#include "libftpclient/call.h"
#include "libftpclient/records.h"

static ftpc_look_t look_at(const ftpclient_call_t *call, int index)
{
    const ftpc_exchange_t *exchange = &call->batch.exchanges[index];
    ftpc_look_t seen = {exchange->connected_ms, ftpc_batch_replied_ms(&call->batch, index),
                        ftpc_batch_is_adjacent(&call->batch, index)};
    return seen;
}

/* The outcome may be another program's: runs the job again, FTPC_DOUBTS_MAX times at most, where that is safe. */
static int doubt(ftpclient_call_t *call)
{
    ftpc_run_t *run = &call->run;
    if (run->stop_result != 0)
        return run->stop_result;
    if (++run->doubts >= FTPC_DOUBTS_MAX || !ftpc_plan_may_repeat(run))
        return FTPCLIENT_ERR_UNKNOWN_OUTCOME;
    ftpc_plan_again(run);
    return ftpc_enter(call, FTPC_SEE_IDLE, 0);
}

/* The job has ended, and it was ours. */
static int conclude(ftpclient_call_t *call, const ftpclient_file_info_t *found)
{
    ftpc_run_t *run = &call->run;
    const ftpclient_state_t *state = &run->evidence.last;
    if (run->stop_result != 0 && state->result == FTPCLIENT_RESULT_CANCELED) {
        ftpc_plan_keep(run, state, found);
        return run->stop_result;
    }
    const int result = ftpc_plan_next(run, state, found);
    return result == FTPCLIENT_PENDING ? ftpc_enter(call, FTPC_SEE_IDLE, 0) : result;
}

/* What a file-information job found is the last reply. It is ours when no other program was served between
 * the state that showed the end and this reply. */
FTPC int ftpc_take_file_info(ftpclient_call_t *call, int index)
{
    for (; index < call->batch.count; index++) {
        const ftpc_look_t seen = look_at(call, index);
        if (!ftpc_evidence_follows(&call->run.evidence, &seen))
            return doubt(call);
    }
    const ftpclient_file_info_t found =
        ftpc_file_info(&call->batch.exchanges[index - 1].reply.file_info.remote_file);
    return conclude(call, &found);
}

static int has_ended(ftpclient_call_t *call, int index)
{
    const ftpc_run_t *run = &call->run;
    if (run->evidence.job != FTPCLIENT_FILE_INFO || run->evidence.last.result != FTPCLIENT_RESULT_NONE)
        return conclude(call, NULL);
    if (index + 1 < call->batch.count) /* already requested */
        return ftpc_take_file_info(call, index + 1);
    return ftpc_enter(call, FTPC_FETCH, 0);
}

static int is_silent(const ftpc_run_t *run)
{
    return run->request.silence_ms >= 0 && monotonic_ms() - run->moved_ms >= run->request.silence_ms;
}

static void keep_state(ftpclient_call_t *call, const ftpclient_state_t *state)
{
    const ftpclient_progress_t *before = &call->state.progress;
    if (state->progress.transferred_bytes != before->transferred_bytes ||
        state->progress.total_bytes != before->total_bytes)
        call->run.moved_ms = monotonic_ms();
    call->state = *state;
    if (ftpc_job_of_goal(&call->run) == call->run.job)
        call->run.outcome.progress = state->progress;
}

/* The state that was queued directly after this certain one; 0 when there is none. */
static int state_after(ftpclient_call_t *call, int index)
{
    const int next = index + 1;
    if (next == call->batch.count)
        return 0;
    if (call->run.evidence.job != FTPCLIENT_FILE_INFO || next + 1 < call->batch.count)
        return next;
    const ftpc_look_t found = look_at(call, next); /* requested too early: costs only one pass */
    ftpc_evidence_follows(&call->run.evidence, &found);
    return 0;
}

FTPC int ftpc_take_state(ftpclient_call_t *call, int index)
{
    ftpc_run_t *run = &call->run;
    const ftpclient_state_t state = ftpc_state(&call->batch.exchanges[index].reply.state);
    const ftpc_look_t seen = look_at(call, index);
    const int verdict = ftpc_evidence_judge(&run->evidence, &state, &seen);
    if (verdict == FTPC_FOREIGN || (verdict == FTPC_UNSURE && !state.running))
        return doubt(call);
    if (verdict == FTPC_OWN)
        keep_state(call, &state);
    if (!state.running)
        return has_ended(call, index);
    const int next = verdict == FTPC_OWN ? state_after(call, index) : 0;
    if (next != 0)
        return ftpc_take_state(call, next);
    if (run->stop_result == 0 && is_silent(run))
        ftpc_run_stop(call, FTPCLIENT_ERR_SILENT);
    const int64_t next_look_ms = ftpc_batch_ended_ms(&call->batch) + FTPC_LOOK_MS;
    ftpc_enter(call, FTPC_WATCH, 0);
    if (run->stop_result == 0)
        call->wake_ms = next_look_ms;
    return FTPCLIENT_PENDING;
}

/* The state after a cancel. A cancel that waited for a job to stop was not answered in the next pass, so it
 * does not show whose job that was. */
static int judge_stopped(ftpclient_call_t *call, const ftpclient_state_t *state)
{
    const ftpc_look_t cancelled = look_at(call, 0);
    ftpc_look_t seen = look_at(call, 1);
    seen.is_adjacent = seen.is_adjacent && ftpc_evidence_follows(&call->run.evidence, &cancelled);
    return ftpc_evidence_judge(&call->run.evidence, state, &seen);
}

/* The replies to a cancel and to the state request after it. */
FTPC int ftpc_take_stop(ftpclient_call_t *call)
{
    const ftpclient_state_t state = ftpc_state(&call->batch.exchanges[1].reply.state);
    if (judge_stopped(call, &state) != FTPC_OWN)
        return call->run.stop_result;
    keep_state(call, &state);
    /* A look-up that succeeded nevertheless is useless, because its result is unknown. */
    const int is_look_up = state.job == FTPCLIENT_FILE_INFO && state.result == FTPCLIENT_RESULT_NONE;
    return state.running || is_look_up ? call->run.stop_result : conclude(call, NULL);
}
