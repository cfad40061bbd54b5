// The work of one job.
#pragma once

#include "job_slot/job_slot.h"

// Runs the job of `slot` to its end, on the thread that calls: an upload through the feeder library; any
// other kind ends at once. The outcome is in the record when it returns.
void zixif_work(job_slot_t *slot);
