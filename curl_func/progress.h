// libcurl's progress callbacks: they publish the progress and abort the transfer when necessary. On the
// worker thread; a failure is stored as the handle's error.
#pragma once

#include "curl_func/job.h"
#include "curl_func/limits.h"

// Context of both; lives as long as the handle.
struct progress_info_t {
    curl_e_handle_t *handle;
    curl_job_t *job;
    timeout_info_t *timeout_info;
};

// Download and upload: keeps sizes and time current, enforces the size limit of downloads
// (FTPCD_ERR_SIZE_LIMIT) and the inactivity limit (FTPCD_ERR_TIMEOUT), turns a cancel into an abort
// (FTPCD_ERR_CANCELED). 0 to continue, 1 to abort. Amounts are bytes. Before an abort the job's sockets are
// shut down. Neither callback waits. Called up to thousands of times a second.
int cb_progress(void *context, double dltotal, double dlnow, double ultotal, double ulnow);

// File information: a cancel aborts; when the try's time limit expires, only its sockets are shut down. 0
// (logged) without a context.
int cb_progress_null(void *context, double dltotal, double dlnow, double ultotal, double ulnow);
