// Which job requests the engines may be handed: they read the strings of a request without a check.
#pragma once

#include "wire/wire.h"

// The request in `body`, the `length` bytes that came with `command` (1, 2 or 5; body is NULL when there are
// none). NULL when it must be refused: it is shorter than a request, a string that the job reads has no
// terminator inside its field, or holds something that would make libcurl fetch or overwrite another file,
// ask another host or send a second command, or a name that it needs is empty or names no file. Nothing is
// logged.
const transfer_request_t *request_check(uint32_t command, const void *body, size_t length);
