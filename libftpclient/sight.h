/* Checks whether the daemon sees the same file at a path as this program. A service manager or a container
 * can give it a different view of the file system. The mounts of a process are readable by everybody
 * (/proc/PID/mountinfo, proc(5)) unless they are hidden; then nothing is known. */
#ifndef FTPC_SIGHT_H
#define FTPC_SIGHT_H

#include "libftpclient/ftpc.h"

#include <sys/types.h>

/* How the process `daemon` (0: unknown) sees the absolute `path`: FTPCLIENT_OK for the same file, and when
 * nothing is known, something cannot be read, or memory is exhausted; FTPCLIENT_ERR_OUT_OF_SIGHT for another
 * file or folder, or none; FTPCLIENT_ERR_READ_ONLY. With `writes` the file is to be written and need not
 * exist. Checks only the mounts, never the permissions of the daemon's user. Blocks as long as stat() on the
 * path does. */
FTPC int ftpc_sight_of(pid_t daemon, const char *path, int writes);

/* The same with the NUL-terminated contents of two mountinfo files, of this process and of the daemon. It
 * modifies both texts. */
FTPC int ftpc_sight_compare(char *own_table, char *daemons_table, const char *path, int writes);

#endif
