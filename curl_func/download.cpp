#include "curl_func/jobs.h"
#include "curl_func/local_file.h"
#include "curl_func/session.h"
#include "strutil/log.h"
#include "wire/result_codes.h"

static bool prepare_download(worker_t *w)
{
    curl_e_setopt_writefunc_data(&w->handle, cb_write, &w->file);
    return !failed(w) && show_progress(w, cb_progress);
}

// Writes the last bytes. False (logged) when that fails, or when the file was truncated, extended or
// moved meanwhile.
static bool is_stored(FILE *file, const char *path)
{
    if (fflush(file) != 0) {
        log_errno("curl_func(653)");
        return false;
    }
    if (local_file_is_named(file, path) && local_file_ends_here(file))
        return true;
    log_error("curl_func(655)", "The local file was changed or replaced while it was written.");
    return false;
}

static bool close_download(file_stream *file, const char *path)
{
    const bool stored = is_stored(file->get(), path);
    if (file->close() == 0)
        return stored;
    log_errno("curl_func(657)");
    return false;
}

static void end_download(worker_t *w, file_stream *file, const char *path)
{
    const bool removable = local_file_is_removable(file->get(), path);
    if (!close_download(file, path) && w->handle.error == FTPCD_ERR_NONE)
        w->handle.error = FTPCD_ERR_LOCAL_WRITE;
    if (!job_is_cancelled(w->job) || !removable)
        return;
    if (remove(path) != 0)
        log_errno("curl_func(665)");
    else if (w->handle.error == FTPCD_ERR_NONE) // cancelled after the last byte had arrived
        w->handle.error = FTPCD_ERR_CANCELED;
}

void download(worker_t *w)
{
    const transfer_request_t *request = &w->job->record.request;
    const char *path = request->local_path;
    w->timeout_info = DOWNLOAD_LIMITS;
    if (curl_ftp_setting(&w->handle, request, &w->auth) != 0)
        return;
    file_stream file = local_file_create(path);
    if (!file) {
        log_errno("curl_func(615)");
        fail(w, FTPCD_ERR_LOCAL_WRITE);
        return;
    }
    w->file.file = file.get();
    if (prepare_download(w))
        run_transfer(w, curl_download_reset, curl_download_empty);
    end_download(w, &file, path);
}
