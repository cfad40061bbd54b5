// The commands of the control socket.
#pragma once

#include "wire/wire.h"

// Serves one waiting client of the control socket, if any: one request, one reply. `last_job` is the reply to
// the last command 1, 2 or 5 (0, 0 before the first), whose detail a no-operation repeats; pass the same
// object each time. Does not wait for a client; blocks as serve_request does while it serves one.
void serve_waiting_client(reply_t *last_job);

// The same over an open connection, which stays open. Blocks until the connection's deadline at most, 10 s
// after it was accepted; command 4 also blocks until the job has stopped. A failure is only logged.
void serve_request(int connection, reply_t *last_job);
