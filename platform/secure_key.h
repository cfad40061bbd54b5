// Host keys as text.
#pragma once

#include <cstddef>

// The key blob of RFC 4253, 6.6 as one OpenSSH public-key line, `type base64` and a newline: a new string in
// *line, which the caller frees, *line_length bytes without its terminator. A libsecure_result: done; bad
// data, with *line as it was; no memory, with NULL.
int secure_key_line(const void *key, size_t key_length, char **line, size_t *line_length);
