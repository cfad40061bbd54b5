// The work of one job.
#pragma once

#include "job_slot/job_slot.h"

// Runs the job of `slot` to its end, on the calling thread: an upload through the feeder library; any other
// kind ends at once. Blocks until the upload has ended or a cancel was seen, for which it looks once a
// second. On return the outcome is in the record.
void zixif_work(job_slot_t *slot);
