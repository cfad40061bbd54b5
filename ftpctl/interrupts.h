// SIGINT, SIGTERM and SIGHUP as a flag to check and a descriptor to wait for.
#pragma once

// From now on the first of these signals is recorded and does not end the program; the second one, of any
// kind, ends it as usual. A closing terminal sends SIGHUP twice; the two count as one. If SIGHUP was ignored,
// as under nohup(1), it stays ignored. Further calls do nothing. Throws failure (STATUS_LOCAL) when there is
// no descriptor left.
void interrupts_catch();

// True after the first signal, for the rest of the program's life.
bool interrupts_seen();

// For poll(2): stays readable after the first signal. Before interrupts_catch() it is -1, which
// poll() ignores.
int interrupts_fd();
