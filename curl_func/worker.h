// The thread of one job.
#pragma once

// Runs the job in `record`, a job_record_t, from libcurl's global set-up to its clean-up. The outcome is in
// the record before `running` becomes 0, which is the last thing the thread does. Returns NULL.
void *th_exec(void *record);
