#include "libftpclient/call.h"

#include "libftpclient/sight.h"

#include <stdio.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

FTPC int ftpc_plan_first_goal(const ftpc_run_t *run)
{
    if (run->job != FTPCLIENT_UPLOAD)
        return FTPC_GOAL_JOB;
    return run->request.resume && run->wants_outcome ? FTPC_GOAL_LOOK_UP : FTPC_GOAL_WHOLE;
}

static int is_upload(const ftpc_run_t *run)
{
    return run->goal == FTPC_GOAL_WHOLE || run->goal == FTPC_GOAL_APPEND;
}

FTPC void ftpc_plan_measure(ftpc_run_t *run)
{
    struct stat status;
    if (run->job != FTPCLIENT_UPLOAD || run->goal == FTPC_GOAL_CHECK)
        return;
    const int is_file = stat(run->request.wire.local_path, &status) == 0 && S_ISREG(status.st_mode);
    run->outcome.local_bytes = is_file ? (int64_t)status.st_size : FTPCLIENT_UNKNOWN;
}

FTPC int ftpc_plan_sight(const ftpc_run_t *run, pid_t daemon)
{
    if (run->job == FTPCLIENT_FILE_INFO || run->outcome.jobs > 0)
        return FTPCLIENT_OK;
    return ftpc_sight_of(daemon, run->request.wire.local_path, run->job == FTPCLIENT_DOWNLOAD);
}

FTPC void ftpc_plan_begun(ftpc_run_t *run)
{
    run->outcome.jobs++;
    if (run->goal == FTPC_GOAL_APPEND)
        run->outcome.may_be_spoiled = 1; /* until its end was observed */
}

FTPC int64_t ftpc_plan_expected(const ftpc_run_t *run)
{
    const ftpclient_outcome_t *outcome = &run->outcome;
    if (!is_upload(run) || protocol_is_zixi(run->request.wire.protocol) || outcome->local_bytes < 0)
        return FTPCLIENT_UNKNOWN;
    return outcome->local_bytes - (run->goal == FTPC_GOAL_APPEND ? outcome->resumed_bytes : 0);
}

/* A Zixi upload that must not overwrite would fail because of the file that its first run created. */
FTPC int ftpc_plan_may_repeat(const ftpc_run_t *run)
{
    return !protocol_is_zixi(run->request.wire.protocol) || run->request.wire.resume == 0;
}

/* The daemon appends from the size that its last look-up found. If that may have been another program's
 * look-up, or part of the job was not observed, the remote file may hold anything, and no look-up can show
 * whether it is still a beginning of the local one: the whole file is uploaded. */
FTPC void ftpc_plan_again(ftpc_run_t *run)
{
    if (run->goal != FTPC_GOAL_APPEND)
        return;
    run->outcome.upload = FTPCLIENT_UPLOAD_MENDED;
    run->goal = FTPC_GOAL_WHOLE;
}

/* A retry of a resumed upload appends the file from its beginning. Only the remote size shows whether any of
 * that arrived; a later resume would append to it. */
static int has_appended_twice(const ftpclient_state_t *state)
{
    return state->progress.retries > 1 ||
           (state->progress.retries == 1 && state->progress.transferred_bytes > 0);
}

static void keep_spoiling(ftpc_run_t *run, const ftpclient_state_t *state)
{
    const int begins_anew = run->goal == FTPC_GOAL_WHOLE &&
                            (state->result == FTPCLIENT_RESULT_NONE || state->progress.transferred_bytes > 0);
    if (run->goal == FTPC_GOAL_APPEND)
        run->outcome.may_be_spoiled = has_appended_twice(state);
    else if (begins_anew)
        run->outcome.may_be_spoiled = 0;
}

FTPC void ftpc_plan_keep(ftpc_run_t *run, const ftpclient_state_t *state, const ftpclient_file_info_t *found)
{
    ftpclient_outcome_t *outcome = &run->outcome;
    outcome->result = state->result;
    keep_spoiling(run, state);
    const int is_look_up_that_failed = state->result != FTPCLIENT_RESULT_NONE && run->failed_upload == 0;
    if (is_upload(run) || run->goal == FTPC_GOAL_JOB || is_look_up_that_failed)
        outcome->progress = state->progress; /* that of an upload, not of its look-ups */
    if (found && (run->goal == FTPC_GOAL_JOB || run->goal == FTPC_GOAL_LOOK_UP))
        outcome->file = *found;
    if (found && run->goal != FTPC_GOAL_JOB)
        outcome->remote_bytes = found->exists ? found->size_bytes : found->looked_up ? 0 : FTPCLIENT_UNKNOWN;
    /* If the file grows during the upload, the size that the daemon announced counts. */
    if (is_upload(run) && state->progress.total_bytes > 0)
        outcome->local_bytes =
            state->progress.total_bytes + (run->goal == FTPC_GOAL_APPEND ? outcome->resumed_bytes : 0);
}

static int go_on(ftpc_run_t *run, int goal)
{
    run->goal = goal;
    return FTPCLIENT_PENDING;
}

/* Whether the remote file can be the beginning of the local one. */
static int decide_resume(ftpc_run_t *run, const ftpclient_file_info_t *found)
{
    ftpclient_outcome_t *outcome = &run->outcome;
    if (!found->exists && !found->looked_up)
        return FTPCLIENT_ERR_NO_RESUME; /* listed, but as a folder or a link */
    if (!found->exists || found->size_bytes == 0) {
        outcome->remote_bytes = 0;
        return go_on(run, FTPC_GOAL_WHOLE);
    }
    if (found->size_bytes < 0 || outcome->local_bytes < 0 || found->size_bytes > outcome->local_bytes)
        return FTPCLIENT_ERR_NO_RESUME;
    outcome->resumed_bytes = found->size_bytes;
    if (found->size_bytes < outcome->local_bytes)
        return go_on(run, FTPC_GOAL_APPEND);
    outcome->upload = FTPCLIENT_UPLOAD_NOTHING;
    outcome->verified = 1;
    return FTPCLIENT_OK;
}

/* The daemon refused to append because another program's look-up replaced the size; nothing was sent. After
 * at most two more look-ups, the whole file is uploaded instead. */
static int was_forgotten(const ftpclient_state_t *state)
{
    return state->result == FTPCLIENT_RESULT_INTERNAL && state->progress.transferred_bytes == 0;
}

/* An SFTP server gives no reason for a failure. If its disk is full, the size of what arrived shows it. */
static int is_worth_a_look(const ftpc_run_t *run, const ftpclient_state_t *state)
{
    return ftpclient_cause_of(state->result, &state->progress) == FTPCLIENT_CAUSE_SFTP &&
           run->request.proxy_host[0] == '\0';
}

static int after_failed_upload(ftpc_run_t *run, const ftpclient_state_t *state)
{
    enum { LOOK_UPS_MAX = 2 };
    const int was_append = run->goal == FTPC_GOAL_APPEND;
    const int is_to_mend = run->outcome.may_be_spoiled && was_append;
    if (was_append && was_forgotten(state)) {
        run->doubts++;
        if (run->doubts <= LOOK_UPS_MAX)
            return go_on(run, FTPC_GOAL_LOOK_UP);
        run->outcome.resumed_bytes = 0;
        return go_on(run, FTPC_GOAL_WHOLE);
    }
    if (state->result == FTPCLIENT_RESULT_CANCELED || (!is_to_mend && !is_worth_a_look(run, state)))
        return state->result;
    run->failed_upload = state->result;
    return go_on(run, FTPC_GOAL_CHECK);
}

static int after_upload(ftpc_run_t *run, const ftpclient_state_t *state)
{
    ftpclient_outcome_t *outcome = &run->outcome;
    const int was_append = run->goal == FTPC_GOAL_APPEND;
    if (outcome->upload != FTPCLIENT_UPLOAD_MENDED)
        outcome->upload = was_append ? FTPCLIENT_UPLOAD_REST : FTPCLIENT_UPLOAD_WHOLE;
    if (state->result != FTPCLIENT_RESULT_NONE)
        return after_failed_upload(run, state);
    return run->request.resume || run->request.verify ? go_on(run, FTPC_GOAL_CHECK) : FTPCLIENT_OK;
}

/* Judges the size after the upload. If appending has not led to the right size, uploads the whole file. */
static int after_check(ftpc_run_t *run)
{
    ftpclient_outcome_t *outcome = &run->outcome;
    const int failed_upload = run->failed_upload;
    run->failed_upload = 0;
    if (outcome->remote_bytes == outcome->resumed_bytes)
        outcome->may_be_spoiled = 0; /* nothing arrived: it can be resumed again */
    if (failed_upload != 0 && (!outcome->may_be_spoiled || outcome->upload != FTPCLIENT_UPLOAD_REST))
        return outcome->result = failed_upload;
    if (failed_upload == 0 && outcome->remote_bytes == outcome->local_bytes) {
        outcome->may_be_spoiled = 0;
        outcome->verified = 1;
        return FTPCLIENT_OK;
    }
    if (outcome->upload != FTPCLIENT_UPLOAD_REST)
        return FTPCLIENT_ERR_DIFFERENT;
    outcome->may_be_spoiled = 1;
    outcome->upload = FTPCLIENT_UPLOAD_MENDED;
    return go_on(run, FTPC_GOAL_WHOLE);
}

FTPC int ftpc_plan_next(ftpc_run_t *run, const ftpclient_state_t *state, const ftpclient_file_info_t *found)
{
    ftpc_plan_keep(run, state, found);
    if (is_upload(run))
        return after_upload(run, state);
    if (state->result != FTPCLIENT_RESULT_NONE)
        return state->result;
    switch (run->goal) {
    case FTPC_GOAL_LOOK_UP:
        return decide_resume(run, found);
    case FTPC_GOAL_CHECK:
        return after_check(run);
    default:
        return FTPCLIENT_OK;
    }
}

/* 1 when the folder of `path`, as this program sees it, has no space or no file left. */
static int is_disk_full(const char *path)
{
    char folder[sizeof((transfer_request_t *)0)->local_path];
    const char *slash = strrchr(path, '/');
    if (!slash)
        return 0;
    snprintf(folder, sizeof folder, "%.*s", slash == path ? 1 : (int)(slash - path), path);
    struct statvfs disk;
    return statvfs(folder, &disk) == 0 && (disk.f_bavail == 0 || (disk.f_files > 0 && disk.f_favail == 0));
}

FTPC int ftpc_plan_cause(const ftpc_run_t *run)
{
    const ftpclient_outcome_t *outcome = &run->outcome;
    const char *path = run->request.wire.local_path;
    struct stat status;
    if (outcome->result == FTPCLIENT_RESULT_LOCAL_READ && stat(path, &status) == -1 && errno == ENOENT)
        return FTPCLIENT_CAUSE_NO_LOCAL_FILE;
    if (outcome->result == FTPCLIENT_RESULT_LOCAL_WRITE && is_disk_full(path))
        return FTPCLIENT_CAUSE_LOCAL_FULL;
    const ftpclient_progress_t *progress = &outcome->progress;
    /* RFC 959: a local error of the server, which for an upload is a full disk. */
    const int could_not_store = 451;
    const int is_of_upload = is_upload(run) || run->failed_upload != 0;
    if (is_of_upload && outcome->result == FTPCLIENT_RESULT_NETWORK &&
        progress->response_type == RESPONSE_CODE_FTP && progress->response_code == could_not_store)
        return FTPCLIENT_CAUSE_SERVER_FULL;
    return ftpclient_cause_of(outcome->result, progress);
}
