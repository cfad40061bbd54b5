// The engine's one job record and its lock.
#pragma once

#include "wire/job_record.h"

#include <cstdint>
#include <pthread.h>

struct zixif_info_t {
    job_record_t job;
    uint32_t started; // 1 = there is a worker that has not been joined
    pthread_t thread; // the worker
};

// Makes the lock and resets the record. 0, or -1 (logged) when the lock cannot be made recursive.
int zixif_job_init();

// Holds the lock for one scope. A failed lock or unlock is logged and the scope runs on.
struct zixif_lock {
    zixif_lock();
    ~zixif_lock();
    zixif_lock(const zixif_lock &) = delete;
    zixif_lock &operator=(const zixif_lock &) = delete;
};

// The record, for as long as the lock is held.
zixif_info_t &zixif_info(const zixif_lock &held);

// The worker's own look at its request, without the lock: nobody else writes to it while a job runs.
const transfer_request_t &zixif_request();
