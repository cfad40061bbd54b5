#include "curl_func/close_socket.h"
#include "curl_func/job.h"
#include "curl_func/jobs.h"
#include "curl_func/local_file.h"
#include "curl_func/session.h"
#include "strutil/strutil.h"
#include "wire/result_codes.h"

constexpr long SFTP_UPLOAD_BUFFER_BYTES = 2L << 20; // each one waits for the server to confirm it
constexpr long UPLOAD_BUFFER_BYTES = 512L << 10;

// Goes on where an earlier upload of the same file ended, as far as the last look-up saw the remote file.
static bool resume_upload(worker_t *w)
{
    const remote_file_t *remote_file = &w->job->remote_file;
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

// Speed only: a libcurl that refuses it uploads with its own buffer.
static void enlarge_buffer(const worker_t *w)
{
    curl_e_handle_t copy{};
    curl_e_copy_handle(&copy, &w->handle);
    curl_e_setopt_upload_buffersize(
        &copy, w->job->request.protocol == PROTOCOL_SFTP ? SFTP_UPLOAD_BUFFER_BYTES : UPLOAD_BUFFER_BYTES);
}

// Without it a TLS 1.3 server's session tickets, coming when libcurl has closed, cut off what is on its way.
static void close_after_delivery(const worker_t *w)
{
    const uint32_t protocol = w->job->request.protocol;
    if (protocol != PROTOCOL_FTPS_IMPLICIT && protocol != PROTOCOL_FTPS_EXPLICIT)
        return;
    curl_e_handle_t copy{};
    curl_e_copy_handle(&copy, &w->handle);
    curl_e_setopt_closesocketfunc_data(&copy, cb_close_socket, w->job);
}

static bool prepare_upload(worker_t *w)
{
    w->handle.resume = 0;
    w->handle.resume_offset = -1;
    if (job_resumes(w->job) && !resume_upload(w))
        return false;
    curl_e_setopt_upload(&w->handle, w->job->request.local_path);
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

// What is on the server must be what the file holds now, behind what was there before. A file that grew, or
// whose size says nothing (as in /proc), is a partial transfer as one that shrank is.
static void check_all_sent(worker_t *w)
{
    curl_e_handle_t copy{};
    curl_e_copy_handle(&copy, &w->handle);
    const double sent = curl_e_getinfo_size_upload(&copy);
    const int64_t already_there = w->handle.resume != 0 ? w->handle.resume_offset : 0;
    const int64_t size = local_file_size(w->file.file);
    if (is_curl_error(&copy) || sent == static_cast<double>(size - already_there))
        return;
    log_error("curl_func(797)", "The local file was changed while it was sent: %.0f of %lld bytes", sent,
              static_cast<long long>(size - already_there));
    w->handle.error = FTPCD_ERR_NETWORK;
    w->handle.curl_code = CURLE_PARTIAL_FILE;
}

void upload(worker_t *w)
{
    w->timeout_info.connection_limit = CONNECTION_LIMIT_S;
    w->timeout_info.timeout_retry_limit = ANY_NUMBER;
    if (job_resumes(w->job) && w->job->request.proxy_type == PROXY_HTTP) {
        log_error("curl_func(719)",
                  "Resume through an HTTP proxy is not supported: it would replace the file.");
        fail(w, FTPCD_ERR_NOT_SUPPORTED);
        return;
    }
    if (curl_ftp_setting(&w->handle, &w->auth) != 0)
        return;
    w->file.file = local_file_open(w->job->request.local_path);
    if (w->file.file == nullptr) {
        log_errno("curl_func(729)");
        fail(w, FTPCD_ERR_LOCAL_READ);
        return;
    }
    if (prepare_upload(w))
        run_transfer(w, curl_upload_reset, nullptr);
    if (!failed(w))
        check_all_sent(w);
    if (fclose(w->file.file) != 0)
        log_errno("curl_func(804)");
}
