// Files that are written whole or not at all.
#pragma once

#include <cstddef>

// Puts the bytes into the file `path` as platform/secure.h tells. A libsecure_result: done, cannot create,
// cannot write. Blocks until it is on the disk.
int secure_file_write(const char *path, const void *data, size_t length);
