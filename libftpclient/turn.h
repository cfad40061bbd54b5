/* The turn: programs hand jobs to the daemon one after the other, and none reads another's outcome.
 *
 * The turn itself is an exclusive flock(2) on a file beside the control socket; the kernel gives it back when
 * its holder ends. So that nobody is passed over for ever, those who wait also keep a place in a line: one
 * locked byte each (F_OFD_SETLK, fcntl(2)), the higher the later they came. A place is only a courtesy: a
 * program that knows nothing of it is still kept out by the flock. */
#ifndef FTPC_TURN_H
#define FTPC_TURN_H

#include "libftpclient/ftpc.h"

typedef struct ftpc_turn {
    int fd; /* -1: not held and not waited for */
    int is_held;
    int has_place; /* in the line */
    int64_t place;
} ftpc_turn_t;

/* Opens the file of the turn at `path`, or makes it. Returns 0, or the errno that stands in the way: then
 * this program cannot take turns. Never blocks. */
FTPC int ftpc_turn_open(ftpc_turn_t *turn, const char *path);

/* Tries to take the turn: 1 when it is held now, 0 when it must be tried again, after FTPC_TURN_RETRY_MS.
 * Never blocks. */
FTPC int ftpc_turn_try(ftpc_turn_t *turn);

/* Gives turn, place and descriptor back. */
FTPC void ftpc_turn_give_back(ftpc_turn_t *turn);

enum { FTPC_TURN_RETRY_MS = 50 };

#endif
