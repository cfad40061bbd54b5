/* The stages of a run. Each goes on as far as it can: FTPCLIENT_PENDING, or what the run has come to. */
#ifndef FTPC_STAGES_H
#define FTPC_STAGES_H

#include "libftpclient/call.h"

enum {
    FTPC_ANSWER_MS = 10000,          /* the daemon gives a client as long */
    FTPC_LOOK_MS = FTPC_PASS_MS - 30 /* from a reply to the next question: just in time for the next pass */
};

/* The ftpclient_job that is run for the present goal. */
FTPC int ftpc_job_of_goal(const ftpc_run_t *run);

/* Leaves what is under way and begins a stage after a pause. Always FTPCLIENT_PENDING. */
FTPC int ftpc_enter(ftpclient_call_t *call, int stage, int pause_ms);

/* Takes the batch on: FTPCLIENT_OK when it is answered whole, or FTPCLIENT_ERR_NO_ANSWER. */
FTPC int ftpc_answered(ftpclient_call_t *call);

/* Judges the state at `state_index` of the answered batch, and does what follows from it. */
FTPC int ftpc_judge(ftpclient_call_t *call, int state_index);

FTPC int ftpc_watch(ftpclient_call_t *call);
FTPC int ftpc_fetch(ftpclient_call_t *call);
FTPC int ftpc_stop(ftpclient_call_t *call);

#endif
