// What libcurl calls while a job runs, on the worker thread. A failure is stored as the handle's error. The
// contexts live on the worker's stack, as long as the handle.
#pragma once

#include "curl_func/job.h"
#include "curl_wrapper/curl_wrapper.h"

#include <cstdio>

struct timeout_info_t;

// Context of cb_write and cb_read, and of the resets before a retry.
struct cb_file_info_t {
    curl_e_handle_t *handle;
    FILE *file;
};

// Context of cb_list.
struct cb_list_info_t {
    const char *name; // wanted: the last component of remote_path
    job_slot_t *job;  // its remote_file is filled
};

// Context of cb_progress and cb_progress_null.
struct progress_info_t {
    curl_e_handle_t *handle;
    curl_job_t *job;
    timeout_info_t *timeout_info;
};

// A download is refused past this: the device fetches small files only.
constexpr int DOWNLOAD_LIMIT_BYTES = 4096;

// Data to the local file. Fewer than `count` items = failed (FTPCD_ERR_LOCAL_WRITE).
size_t cb_write(char *data, size_t size, size_t count, void *context);

// Takes everything and keeps nothing.
size_t cb_write_null(char *data, size_t size, size_t count, void *context);

// Data from the local file; 0 at its end, CURL_READFUNC_ABORT when it cannot be read (FTPCD_ERR_LOCAL_READ).
size_t cb_read(char *buffer, size_t size, size_t count, void *context);

// One entry of a listing. The file of the wanted name, which is no directory and no link, fills the job's
// remote_file; the last of several stays. 0, or 1 (no further entries) without a context.
int cb_list(list_info_t *entry, void *context, int flag);

// Download and upload: keeps sizes and time current, enforces the size limit of downloads
// (FTPCD_ERR_SIZE_LIMIT) and the inactivity limit (FTPCD_ERR_TIMEOUT), turns a cancel into an abort
// (FTPCD_ERR_CANCELED). 0 to go on, 1 to abort. Called up to thousands of times a second.
int cb_progress(void *context, double dltotal, double dlnow, double ultotal, double ulnow);

// File information: the cancel alone.
int cb_progress_null(void *context, double dltotal, double dlnow, double ultotal, double ulnow);
