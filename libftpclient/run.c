/* A job from the wait for its turn to its outcome, one stage after the other. */
#include "libftpclient/call.h"

#include "libftpclient/records.h"

#include <stdio.h>
#include <sys/stat.h>

enum {
    /* The daemon may first have to wait for another client, which has CONTROL_TALK_MS, and then for another. */
    ANSWER_MS = 2 * CONTROL_TALK_MS + 1000,
    CANCEL_MS = 30000, /* a cancel is answered when the job has stopped */
    STOP_MS = 10000,   /* how much longer a call may take when its time is over */
    REFUSALS_MAX = 4
};

FTPC int ftpc_job_of_goal(const ftpc_run_t *run)
{
    return run->goal == FTPC_GOAL_LOOK_UP || run->goal == FTPC_GOAL_CHECK ? FTPCLIENT_FILE_INFO : run->job;
}

FTPC int ftpc_enter(ftpclient_call_t *call, int stage, int pause_ms)
{
    ftpc_batch_end(&call->batch);
    call->run.stage = stage;
    call->wake_ms = monotonic_ms() + pause_ms;
    return FTPCLIENT_PENDING;
}

FTPC void ftpc_run_begin(ftpclient_call_t *call, int job, int wants_outcome)
{
    ftpc_run_t *run = &call->run;
    run->job = job;
    run->wants_outcome = wants_outcome;
    run->outcome.remote_bytes = FTPCLIENT_UNKNOWN;
    run->outcome.local_bytes = FTPCLIENT_UNKNOWN;
    run->goal = ftpc_plan_first_goal(run);
    run->wait_left_ms = run->request.turn_timeout_ms;
    ftpc_enter(call, FTPC_TAKE_TURN, 0);
}

FTPC void ftpc_run_end(ftpclient_call_t *call)
{
    ftpc_turn_give_back(&call->run.turn);
    explicit_bzero(&call->run.request, sizeof call->run.request);
}

FTPC int ftpc_run_phase(const ftpclient_call_t *call)
{
    const ftpc_run_t *run = &call->run;
    switch (run->stage) {
    case FTPC_TAKE_TURN:
        return FTPCLIENT_PHASE_TURN;
    case FTPC_SEE_IDLE:
        return run->is_waiting ? FTPCLIENT_PHASE_BUSY : FTPCLIENT_PHASE_ASKING;
    case FTPC_STOP:
        return FTPCLIENT_PHASE_STOPPING;
    default:
        return ftpc_job_of_goal(run) == FTPCLIENT_FILE_INFO ? FTPCLIENT_PHASE_LOOKING_UP
                                                            : FTPCLIENT_PHASE_TRANSFER;
    }
}

/* ---- Waiting for others ---- */

static int wait_for_others(ftpclient_call_t *call, int pause_ms)
{
    ftpc_run_t *run = &call->run;
    if (!run->is_waiting)
        run->wait_end_ms = ftpc_end_after(run->wait_left_ms);
    run->is_waiting = 1;
    if (ftpc_is_over(run->wait_end_ms))
        return FTPCLIENT_ERR_TURN;
    return ftpc_enter(call, run->stage, pause_ms);
}

static void end_waiting(ftpc_run_t *run)
{
    if (run->is_waiting)
        run->wait_left_ms = ftpc_left_until(run->wait_end_ms);
    run->is_waiting = 0;
}

static int take_turn(ftpclient_call_t *call)
{
    ftpc_run_t *run = &call->run;
    if (run->turn.fd == -1) {
        char path[sizeof call->address.sun_path + sizeof FTPCLIENT_TURN_SUFFIX];
        snprintf(path, sizeof path, "%s%s", call->address.sun_path, FTPCLIENT_TURN_SUFFIX);
        struct stat status;
        if (stat(call->address.sun_path, &status) == -1 && (errno == ENOENT || errno == ENOTDIR))
            return FTPCLIENT_ERR_NO_DAEMON; /* without a daemon, do not create the lock file */
        run->turn_error = ftpc_turn_open(&run->turn, path);
    }
    if (run->turn_error == 0 && !ftpc_turn_try(&run->turn))
        return wait_for_others(call, FTPC_TURN_RETRY_MS);
    end_waiting(run);
    return ftpc_enter(call, FTPC_SEE_IDLE, 0);
}

/* Before the start. A running job belongs to a program that takes no turns, or to one that did not wait for
 * its end. Waits for it, because the daemon would accept a start for its other engine. The state request also
 * makes the daemon join a job that has just ended, so that the start is not refused. */
static int take_idle(ftpclient_call_t *call)
{
    const ftpc_exchange_t *exchange = &call->batch.exchanges[0];
    if (ftpc_state(&exchange->reply.state).running)
        return wait_for_others(call, CONTROL_PASS_MS);
    const int error = ftpc_plan_sight(&call->run, exchange->daemon);
    return error == FTPCLIENT_OK ? ftpc_enter(call, FTPC_START, FTPC_LOOK_MS) : error;
}

/* ---- The start ---- */

static uint32_t start_command(int job)
{
    return job == FTPCLIENT_DOWNLOAD ? COMMAND_DOWNLOAD
           : job == FTPCLIENT_UPLOAD ? COMMAND_UPLOAD
                                     : COMMAND_DL_FILE_INFO;
}

static void ask_for(ftpclient_call_t *call, uint32_t command)
{
    ftpc_batch_add(&call->batch, command, NULL, 0);
}

/* Looks at a job, and last of all at what a file-information job found. After a doubt, fills the
 * batch with looks: if this program is scheduled late, another program's request rarely fits between them. */
static void ask_for_looks(ftpclient_call_t *call, int job)
{
    const int asks_for_file = job == FTPCLIENT_FILE_INFO;
    int looks = call->run.doubts == 0 ? 1 : FTPC_BATCH_MAX - call->batch.count - asks_for_file;
    while (looks-- > 0)
        ask_for(call, COMMAND_GET_STATE);
    if (asks_for_file)
        ask_for(call, COMMAND_GET_FILE_INFO);
}

/* The first looks at the job are queued with its start, so that no other program's request comes in between.
 * Once a start was refused, a state request is queued before it as well: in the pass that answers it, the
 * daemon registers the end of an earlier job. */
static void ask_for_start(ftpclient_call_t *call)
{
    ftpc_run_t *run = &call->run;
    const int job = ftpc_job_of_goal(run);
    transfer_request_t *wire = &run->request.wire;
    ftpc_plan_measure(run);
    if (!protocol_is_zixi(wire->protocol))
        wire->resume = run->goal == FTPC_GOAL_APPEND ? 1 : 0;
    if (run->is_crowded)
        ask_for(call, COMMAND_GET_STATE);
    ftpc_batch_add(&call->batch, start_command(job), wire, sizeof *wire);
    if (run->wants_outcome)
        ask_for_looks(call, job);
}

/* The start was refused although the daemon ran no job in the pass before: it cannot start any. */
static int is_true_refusal(const ftpclient_call_t *call)
{
    return call->run.is_crowded && ftpc_batch_is_adjacent(&call->batch, 1) &&
           !ftpc_state(&call->batch.exchanges[0].reply.state).running;
}

/* Tries again when another program was faster (3), or when the daemon had not yet noticed the end of that
 * program's job (5). */
static int take_refusal(ftpclient_call_t *call, int result)
{
    ftpc_run_t *run = &call->run;
    if (result == FTPCLIENT_RESULT_INTERNAL && is_true_refusal(call))
        run->refusals++;
    const int is_early = result == FTPCLIENT_RESULT_INTERNAL && run->refusals < REFUSALS_MAX;
    run->is_crowded = 1;
    if (result == FTPCLIENT_RESULT_BUSY || is_early) {
        run->stage = FTPC_SEE_IDLE;
        return wait_for_others(call, result == FTPCLIENT_RESULT_BUSY ? CONTROL_PASS_MS : 0);
    }
    run->outcome.result = result;
    return result;
}

static int take_start(ftpclient_call_t *call)
{
    ftpc_run_t *run = &call->run;
    const int index = run->is_crowded; /* 1 when a state request comes before the start */
    const ftpc_exchange_t *start = &call->batch.exchanges[index];
    const int result = ftpc_verdict(&start->reply.verdict);
    if (result != FTPCLIENT_OK)
        return take_refusal(call, result);
    end_waiting(run);
    if (!run->wants_outcome)
        return FTPCLIENT_OK;
    run->refusals = 0;
    ftpc_plan_begun(run);
    run->moved_ms = monotonic_ms();
    ftpc_evidence_begin(&run->evidence, ftpc_job_of_goal(run), ftpc_plan_expected(run), start->connected_ms);
    run->stage = FTPC_WATCH;
    return ftpc_take_state(call, index + 1);
}

/* ---- The early end ---- */

FTPC void ftpc_run_stop(ftpclient_call_t *call, int reason)
{
    ftpc_run_t *run = &call->run;
    if (run->stop_result != 0)
        return;
    run->stop_result = reason;
    call->end_ms = ftpc_end_after(STOP_MS);
    call->wake_ms = monotonic_ms();
}

/* ---- All stages ---- */

static void ask(ftpclient_call_t *call)
{
    const ftpc_run_t *run = &call->run;
    call->batch_end_ms = ftpc_end_after(run->stage == FTPC_STOP ? CANCEL_MS : ANSWER_MS);
    if (run->stage == FTPC_START) {
        ask_for_start(call);
        return;
    }
    /* A job of file information shows no progress, so only looks without a gap can tell whose it is. */
    if (run->stage == FTPC_WATCH && run->doubts > 0 && run->evidence.job == FTPCLIENT_FILE_INFO) {
        ask_for_looks(call, FTPCLIENT_FILE_INFO);
        return;
    }
    if (run->stage == FTPC_STOP) /* answered when the job has stopped; the state request follows directly */
        ask_for(call, COMMAND_CANCEL);
    ask_for(call, run->stage == FTPC_FETCH ? COMMAND_GET_FILE_INFO : COMMAND_GET_STATE);
}

static int take_answers(ftpclient_call_t *call)
{
    switch (call->run.stage) {
    case FTPC_SEE_IDLE:
        return take_idle(call);
    case FTPC_START:
        return take_start(call);
    case FTPC_FETCH:
        return ftpc_take_file_info(call, 0);
    case FTPC_STOP:
        return ftpc_take_stop(call);
    default:
        return ftpc_take_state(call, 0);
    }
}

static int advance_stage(ftpclient_call_t *call)
{
    if (call->run.stage == FTPC_TAKE_TURN)
        return take_turn(call);
    if (call->batch.count == 0)
        ask(call);
    const int error = ftpc_batch_step(&call->batch, &call->address);
    if (error == FTPCLIENT_PENDING && ftpc_is_over(call->batch_end_ms))
        return FTPCLIENT_ERR_NO_ANSWER;
    return error == FTPCLIENT_OK ? take_answers(call) : error;
}

/* Stops only after the replies to pending requests: the daemon logs a client that hangs up. */
static int advance_once(ftpclient_call_t *call)
{
    const ftpc_run_t *run = &call->run;
    const int may_stop = run->stop_result != 0 && call->batch.count == 0;
    if (may_stop && run->stage < FTPC_WATCH) /* no job was started */
        return run->stop_result;
    if (may_stop && run->stage == FTPC_WATCH)
        return ftpc_enter(call, FTPC_STOP, 0);
    return advance_stage(call);
}

/* True when the job may have been started, and could not be cancelled yet. */
static int may_run_on(const ftpc_run_t *run) { return run->stage == FTPC_START || run->stage == FTPC_WATCH; }

static int check_time(ftpclient_call_t *call)
{
    if (!ftpc_is_over(call->end_ms))
        return FTPCLIENT_PENDING;
    if (call->run.stop_result != 0) /* stopping has not ended in time either */
        return may_run_on(&call->run) ? FTPCLIENT_ERR_NO_ANSWER : call->run.stop_result;
    ftpc_run_stop(call, FTPCLIENT_ERR_TIMEOUT);
    return FTPCLIENT_PENDING;
}

FTPC int ftpc_run_advance(ftpclient_call_t *call)
{
    ftpclient_outcome_t *outcome = &call->run.outcome;
    int result = check_time(call);
    while (result == FTPCLIENT_PENDING && (call->batch.count > 0 || monotonic_ms() >= call->wake_ms)) {
        result = advance_once(call);
        if (call->batch.count > 0) { /* the next thing to happen is a reply */
            call->wake_ms = FTPC_NEVER;
            break;
        }
    }
    if (result == FTPCLIENT_RESULT_CANCELED)
        outcome->result = result;
    /* The failure of the upload is reported, not that of the look-up after it. */
    if (result != FTPCLIENT_PENDING && call->run.failed_upload != 0)
        result = outcome->result = call->run.failed_upload;
    if (result != FTPCLIENT_PENDING && outcome->result != 0)
        outcome->cause = ftpc_plan_cause(&call->run);
    return result;
}
