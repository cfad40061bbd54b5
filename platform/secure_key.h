// Host keys as text.
#pragma once

#include <cstddef>

// The key blob of RFC 4253, 6.6 as one OpenSSH public-key line, `type base64` and a newline: a new string
// in *line, which the caller releases with free, *line_length bytes without its terminator. A
// libsecure_result: LIBSECURE_DONE; LIBSECURE_BAD_DATA, with *line unchanged; LIBSECURE_NO_MEMORY, with
// *line NULL. Does not block.
int secure_key_line(const void *key, size_t key_length, char **line, size_t *line_length);
