/* Turns: programs give jobs to the daemon one after the other, so that none reads another's outcome.
 *
 * The turn is an exclusive flock(2) on a file next to the control socket; the kernel releases it when its
 * holder ends. For fairness, waiting programs also have a place in a queue: each locks one byte (F_OFD_SETLK,
 * fcntl(2)), later programs higher ones. The queue is optional: the flock excludes all others too. */
#ifndef FTPC_TURN_H
#define FTPC_TURN_H

#include "libftpclient/ftpc.h"

/* Belongs to one call. Before ftpc_turn_open() only `fd` has to be set, to -1. */
typedef struct ftpc_turn {
    int fd; /* -1: not held and not waited for */
    int is_held;
    int has_place; /* in the queue */
    int64_t place; /* the number of the locked byte, from 0 */
} ftpc_turn_t;

/* Opens or creates the lock file at `path`, with mode 0666 less the umask. Returns 0, or an errno: this
 * program then cannot take turns. Never blocks. */
FTPC int ftpc_turn_open(ftpc_turn_t *turn, const char *path);

/* Tries to take the turn, or at least a place in the queue: 1 when it is held now, 0 to try again after
 * FTPC_TURN_RETRY_MS. Never blocks. */
FTPC int ftpc_turn_try(ftpc_turn_t *turn);

/* Releases turn and place, and closes the descriptor. The file stays, because others may wait for its lock.
 * Does nothing when nothing is held. */
FTPC void ftpc_turn_give_back(ftpc_turn_t *turn);

/* How long to wait between two tries: there is no event to wait for. */
enum { FTPC_TURN_RETRY_MS = 50 };

#endif
