/* Decides whether a state of the daemon belongs to the job that this client started.
 *
 * In one pass of its main loop the daemon serves one request, notices the end of a job, and sleeps 100 ms.
 * Another program's job can start only after ours has ended, in a separate pass. So while our requests are
 * served in consecutive passes, no other request was served in between. If there was time for another
 * program's pass, a job that started there is at least one pass younger than the gap: a longer elapsed time
 * proves that the job is ours. A job of another kind or size, or whose elapsed time decreased, is never ours.
 */
#ifndef FTPC_EVIDENCE_H
#define FTPC_EVIDENCE_H

#include "libftpclient/ftpc.h"

enum ftpc_evidence_verdict {
    FTPC_OWN,    /* it belongs to our job */
    FTPC_UNSURE, /* may be another program's; a later state may decide */
    FTPC_FOREIGN /* another program's */
};

typedef struct ftpc_evidence {
    int job;                /* the started ftpclient_job */
    int64_t expected_bytes; /* what it will move, or FTPCLIENT_UNKNOWN */
    int64_t asked_ms;       /* when the start was queued */
    int64_t served_ms;      /* the earliest time at which our last certain request was served */
    int has_looked;         /* 1 = there was a certain state */
    ftpclient_state_t last; /* the last certain state */
} ftpc_evidence_t;

/* A reply of the daemon: when its request was queued, when the reply arrived, and whether the request was
 * queued together with the previous one, so that no other request can be in between. */
typedef struct ftpc_look {
    int64_t queued_ms;
    int64_t replied_ms;
    int is_adjacent;
} ftpc_look_t;

/* Starts over, after the daemon has accepted the start of `job` that was queued at `asked_ms`.
 * `expected_bytes` is what the job will move, or FTPCLIENT_UNKNOWN. Times are those of monotonic_ms(). */
FTPC void ftpc_evidence_begin(ftpc_evidence_t *evidence, int job, int64_t expected_bytes, int64_t asked_ms);

/* Decides about a state, from the reply `look`: an ftpc_evidence_verdict. With FTPC_OWN it becomes the last
 * certain one; otherwise nothing changes. */
FTPC int ftpc_evidence_judge(ftpc_evidence_t *evidence, const ftpclient_state_t *state,
                             const ftpc_look_t *look);

/* For a reply without a state: 1 when no other program can have been served between the last certain reply
 * and this one, which then becomes the last certain one; otherwise 0. */
FTPC int ftpc_evidence_follows(ftpc_evidence_t *evidence, const ftpc_look_t *look);

#endif
