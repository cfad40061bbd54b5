// The common part of both engines: one job at a time on a worker thread, its record, and the lock between the
// two threads. The engine supplies the work and its log ids, and owns the slot.
//
// Only the main thread calls these functions, except job_lock and those for the worker. A call holds the lock
// only briefly; only job_cancel waits.
#pragma once

#include "job_slot/job_record.h"

#include <cstdint>
#include <pthread.h>

struct job_slot_t;

// What a start does with a worker that has ended but was not yet joined. The start is refused either way.
enum class unjoined_t {
    forgotten, // detach it: its job is never reported, and the next start succeeds
    kept,      // leave it to job_finished, which joins and reports it; until then every start is refused
};

// What differs between the engines. Log ids are written as they are logged.
struct job_engine_t {
    void (*work)(job_slot_t *slot); // runs the job in the record to its end, on the worker thread
    unjoined_t unjoined;
    const char *not_recursive_id; // the lock cannot be made recursive
    const char *lock_id;
    const char *unlock_id;
    const char *create_id;      // pthread_create failed
    const char *not_started_id; // errno, for every start without a worker
    const char *no_thread_id;   // a second line in this case; NULL = none
    const char *join_id;
};

// Static, one for each engine; `engine` is set before job_init.
//
// While a job runs, `request` and module_info.exec do not change and may be read without the lock; the rest
// of the record is accessed only under a job_lock.
struct job_slot_t {
    job_record_t record = {};
    uint32_t started = 0; // 1 = there is a worker that has not been joined
    pthread_t thread = {};
    pthread_mutex_t mutex = {}; // recursive
    const job_engine_t *engine = nullptr;
};

// Holds the slot's lock for one scope. A failed lock or unlock is logged, and the scope continues.
class job_lock
{
public:
    explicit job_lock(job_slot_t *slot);
    ~job_lock();
    job_lock(const job_lock &) = delete;
    job_lock &operator=(const job_lock &) = delete;

private:
    job_slot_t *slot_;
};

// Creates the lock and resets the job's status. 0, or -1 (logged) when the lock cannot be made recursive.
int job_init(job_slot_t *slot);

// Starts a job. The request is copied up to its `resume`. `upload_flag` is passed to an upload in the first
// byte of remote_file, which clients can see. A file-information job clears remote_file. FTPCD_ERR_NONE when
// the worker runs, FTPCD_ERR_BUSY when a job is running (nothing changes), FTPCD_ERR_INTERNAL when there is
// no worker (logged): the thread cannot be created, or the last one was not yet joined.
uint32_t job_start(job_slot_t *slot, job_kind kind, const transfer_request_t *request, uint8_t upload_flag);

// Returns 0 exactly once for each job that has ended, after joining its worker; pthread_join's error (logged)
// if that fails, in which case the worker is abandoned; otherwise -1.
int job_finished(job_slot_t *slot);

// Copies the record, a job_record_t, to the caller's `out`, which need not be aligned.
void job_get_state(job_slot_t *slot, void *out);

// Asks the running job to stop and waits without a limit until it has stopped; returns 0.
// FTPCD_ERR_NOT_RUNNING when none runs; the cancel flag then stays set until the next start. If the job has
// not ended after 1.5 s, `unheard` is called every 100 ms, on the calling thread and without the lock, before
// each check; NULL = no call.
int job_cancel(job_slot_t *slot, void (*unheard)(job_slot_t *slot));

// For the worker; all except job_upload_flag take the lock.

// True once the running job was asked to stop.
bool job_is_cancelled(job_slot_t *slot);

// Makes `result`, an ftpcd_err, the job's result. Clients see it when the job has ended.
void job_store_result(job_slot_t *slot, uint32_t result);

// The flag of a running upload, as passed to job_start.
uint8_t job_upload_flag(const job_slot_t *slot);
