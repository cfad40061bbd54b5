// Detaches the process and puts it into the background.
#pragma once

// Returns in a daemon process: in a new session of which it is not the leader, in "/", with umask 0,
// descriptor 0 on /dev/null, 1 and 2 on /dev/console. The calling process exits with status 0. A failure is
// logged and the process exits with status 1.
void daemonise();

// Forks: returns 0 in the child process; the parent exits with status 0. If fork fails, this is logged and
// the process exits with status 1.
int change_child_process();
