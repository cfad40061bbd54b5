/* A call under way: what every call has, and the run of a job. */
#ifndef FTPC_CALL_H
#define FTPC_CALL_H

#include "libftpclient/evidence.h"
#include "libftpclient/exchange.h"
#include "libftpclient/request.h"
#include "libftpclient/turn.h"

struct ftpclient {
    struct sockaddr_un address;
};

enum ftpc_stage {
    FTPC_TAKE_TURN,
    FTPC_SEE_IDLE,
    FTPC_START,
    FTPC_WATCH,
    FTPC_FETCH, /* what a file-information job has found */
    FTPC_STOP   /* cancels the job, then watches it end */
};

/* What the job that runs now is for. */
enum ftpc_goal {
    FTPC_GOAL_JOB,     /* itself: a download, a file-information job */
    FTPC_GOAL_LOOK_UP, /* before a resumed upload */
    FTPC_GOAL_WHOLE,   /* the upload of a whole file */
    FTPC_GOAL_APPEND,  /* the upload of what the remote file lacks */
    FTPC_GOAL_CHECK    /* the size after an upload */
};

/* What a run knows of itself. */
typedef struct ftpc_run {
    int stage;           /* ftpc_stage */
    int goal;            /* ftpc_goal */
    int wants_outcome;   /* 0: it ends with the start */
    int job;             /* ftpclient_job that was asked for */
    int doubts;          /* times that an outcome was not sure */
    int refusals;        /* starts that the daemon refused with 5, though no job had come between */
    int is_crowded;      /* a start was refused: some program takes no turns */
    int stop_result;     /* why the job is being stopped; 0 while it is not */
    int failed_upload;   /* the result of an upload, while the size that it has left is looked up; else 0 */
    int is_waiting;      /* for other programs, since wait_end_ms was set */
    int64_t wait_end_ms; /* when waiting for other programs has lasted long enough */
    int wait_left_ms;    /* how long the call may still wait; negative: without limit */
    int64_t moved_ms;    /* when bytes of the job have last moved */
    ftpc_turn_t turn;
    int turn_error;
    pid_t daemon; /* 0: not known */
    ftpc_evidence_t evidence;
    ftpclient_request_t request; /* a copy: the caller may free its own */
    ftpclient_outcome_t outcome;
} ftpc_run_t;

struct ftpclient_call {
    struct sockaddr_un address;
    int timer;
    int is_run; /* else it is one exchange, of `command` */
    uint32_t command;
    int result;              /* FTPCLIENT_PENDING until it is over */
    int saved_errno;         /* of FTPCLIENT_ERR_SYSTEM */
    int64_t end_ms;          /* when the caller's time is over */
    int64_t wake_ms;         /* nothing is to be done before */
    int64_t batch_end_ms;    /* when the daemon must have answered */
    ftpc_batch_t batch;      /* its watcher is what the caller waits for */
    ftpclient_state_t state; /* the last that was seen */
    int32_t last_result;
    ftpc_run_t run;
};

/* Prepares a run of `request`, which is in place. Without `wants_outcome` it ends with the start. */
FTPC void ftpc_run_begin(ftpclient_call_t *call, int job, int wants_outcome);

/* What the run is doing, an ftpclient_phase. */
FTPC int ftpc_run_phase(const ftpclient_call_t *call);

/* Steps of a run, each to be called while the call is pending: goes on as far as it can. Returns
 * FTPCLIENT_PENDING, or what the call has come to. */
FTPC int ftpc_run_advance(ftpclient_call_t *call);

/* The turn that the run holds or waits for is given back. */
FTPC void ftpc_run_end(ftpclient_call_t *call);

/* The run's answer to ftpclient_call_stop(); `reason` is what the call will have come to, unless the job ends
 * by itself first. */
FTPC void ftpc_run_stop(ftpclient_call_t *call, int reason);

/* The reply to the request at `index` of the batch. */
FTPC const uint8_t *ftpc_call_reply(const ftpclient_call_t *call, int index);

/* ---- Which jobs a run is made of: one as a rule; for an upload that is resumed or verified, look-ups before
 * and after it ---- */

enum { FTPC_DOUBTS_MAX = 5 }; /* times that a run's jobs may be another's until it gives up */

FTPC int ftpc_plan_first_goal(const ftpc_run_t *run);

/* Before a start: looks at the local file. */
FTPC void ftpc_plan_measure(ftpc_run_t *run);

/* Before the first start: FTPCLIENT_OK, or why the daemon cannot use the local path. */
FTPC int ftpc_plan_sight(const ftpc_run_t *run);

/* The daemon has begun the job of the present goal. */
FTPC void ftpc_plan_begun(ftpc_run_t *run);

/* How many bytes the job of the present goal will move; FTPCLIENT_UNKNOWN. */
FTPC int64_t ftpc_plan_expected(const ftpc_run_t *run);

/* 1 when the job of the present goal may be run once more without harm. */
FTPC int ftpc_plan_may_repeat(const ftpc_run_t *run);

/* The job of the present goal may be another's: sets the goal that begins it anew. */
FTPC void ftpc_plan_again(ftpc_run_t *run);

/* Puts what the job of the present goal has come to into the outcome; `found` is NULL but after a
 * file-information job that went well. */
FTPC void ftpc_plan_keep(ftpc_run_t *run, const ftpclient_state_t *state, const ftpclient_file_info_t *found);

/* Keeps it, then sets the next goal: FTPCLIENT_PENDING, or what the run has come to. */
FTPC int ftpc_plan_next(ftpc_run_t *run, const ftpclient_state_t *state, const ftpclient_file_info_t *found);

/* The cause of the outcome's failure, by a look at the local file where the daemon cannot tell. */
FTPC int ftpc_plan_cause(const ftpc_run_t *run);

/* ---- Between the files of a run ---- */

enum {
    FTPC_LOOK_MS = FTPC_PASS_MS - 30 /* from a reply to the next question: just in time for the next pass */
};

/* The ftpclient_job that is run for the present goal. */
FTPC int ftpc_job_of_goal(const ftpc_run_t *run);

/* Leaves what is under way and begins a stage after a pause. Always FTPCLIENT_PENDING. */
FTPC int ftpc_enter(ftpclient_call_t *call, int stage, int pause_ms);

/* Each takes an answered batch, or the reply in it at an index, and does what follows: FTPCLIENT_PENDING, or
 * what the run has come to. */
FTPC int ftpc_take_state(ftpclient_call_t *call, int index);
FTPC int ftpc_take_file_info(ftpclient_call_t *call, int index);
FTPC int ftpc_take_stop(ftpclient_call_t *call);

#endif
