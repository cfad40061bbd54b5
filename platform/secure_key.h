// Host keys as text.
#pragma once

#include "strutil/guards.h"

#include <cstddef>

// The key blob of RFC 4253, 6.6 as one OpenSSH public-key line, `type base64` and a newline, in *line:
// *line_length bytes without its terminator. A libsecure_result: LIBSECURE_DONE; LIBSECURE_BAD_DATA, with
// *line unchanged; LIBSECURE_NO_MEMORY, with *line NULL. Does not block.
int secure_key_line(const void *key, size_t key_length, heap_string *line, size_t *line_length);
