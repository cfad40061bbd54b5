// The transfer engine for FTP, FTPS and SFTP: one job at a time, on a worker thread, over libcurl.
//
// Called by the main thread. Every call holds the engine's lock only briefly; only curlf_cancel waits.
#pragma once

#include "wire/wire.h"

// Prepares the engine; call it once. 0, or -1 (logged) when its lock cannot be made recursive.
int curlf_init();

// Start a job; the request is copied. FTPCD_ERR_NONE when the worker runs, FTPCD_ERR_BUSY when a job is
// running (nothing changes), FTPCD_ERR_INTERNAL when no worker could be started. That includes the case that
// a worker has ended but was not yet reported by curlf_finished: it is then detached and never reported.
uint32_t curlf_download(const transfer_request_t *req);
uint32_t curlf_upload(const transfer_request_t *req);
uint32_t curlf_dl_file_info(const transfer_request_t *req);

// Returns 0 exactly once for each job that has ended, after joining its worker; pthread_join's error (logged)
// if that fails, in which case the job is never reported; otherwise -1.
int curlf_finished();

// Copies the job record, a job_record_t of 2192 bytes, to the caller's `out`.
void curlf_get_state(void *out);

// Asks the running job to stop and waits without a limit until it has stopped; returns 0.
// FTPCD_ERR_NOT_RUNNING when none runs; the cancel flag then stays set until the next start, and a job that
// has ended but was not yet announced is not announced.
int curlf_cancel();
