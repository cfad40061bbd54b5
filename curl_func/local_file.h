// The local file of a download or an upload: opening it, and checking it at the end.
#pragma once

#include "strutil/guards.h"

#include <cstdint>
#include <cstdio>

// As fopen(path, "wb"), but never waits for the other end of a pipe, because a cancel could not interrupt
// that. NULL with errno when it cannot be opened; ENXIO for a pipe without a reader.
file_stream local_file_create(const char *path);

// As fopen(path, "rb") for a regular file. NULL with errno for anything else: EISDIR for a
// directory, otherwise EINVAL. Such a file is not opened, or closed at once if it replaced a regular
// file during the call.
file_stream local_file_open(const char *path);

// The functions below examine an open file without closing it or moving its position.

// True when `path` leads to the open file; false when either cannot be examined.
bool local_file_is_named(FILE *file, const char *path);

// True when the open file is as long as what was written to it, or is not a regular one. False when it cannot
// be examined. Flush `file` before the call.
bool local_file_ends_here(FILE *file);

// True when a cancelled download may remove `path`: the open file is a regular one, and `path` leads to it or
// to nothing. False when the open file cannot be examined.
bool local_file_is_removable(FILE *file, const char *path);

// True when a byte can be read at `offset`, whatever size the system reports.
bool local_file_has_byte(FILE *file, int64_t offset);

// Bytes; -1 when the file cannot be examined.
int64_t local_file_size(FILE *file);
