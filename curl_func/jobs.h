// The three kinds of job, on the worker thread. Each function sets up its transfer on w->handle, runs it and
// leaves the outcome there, to be stored by the caller. They block until the transfer has ended.
#pragma once

#include "curl_func/data_callbacks.h"
#include "curl_func/identity.h"
#include "curl_func/listing_callback.h"
#include "curl_func/progress.h"
#include "curl_func/retry.h"

// Everything that libcurl may use until the handle is released.
struct worker_t {
    curl_job_t *job;
    curl_e_handle_t handle;
    timeout_info_t timeout_info;
    cb_auth_info_t auth;
    cb_file_info_t file;
    cb_list_info_t wanted;
    progress_info_t progress;
};

// Downloads to the local file, which is created or emptied first. A cancelled download's file is removed;
// after a failure the part that arrived stays.
void download(worker_t *w);

// Uploads the local file; with the upload flag only what is behind the size found by the last look-up.
void upload(worker_t *w);

// Looks the remote file up and fills in the job's remote_file. A missing file is a success.
void look_up(worker_t *w);

// Helpers of the three.

// True when the handle shows a failure.
inline bool failed(const worker_t *w) { return is_curl_error(&w->handle) != 0; }

// Makes `error`, an ftpcd_err, the outcome. Always false.
inline bool fail(worker_t *w, int32_t error)
{
    w->handle.error = error;
    return false;
}

// False when the callback was refused; the outcome is then the refusal.
inline bool show_progress(worker_t *w, curl_progress_callback callback)
{
    curl_e_setopt_progressfunc_data(&w->handle, callback, &w->progress);
    return !failed(w);
}

// Runs the tries and blocks until the last has ended; the outcome is on w->handle. reset and begin_again are
// those of perform_info_t.
inline void run_transfer(worker_t *w, int (*reset)(void *), int (*begin_again)(void *))
{
    perform_info_t info{&w->timeout_info, &w->job->record.exec_info, w->job, reset, begin_again, &w->file};
    curl_perform(&w->handle, &info);
}
