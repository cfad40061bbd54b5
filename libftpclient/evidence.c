#include "libftpclient/evidence.h"

#include "wire/control.h"

enum {
    TIMER_MS = 10,     /* accuracy of sleeps and clocks */
    CLOCK_MS = 50,     /* how far the daemon's clock may get ahead of ours during a job */
    LONG_JOB_MS = 5000 /* a job this old with the right size counts as ours */
};

FTPC void ftpc_evidence_begin(ftpc_evidence_t *evidence, int job, int64_t expected_bytes, int64_t asked_ms)
{
    memset(evidence, 0, sizeof *evidence);
    evidence->job = job;
    evidence->expected_bytes = expected_bytes;
    evidence->asked_ms = asked_ms;
    evidence->served_ms = asked_ms;
}

/* The elapsed time restarts with each try, and over SFTP also after the login; at that moment
 * nothing has moved. */
static int has_gone_back(const ftpclient_progress_t *before, const ftpclient_progress_t *now)
{
    if (now->retries < before->retries)
        return 1;
    return now->retries == before->retries && before->transferred_bytes > 0 &&
           (now->elapsed_ms < before->elapsed_ms || now->transferred_bytes < before->transferred_bytes);
}

static int has_expected_size(const ftpc_evidence_t *evidence, const ftpclient_state_t *state)
{
    return evidence->expected_bytes > 0 && state->progress.total_bytes == evidence->expected_bytes;
}

static int contradicts(const ftpc_evidence_t *evidence, const ftpclient_state_t *state,
                       const ftpc_look_t *look)
{
    const ftpclient_progress_t *progress = &state->progress;
    if (state->job != evidence->job)
        return 1;
    if (evidence->expected_bytes > 0 && progress->total_bytes > 0 && !has_expected_size(evidence, state))
        return 1;
    if (progress->elapsed_ms > look->replied_ms - evidence->asked_ms + CLOCK_MS)
        return 1;
    return evidence->has_looked && has_gone_back(&evidence->last.progress, progress);
}

static int is_next(const ftpc_evidence_t *evidence, const ftpc_look_t *look)
{
    return look->is_adjacent || look->replied_ms - evidence->served_ms < 2 * CONTROL_PASS_MS - TIMER_MS;
}

/* Notes the earliest time at which the daemon can have served this request: not before it was queued, and one
 * pass after the request before it. */
static void note_pass(ftpc_evidence_t *evidence, const ftpc_look_t *look)
{
    const int64_t next_ms = evidence->served_ms + CONTROL_PASS_MS;
    evidence->served_ms = look->queued_ms > next_ms ? look->queued_ms : next_ms;
}

FTPC int ftpc_evidence_follows(ftpc_evidence_t *evidence, const ftpc_look_t *look)
{
    if (!is_next(evidence, look))
        return 0;
    note_pass(evidence, look);
    return 1;
}

/* True when the job is older than any that started after our last certain request can be. */
static int is_too_old_for_another(const ftpc_evidence_t *evidence, const ftpclient_state_t *state,
                                  const ftpc_look_t *look)
{
    const int64_t oldest_other_ms = look->replied_ms - evidence->served_ms - CONTROL_PASS_MS;
    return state->progress.elapsed_ms > oldest_other_ms + TIMER_MS ||
           (state->progress.elapsed_ms > LONG_JOB_MS && has_expected_size(evidence, state));
}

/* A stopped job counts as ours. It usually is, because a cancel keeps the daemon busy until the job has
 * stopped; and whoever stopped it does not want it to run again. */
static int is_cancelled(const ftpclient_state_t *state)
{
    return !state->running && state->result == FTPCLIENT_RESULT_CANCELED;
}

FTPC int ftpc_evidence_judge(ftpc_evidence_t *evidence, const ftpclient_state_t *state,
                             const ftpc_look_t *look)
{
    if (contradicts(evidence, state, look))
        return FTPC_FOREIGN;
    if (!is_cancelled(state) && !is_next(evidence, look) && !is_too_old_for_another(evidence, state, look))
        return FTPC_UNSURE;
    note_pass(evidence, look);
    evidence->has_looked = 1;
    evidence->last = *state;
    return FTPC_OWN;
}
