#include "curl_func/close_delivered.h"
#include "curl_func/jobs.h"
#include "curl_func/local_file.h"
#include "curl_func/session.h"
#include "strutil/log.h"
#include "wire/result_codes.h"

constexpr long SFTP_UPLOAD_BUFFER_BYTES = 2L << 20; // the server confirms each buffer
// 512 KiB would save no CPU, and on a slow line one buffer could outlast the inactivity limit.
constexpr long UPLOAD_BUFFER_BYTES = 256L << 10;

static bool resumes(const worker_t *w) { return job_upload_flag(w->job) != 0; }

// Continues an earlier upload of the same file at the remote size found by the last look-up.
static bool resume_upload(worker_t *w)
{
    const remote_file_t *remote_file = &w->job->record.remote_file;
    if (remote_file->looked_up == 0 || remote_file->size < 1) {
        log_error("curl_func(752)", "The last file size is invalid, abort resume mode.");
        return fail(w, FTPCD_ERR_INTERNAL);
    }
    log_info("curl_func(740)", "last canceled file size: (%lld)", static_cast<long long>(remote_file->size));
    if (fseeko(w->file.file, remote_file->size, SEEK_SET) != 0) {
        log_errno("curl_func(742)");
        return fail(w, FTPCD_ERR_LOCAL_READ);
    }
    w->handle.resume = 1;
    w->handle.resume_offset = remote_file->size;
    curl_e_setopt_append(&w->handle, 1);
    return !failed(w);
}

// Only for speed: a libcurl that refuses it uses its default buffer.
static void enlarge_buffer(const worker_t *w)
{
    curl_e_handle_t copy = curl_e_copy_of(&w->handle);
    curl_e_setopt_upload_buffersize(&copy, w->job->record.request.protocol == PROTOCOL_SFTP
                                               ? SFTP_UPLOAD_BUFFER_BYTES
                                               : UPLOAD_BUFFER_BYTES);
}

// Without this, session tickets of a TLS 1.3 server that arrive after libcurl's close would discard
// data in flight.
static void close_after_delivery(const worker_t *w)
{
    if (!protocol_has_tls(w->job->record.request.protocol))
        return;
    curl_e_handle_t copy = curl_e_copy_of(&w->handle);
    curl_e_setopt_closesocketfunc_data(&copy, cb_close_socket, w->job);
}

static bool prepare_upload(worker_t *w)
{
    w->handle.resume = 0;
    w->handle.resume_offset = -1;
    if (resumes(w) && !resume_upload(w))
        return false;
    curl_e_setopt_upload(&w->handle, w->job->record.request.local_path);
    if (failed(w))
        return false;
    enlarge_buffer(w);
    close_after_delivery(w);
    curl_e_setopt_writefunc_data(&w->handle, cb_write_null, nullptr);
    if (failed(w))
        return false;
    curl_e_setopt_readfunc_data(&w->handle, cb_read, &w->file);
    return !failed(w) && show_progress(w, cb_progress);
}

// The upload has sent the file's bytes from `begin` to `end`. True when the file was sent whole; bytes that
// were appended meanwhile may be missing. False when it shrank: a mixture may have been sent. False when it
// is longer than its reported size, as in /proc. False when a resume was retried: that appends the beginning
// of the file.
static bool is_whole(const worker_t *w, int64_t size_at_first, int64_t begin, int64_t end)
{
    // Read before the size: otherwise a file that grows in between would look longer than its reported size.
    const bool has_more = local_file_has_byte(w->file.file, end);
    const int64_t size = local_file_size(w->file.file);
    const bool repeated = begin != 0 && w->job->record.exec_info.retry_count != 0;
    return end >= size_at_first && end <= size && !repeated && (!has_more || end < size);
}

static void check_whole(worker_t *w, int64_t size_at_first)
{
    curl_e_handle_t copy = curl_e_copy_of(&w->handle);
    const auto sent = static_cast<int64_t>(curl_e_getinfo_size_upload(&copy));
    const int64_t begin = w->handle.resume != 0 ? w->handle.resume_offset : 0;
    if (is_curl_error(&copy) || is_whole(w, size_at_first, begin, begin + sent))
        return;
    log_error("curl_func(797)", "The local file was changed while it was sent: %lld of %lld bytes",
              static_cast<long long>(sent), static_cast<long long>(local_file_size(w->file.file) - begin));
    w->handle.error = FTPCD_ERR_NETWORK;
    w->handle.curl_code = CURLE_PARTIAL_FILE;
}

void upload(worker_t *w)
{
    w->timeout_info = UPLOAD_LIMITS;
    if (resumes(w) && w->job->record.request.proxy_type == PROXY_HTTP) {
        log_error("curl_func(719)",
                  "Resume through an HTTP proxy is not supported: it would replace the file.");
        fail(w, FTPCD_ERR_NOT_SUPPORTED);
        return;
    }
    if (curl_ftp_setting(&w->handle, &w->job->record.request, &w->auth) != 0)
        return;
    file_stream file = local_file_open(w->job->record.request.local_path);
    if (!file) {
        log_errno("curl_func(729)");
        fail(w, FTPCD_ERR_LOCAL_READ);
        return;
    }
    w->file.file = file.get();
    const int64_t size = local_file_size(file.get());
    if (prepare_upload(w))
        run_transfer(w, curl_upload_reset, nullptr);
    if (!failed(w))
        check_whole(w, size);
    if (file.close() != 0)
        log_errno("curl_func(804)");
}
