// SIGINT, SIGTERM and SIGHUP as a question that a loop asks, and a descriptor that it can wait for.
#pragma once

// From now on the first of them is remembered instead of ending the program; the second one, of whatever
// kind, ends it as usual. A terminal that closes sends SIGHUP twice in a row: together they count as one.
// SIGHUP stays ignored where it was, as under nohup(1). Calling it again changes nothing. Throws failure
// (STATUS_LOCAL) when there is no descriptor left.
void interrupts_catch();

// True after one came.
bool interrupts_seen();

// For poll(2): readable from the first one on, for ever. -1, which poll() passes over, before
// interrupts_catch().
int interrupts_fd();
