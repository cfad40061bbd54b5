// The work of one job.
#pragma once

#include "job_slot/job_slot.h"

// Runs the job of `slot`, a curl_job_t, from libcurl's global set-up to its clean-up, on the calling thread,
// where SIGPIPE stays blocked. Blocks until the transfer and its retries have ended. On return the outcome is
// in the record.
void th_exec(job_slot_t *slot);
