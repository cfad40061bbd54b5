// Whether an upload can go on where an earlier one stopped.
#pragma once

#include "wire/job_status.h"

#include <cstdint>

enum class resume_t {
    WHOLE,  // nothing is there: an ordinary upload
    APPEND, // the request's `resume` is set
    DONE,   // all of it is there already
};

// Decides by what a file-information job found and the local file's size. Throws failure (STATUS_NO_RESUME)
// when the remote file cannot be a beginning of the local one.
resume_t resume_decide(const remote_file_t &remote, int64_t local_bytes);
