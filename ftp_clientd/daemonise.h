// How the process leaves whoever started it.
#pragma once

// Goes on as a daemon: in a session of its own without being its leader, in "/", with umask 0, descriptor 0
// on /dev/null, 1 and 2 on /dev/console. The caller's own process ends with status 0. A failure is logged and
// ends the process with status 1.
void daemonise();

// Goes on in a child process, where it returns 0; the parent ends with status 0. A failed fork is logged and
// ends the process with status 1.
int change_child_process();
