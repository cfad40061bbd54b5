// Whether a file is complete: nobody writes into it any more.
#pragma once

#include <cstdint>
#include <sys/stat.h>

enum class writers_t { NONE, SOME, UNKNOWN };

// Takes a read lease on a file that is open for reading. NONE: the lease is held, and whoever opens the file
// for writing waits until `fd` is closed. SOME: a process has the file open for writing. UNKNOWN: the file's
// owner is another user, or its file system has no leases.
writers_t writers_hold_off(int fd);

// For files whose writers are unknown: true when the last change is at least 5 s before `now_s`, or as far
// after it, because the clock was set back.
bool has_settled(const struct stat &status, int64_t now_s);
