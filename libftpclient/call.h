/* A pending call: the common part of all calls, and the run of a job. */
#ifndef FTPC_CALL_H
#define FTPC_CALL_H

#include "libftpclient/evidence.h"
#include "libftpclient/exchange.h"
#include "libftpclient/request.h"
#include "libftpclient/turn.h"
#include "wire/control.h"

struct ftpclient {
    struct sockaddr_un address;
};

enum ftpc_stage {
    FTPC_TAKE_TURN,
    FTPC_SEE_IDLE,
    FTPC_START,
    FTPC_WATCH,
    FTPC_FETCH, /* gets the result of a file-information job */
    FTPC_STOP   /* cancels the job and waits for its end */
};

/* The purpose of the running job. */
enum ftpc_goal {
    FTPC_GOAL_JOB,     /* the requested download or file-information job */
    FTPC_GOAL_LOOK_UP, /* before a resumed upload */
    FTPC_GOAL_WHOLE,   /* the upload of a whole file */
    FTPC_GOAL_APPEND,  /* the upload of the missing part */
    FTPC_GOAL_CHECK    /* the look-up of the size after an upload */
};

/* The state of a run. */
typedef struct ftpc_run {
    int stage;           /* ftpc_stage */
    int goal;            /* ftpc_goal */
    int wants_outcome;   /* 0: the run ends with the start */
    int job;             /* the requested ftpclient_job */
    int doubts;          /* how often an outcome was uncertain */
    int refusals;        /* starts refused with 5 although no other job had run in between */
    int is_crowded;      /* a start was refused, so some program takes no turns */
    int stop_result;     /* why the job is being stopped; 0 while it is not */
    int failed_upload;   /* the result of a failed upload while the remote size is looked up; otherwise 0 */
    int is_waiting;      /* for other programs; wait_end_ms is set */
    int64_t wait_end_ms; /* when the wait for other programs must end */
    int wait_left_ms;    /* how long the call may still wait; negative: without limit */
    int64_t moved_ms;    /* when a byte of the job last moved */
    ftpc_turn_t turn;
    int turn_error;
    pid_t daemon; /* 0: unknown */
    ftpc_evidence_t evidence;
    ftpclient_request_t request; /* a copy: the caller may free its own */
    ftpclient_outcome_t outcome;
} ftpc_run_t;

struct ftpclient_call {
    struct sockaddr_un address;
    int timer;
    int is_run; /* 0: the call is one exchange, of `command` */
    uint32_t command;
    int result;              /* FTPCLIENT_PENDING until it is over */
    int saved_errno;         /* of FTPCLIENT_ERR_SYSTEM */
    int64_t end_ms;          /* when the caller's time limit expires */
    int64_t wake_ms;         /* there is nothing to do before */
    int64_t batch_end_ms;    /* when the daemon must have answered */
    ftpc_batch_t batch;      /* the caller waits for its watcher */
    ftpclient_state_t state; /* the last known one */
    int32_t last_result;
    ftpc_run_t run;
};

/* Prepares a run of the request already stored in it. Without `wants_outcome` it ends with the start. */
FTPC void ftpc_run_begin(ftpclient_call_t *call, int job, int wants_outcome);

/* What the run is doing, an ftpclient_phase. */
FTPC int ftpc_run_phase(const ftpclient_call_t *call);

/* Continues the run as far as possible; call it while the call is pending. Returns FTPCLIENT_PENDING or the
 * call's result. */
FTPC int ftpc_run_advance(ftpclient_call_t *call);

/* Releases the turn that the run holds or waits for. */
FTPC void ftpc_run_end(ftpclient_call_t *call);

/* Implements ftpclient_call_stop(); `reason` becomes the call's result unless the job ends by itself first.
 */
FTPC void ftpc_run_stop(ftpclient_call_t *call, int reason);

/* The reply to the request at `index` of the batch. */
FTPC const uint8_t *ftpc_call_reply(const ftpclient_call_t *call, int index);

/* ---- The jobs of a run: usually one; a resumed or verified upload also has look-ups before and after it
 * ---- */

enum { FTPC_DOUBTS_MAX = 5 }; /* how often an outcome may be uncertain before the run gives up */

FTPC int ftpc_plan_first_goal(const ftpc_run_t *run);

/* Before a start: reads the local file's size. */
FTPC void ftpc_plan_measure(ftpc_run_t *run);

/* Before the first start: FTPCLIENT_OK, or why the daemon cannot use the local path. */
FTPC int ftpc_plan_sight(const ftpc_run_t *run);

/* To be called when the daemon has started the job of the current goal. */
FTPC void ftpc_plan_begun(ftpc_run_t *run);

/* How many bytes the job of the current goal will move, or FTPCLIENT_UNKNOWN. */
FTPC int64_t ftpc_plan_expected(const ftpc_run_t *run);

/* 1 when the job of the current goal can safely be run again. */
FTPC int ftpc_plan_may_repeat(const ftpc_run_t *run);

/* Sets the goal that restarts the job of the current goal, because its outcome may be another program's. */
FTPC void ftpc_plan_again(ftpc_run_t *run);

/* Stores the result of the job of the current goal in the outcome; `found` is NULL except after a successful
 * file-information job. */
FTPC void ftpc_plan_keep(ftpc_run_t *run, const ftpclient_state_t *state, const ftpclient_file_info_t *found);

/* The same, and sets the next goal: FTPCLIENT_PENDING, or the run's result. */
FTPC int ftpc_plan_next(ftpc_run_t *run, const ftpclient_state_t *state, const ftpclient_file_info_t *found);

/* The cause of the outcome's failure; checks the local file where the daemon's report is not enough. */
FTPC int ftpc_plan_cause(const ftpc_run_t *run);

/* ---- Between the files of a run ---- */

enum {
    FTPC_LOOK_MS = CONTROL_PASS_MS - 30 /* from a reply to the next request: just in time for the next pass */
};

/* The ftpclient_job of the current goal. */
FTPC int ftpc_job_of_goal(const ftpc_run_t *run);

/* Abandons pending exchanges and begins a stage after a pause. Always FTPCLIENT_PENDING. */
FTPC int ftpc_enter(ftpclient_call_t *call, int stage, int pause_ms);

/* Each handles a completed batch, or the reply in it at an index: FTPCLIENT_PENDING, or the run's result. */
FTPC int ftpc_take_state(ftpclient_call_t *call, int index);
FTPC int ftpc_take_file_info(ftpclient_call_t *call, int index);
FTPC int ftpc_take_stop(ftpclient_call_t *call);

#endif
