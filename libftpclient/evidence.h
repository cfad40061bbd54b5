/* Whether what the daemon shows is the job that this client started.
 *
 * The daemon serves one request, takes note of a job that has ended, and sleeps 100 ms: one pass. Another
 * program's job can begin only when ours has ended, in a pass of its own. So as long as our requests are
 * served in consecutive passes, nobody has come between. When there is room for a pass of somebody else, a
 * job that began there is at least one pass younger than the gap: an elapsed time above that is our own job's
 * mark. What contradicts, another kind or size of job or a clock that went back, is another's in any case. */
#ifndef FTPC_EVIDENCE_H
#define FTPC_EVIDENCE_H

#include "libftpclient/ftpc.h"

enum ftpc_evidence_verdict {
    FTPC_OWN,
    FTPC_UNSURE, /* may be another's; a later look may show more */
    FTPC_FOREIGN
};

typedef struct ftpc_evidence {
    int job;                /* ftpclient_job that was started */
    int64_t expected_bytes; /* what it will move; FTPCLIENT_UNKNOWN */
    int64_t asked_ms;       /* when the start was queued */
    int64_t served_ms;      /* the daemon served our last sure request then, or
                               later */
    int has_looked;         /* a state was sure */
    ftpclient_state_t last; /* it */
} ftpc_evidence_t;

/* A reply of the daemon: when its request was queued, when it came, and whether the request was queued
 * together with the one before it, so that nobody can have come between. */
typedef struct ftpc_look {
    int64_t queued_ms;
    int64_t replied_ms;
    int is_adjacent;
} ftpc_look_t;

/* The daemon has granted the start that was queued at `asked_ms`. */
FTPC void ftpc_evidence_begin(ftpc_evidence_t *evidence, int job, int64_t expected_bytes, int64_t asked_ms);

/* Judges a state. FTPC_OWN makes it the last sure one. */
FTPC int ftpc_evidence_judge(ftpc_evidence_t *evidence, const ftpclient_state_t *state,
                             const ftpc_look_t *look);

/* Takes a reply of another kind: 1 when nobody else can have been served between the last sure reply and this
 * one, which then is the last sure one. */
FTPC int ftpc_evidence_follows(ftpc_evidence_t *evidence, const ftpc_look_t *look);

#endif
