// SIGINT and SIGTERM as a question that a loop asks.
#pragma once

// From now on the first SIGINT and the first SIGTERM are remembered instead of ending the program; system
// calls that wait return EINTR. The second one of its kind ends the program as usual. A signal that comes
// just before a wait ends no wait: ask often.
void interrupts_catch();

// True after one came.
bool interrupts_seen();
