// Files that are written completely or not at all.
#pragma once

#include <cstddef>

// Writes the bytes to the file `path` as described in platform/secure.h. A libsecure_result: LIBSECURE_DONE,
// LIBSECURE_CANNOT_CREATE or LIBSECURE_CANNOT_WRITE; after a failure an existing file is unchanged. Blocks
// until the file is on the disk.
int secure_file_write(const char *path, const void *data, size_t length);
