// The commands of the control socket.
#pragma once

#include "wire/wire.h"

// Serves the client that waits at the control socket, if any: one request, one reply. `last_job` is the reply
// to the last command 1, 2 or 5 (0, 0 before the first); a no-operation repeats its detail. Keep it from call
// to call. Does not wait for a client; for one that is there it blocks as serve_request does.
void serve_waiting_client(reply_t *last_job);

// The same over a connection that is open already, and stays open. Blocks for its deadline at most, 10 s
// after it was accepted, but in command 4 also until the job has stopped. A failure is only logged.
void serve_request(int connection, reply_t *last_job);
