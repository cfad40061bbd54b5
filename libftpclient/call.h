/* A pending call: the common part of all calls, and the run of a job.
 *
 * Nothing here waits: every function does what it can and returns, and the call's descriptor becomes readable
 * when there is more to do. Times are those of monotonic_ms(). Where a result is an int, it is
 * FTPCLIENT_PENDING or what the blocking function would return. Only one thread at a time may use a call. */
#ifndef FTPC_CALL_H
#define FTPC_CALL_H

#include "libftpclient/evidence.h"
#include "libftpclient/exchange.h"
#include "libftpclient/request.h"
#include "libftpclient/turn.h"
#include "wire/control.h"

/* The daemon at a control socket. Never changes, so several threads may use it. */
struct ftpclient {
    struct sockaddr_un address;
};

/* What a run does next. Each job of a run begins with FTPC_SEE_IDLE. */
enum ftpc_stage {
    FTPC_TAKE_TURN, /* waits until it holds the turn */
    FTPC_SEE_IDLE,  /* waits until the daemon runs no job */
    FTPC_START,     /* starts the job */
    FTPC_WATCH,     /* asks for the state until the job has ended */
    FTPC_FETCH,     /* gets the result of a file-information job */
    FTPC_STOP       /* cancels the job and waits for its end */
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
    int doubts;          /* how often an outcome was uncertain, at most FTPC_DOUBTS_MAX */
    int refusals;        /* starts refused with 5 although no other job had run in between */
    int is_crowded;      /* a start was refused, so some program takes no turns */
    int stop_result;     /* why the job is being stopped; 0 while it is not */
    int failed_upload;   /* the result of a failed upload while the remote size is looked up; otherwise 0 */
    int is_waiting;      /* for other programs; wait_end_ms is set */
    int64_t wait_end_ms; /* when the wait for other programs must end */
    int wait_left_ms;    /* how long the call may still wait; negative: without limit */
    int64_t moved_ms;    /* when a byte of the job last moved */
    ftpc_turn_t turn;
    int turn_error; /* the errno of ftpc_turn_open(); 0: it takes turns */
    ftpc_evidence_t evidence;
    ftpclient_request_t request; /* a copy: the caller may free its own */
    ftpclient_outcome_t outcome;
} ftpc_run_t;

struct ftpclient_call {
    struct sockaddr_un address;
    int timer;               /* a timerfd, watched by the batch's watcher */
    int is_run;              /* 0: the call is one exchange */
    int result;              /* FTPCLIENT_PENDING until it is over */
    int saved_errno;         /* of FTPCLIENT_ERR_SYSTEM */
    int64_t end_ms;          /* when the caller's time limit expires */
    int64_t wake_ms;         /* there is nothing to do before; FTPC_NEVER: until a reply comes */
    int64_t batch_end_ms;    /* when the daemon must have answered */
    ftpc_batch_t batch;      /* the caller waits for its watcher */
    ftpclient_state_t state; /* the last known one */
    int32_t last_result;     /* of a ping: the ftpclient_result of the daemon's last start */
    ftpc_run_t run;
};

/* Prepares a run of the request already stored in it, for an ftpclient_job that ftpc_check_job() accepts.
 * Without `wants_outcome` it ends with the start. Sends nothing yet. */
FTPC void ftpc_run_begin(ftpclient_call_t *call, int job, int wants_outcome);

/* What the run is doing, an ftpclient_phase; only for a run that has not ended. */
FTPC int ftpc_run_phase(const ftpclient_call_t *call);

/* Continues the run as far as possible; call it while the call is pending. Returns FTPCLIENT_PENDING or the
 * call's result, which the caller stores. Also fills in the outcome, and its cause once there is a result. */
FTPC int ftpc_run_advance(ftpclient_call_t *call);

/* Releases the turn that the run holds or waits for, and erases the request. A second call does nothing. */
FTPC void ftpc_run_end(ftpclient_call_t *call);

/* Implements ftpclient_call_stop(): the run then ends within 10 s. `reason`, an ftpclient_error or
 * ftpclient_result, becomes the call's result unless the job ends by itself first. Only the first
 * reason counts. */
FTPC void ftpc_run_stop(ftpclient_call_t *call, int reason);

/* ---- The jobs of a run ----
 *
 * Usually one; a resumed or verified upload also has look-ups before and after it. These functions only
 * decide; apart from a stat() of the local file they do no input or output. */

enum { FTPC_DOUBTS_MAX = 5 }; /* how often an outcome may be uncertain before the run gives up */

/* The ftpc_goal that a run of its job and request begins with. */
FTPC int ftpc_plan_first_goal(const ftpc_run_t *run);

/* To be called before each start: stores an upload's local size in the outcome, FTPCLIENT_UNKNOWN unless it
 * is a regular file. */
FTPC void ftpc_plan_measure(ftpc_run_t *run);

/* FTPCLIENT_OK, or why the daemon cannot use the local path: FTPCLIENT_ERR_OUT_OF_SIGHT,
 * FTPCLIENT_ERR_READ_ONLY. `daemon` is its process, 0: unknown. Looks only before the first start; see
 * libftpclient/sight.h. */
FTPC int ftpc_plan_sight(const ftpc_run_t *run, pid_t daemon);

/* To be called when the daemon has started the job of the current goal: counts it in the outcome. */
FTPC void ftpc_plan_begun(ftpc_run_t *run);

/* How many bytes the job of the current goal will move; FTPCLIENT_UNKNOWN unless it is an upload to a server
 * other than Zixi's. */
FTPC int64_t ftpc_plan_expected(const ftpc_run_t *run);

/* 1 when the job of the current goal can safely be run again, otherwise 0. */
FTPC int ftpc_plan_may_repeat(const ftpc_run_t *run);

/* Sets the goal that restarts the job of the current goal, because its outcome may be another program's. */
FTPC void ftpc_plan_again(ftpc_run_t *run);

/* Stores the result of the job of the current goal in the outcome; `found` is NULL except after a successful
 * file-information job. */
FTPC void ftpc_plan_keep(ftpc_run_t *run, const ftpclient_state_t *state, const ftpclient_file_info_t *found);

/* The same, and sets the next goal: FTPCLIENT_PENDING, or the run's result when there is none. */
FTPC int ftpc_plan_next(ftpc_run_t *run, const ftpclient_state_t *state, const ftpclient_file_info_t *found);

/* The ftpclient_cause of the outcome's failure. Examines the local file if the daemon's report is vague. */
FTPC int ftpc_plan_cause(const ftpc_run_t *run);

/* ---- Between the files of a run ---- */

enum {
    /* The pause between a reply and the next request. The request reaches the next pass even if this program
     * wakes up to 55 ms late, and still proves that the passes are consecutive if its reply is then read up
     * to 35 ms late. */
    FTPC_LOOK_MS = CONTROL_PASS_MS - 55
};

/* The ftpclient_job of the current goal. */
FTPC int ftpc_job_of_goal(const ftpc_run_t *run);

/* Abandons pending exchanges and begins an ftpc_stage after a pause in milliseconds. Always
 * FTPCLIENT_PENDING. */
FTPC int ftpc_enter(ftpclient_call_t *call, int stage, int pause_ms);

/* Each handles a completed batch, or the reply in it at an index: a state, the result of a file-information
 * job, a cancel and the state after it. FTPCLIENT_PENDING, or the run's result. */
FTPC int ftpc_take_state(ftpclient_call_t *call, int index);
FTPC int ftpc_take_file_info(ftpclient_call_t *call, int index);
FTPC int ftpc_take_stop(ftpclient_call_t *call);

#endif
