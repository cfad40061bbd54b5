// The work of one job.
#pragma once

#include "job_slot/job_slot.h"

// Runs the job of `slot`, a curl_job_t, from libcurl's global set-up to its clean-up, on the thread that
// calls, where SIGPIPE stays blocked. The outcome is in the record when it returns.
void th_exec(job_slot_t *slot);
