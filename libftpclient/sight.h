/* Whether the daemon finds at a path what this program finds there. A service manager, or a container, can
 * give it a view of the file system of its own. Everybody may read the mounts of a process
 * (/proc/PID/mountinfo, proc(5)); where that is hidden, nothing is known. */
#ifndef FTPC_SIGHT_H
#define FTPC_SIGHT_H

#include "libftpclient/ftpc.h"

#include <sys/types.h>

enum ftpc_sight {
    FTPC_SIGHT_CLEAR = FTPCLIENT_OK,               /* the same, or nothing is known */
    FTPC_SIGHT_OTHER = FTPCLIENT_ERR_OUT_OF_SIGHT, /* another file or folder, or none */
    FTPC_SIGHT_READ_ONLY = FTPCLIENT_ERR_READ_ONLY
};

/* How the process `daemon` sees the absolute `path`; 0 for one that is not known. `writes`: it is to be
 * written there, and need not exist. Looks at the mounts alone, never at what the daemon's user may do. */
FTPC int ftpc_sight_of(pid_t daemon, const char *path, int writes);

/* The same with the two tables as they stand in mountinfo, which are changed. */
FTPC int ftpc_sight_compare(char *own_table, char *daemons_table, const char *path, int writes);

#endif
