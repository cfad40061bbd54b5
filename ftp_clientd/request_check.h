// Checks job requests before they reach the engines, which read a request's strings without checks.
#pragma once

#include "wire/wire.h"

// Returns the request in `body`, the `length` bytes that came with `command` (1, 2 or 5; body is NULL when
// there are none), or NULL when it must be refused: it is too short; a string that the job reads has no
// terminator inside its field, or contains something that would make libcurl use another file or host or send
// a second command; or a required name is empty or names no file. Nothing is logged.
const transfer_request_t *request_check(uint32_t command, const void *body, size_t length);
