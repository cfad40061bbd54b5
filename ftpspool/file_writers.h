// Whether a file is complete: nobody writes into it any more.
#pragma once

#include <cstdint>
#include <sys/stat.h>

enum class writers_t { NONE, SOME, UNKNOWN };

// Takes a read lease on a file that is open for reading. NONE: the lease is held, and whoever opens the
// file for writing waits until `fd` is closed. UNKNOWN: the file's owner is another user, or its file
// system has no leases.
writers_t writers_hold_off(int fd);

// For files whose writers are unknown: true when the last change is some seconds away from `now_s`. One in
// the future counts as well: the clock has been set.
bool has_settled(const struct stat &status, int64_t now_s);
