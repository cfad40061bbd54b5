// The one job of this engine: its record and the lock that guards it.
#pragma once

#include "wire/job_record.h"

#include <cstdint>

// While a job runs, main thread and worker share it. `request` and module_info.exec stay as they are then and
// may be read freely; everything else is touched under a job_lock only.
extern job_record_t curlf_info_;

// Makes the mutex recursive: the start operations hold it while exec_start takes it again. 0, or -1 when
// that is refused (logged).
int job_mutex_init();

// Holds the record's mutex for one scope. A failed lock or unlock is logged and the scope runs on.
struct job_lock {
    job_lock();
    ~job_lock();
    job_lock(const job_lock &) = delete;
    job_lock &operator=(const job_lock &) = delete;
};

bool job_running(const job_record_t *job);
bool job_cancelled(const job_record_t *job);
void job_store_result(job_record_t *job, uint32_t result);

// The upload's resume flag lives in the first byte of remote_file. Under a job_lock, or before the worker
// starts.
void job_set_resume(job_record_t *job, uint32_t resume); // the low byte counts
bool job_resumes(const job_record_t *job);
