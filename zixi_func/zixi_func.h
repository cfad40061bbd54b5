// The upload engine over the Zixi feeder library: one job at a time, on a worker thread.
//
// Called by the main thread. Every call holds the engine's lock only briefly; only zixif_cancel waits.
#pragma once

#include "wire/wire.h"

// Prepares the engine; call it once. 0, or -1 (logged) when its lock cannot be made recursive.
int zixif_init();

// Always FTPCD_ERR_NOT_SUPPORTED: the feeder library only uploads.
uint32_t zixif_download(const transfer_request_t *req);

// Start a job; the request is copied. FTPCD_ERR_NONE when the worker runs, FTPCD_ERR_BUSY when a job is
// running (nothing changes), FTPCD_ERR_INTERNAL when no worker could be started, or zixif_finished has not
// yet joined the last one.
uint32_t zixif_ftp_upload(const transfer_request_t *req);
// Starts a job that ends at once, because the feeder library has no look-up. Results as above.
uint32_t zixif_dl_file_info(const transfer_request_t *req);

// Returns 0 exactly once for each job that has ended, after joining its worker; pthread_join's error (logged)
// if that fails, in which case the job is never reported; otherwise -1.
int zixif_finished();

// 1 while a worker exists that has not been joined, otherwise 0.
uint32_t zixif_is_alive();

// Copies the job record, a job_record_t of 2192 bytes, to the caller's `out`.
void zixif_get_state(void *out);

// Asks the running job to stop and waits without a limit until it has stopped; returns 0.
// FTPCD_ERR_NOT_RUNNING when none runs; the cancel flag then stays set until the next start, and a job that
// has ended but was not yet announced is not announced.
int zixif_cancel();
