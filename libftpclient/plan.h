/* Which jobs a run is made of: one as a rule; for an upload that is resumed or verified, look-ups before and
 * after it. */
#ifndef FTPC_PLAN_H
#define FTPC_PLAN_H

#include "libftpclient/call.h"

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

#endif
