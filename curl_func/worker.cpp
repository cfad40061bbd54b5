#include "curl_func/worker.h"

#include "curl_func/callbacks.h"
#include "curl_func/close_socket.h"
#include "curl_func/crypto_context.h"
#include "curl_func/identity.h"
#include "curl_func/job.h"
#include "curl_func/perform.h"
#include "curl_func/session.h"
#include "curl_func/sockets.h"
#include "strutil/strutil.h"
#include "wire/result_codes.h"

#include <cerrno>
#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

constexpr int32_t CONNECTION_LIMIT_S = 60;
constexpr int32_t LOOK_UP_LIMIT_S = 180;
constexpr int32_t ANY_NUMBER = -1;
constexpr long SFTP_UPLOAD_BUFFER_BYTES = 2L << 20;
constexpr int32_t FTP_DONE = 226;
constexpr int32_t HTTP_OK = 200;

namespace
{

// All that libcurl may still use until the handle is released.
struct worker_t {
    job_record_t *job;
    curl_e_handle_t handle;
    timeout_info_t timeout_info;
    cb_auth_info_t auth;
    cb_file_info_t file;
    cb_list_info_t wanted;
    progress_info_t progress;
};

} // namespace

static bool failed(const worker_t *w) { return is_curl_error(&w->handle) != 0; }

static bool fail(worker_t *w, int32_t error)
{
    w->handle.error = error;
    return false;
}

// As fopen, but never waits for the other end of a pipe: nobody could cancel that.
static FILE *open_local(const char *path, int flags, const char *mode)
{
    const int fd = open(path, flags | O_NONBLOCK | O_CLOEXEC, 0666);
    if (fd == -1)
        return nullptr;
    FILE *file = fdopen(fd, mode);
    if (file == nullptr) {
        const int kept = errno;
        close(fd);
        errno = kept;
    }
    return file;
}

static void run(worker_t *w, int (*reset)(void *), int (*begin_again)(void *))
{
    perform_info_t info{&w->timeout_info, &w->job->exec_info, w->job, reset, begin_again, &w->file};
    curl_perform(&w->handle, &info);
}

static bool show_progress(worker_t *w, curl_progress_callback callback)
{
    curl_e_setopt_progressfunc_data(&w->handle, callback, &w->progress);
    return !failed(w);
}

// --- Download

static bool prepare_download(worker_t *w)
{
    curl_e_setopt_writefunc_data(&w->handle, cb_write, &w->file);
    return !failed(w) && show_progress(w, cb_progress);
}

// The last bytes reach the disk here: what does not get there is a failed write like any other.
static void close_download(worker_t *w)
{
    bool complete = true;
    if (fflush(w->file.file) != 0) {
        log_errno("curl_func(653)");
        complete = false;
    }
    if (fclose(w->file.file) != 0) {
        log_errno("curl_func(657)");
        complete = false;
    }
    if (!complete && w->handle.error == FTPCD_ERR_NONE)
        w->handle.error = FTPCD_ERR_LOCAL_WRITE;
}

static void download(worker_t *w)
{
    const char *path = w->job->request.local_path;
    w->timeout_info.connection_limit = CONNECTION_LIMIT_S;
    if (curl_ftp_setting(&w->handle, &w->auth) != 0)
        return;
    w->file.file = open_local(path, O_WRONLY | O_CREAT | O_TRUNC, "wb");
    if (w->file.file == nullptr) {
        log_errno("curl_func(615)");
        fail(w, FTPCD_ERR_LOCAL_WRITE);
        return;
    }
    if (prepare_download(w))
        run(w, curl_download_reset, curl_download_empty);
    close_download(w);
    if (job_cancelled(w->job) && remove(path) != 0)
        log_errno("curl_func(665)");
}

// --- Upload

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
static void enlarge_sftp_buffer(const worker_t *w)
{
    if (w->job->request.protocol != PROTOCOL_SFTP)
        return;
    curl_e_handle_t copy{};
    curl_e_copy_handle(&copy, &w->handle);
    curl_e_setopt_upload_buffersize(&copy, SFTP_UPLOAD_BUFFER_BYTES);
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
    enlarge_sftp_buffer(w);
    close_after_delivery(w);
    curl_e_setopt_writefunc_data(&w->handle, cb_write_null, nullptr);
    if (failed(w))
        return false;
    curl_e_setopt_readfunc_data(&w->handle, cb_read, &w->file);
    return !failed(w) && show_progress(w, cb_progress);
}

static void upload(worker_t *w)
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
    w->file.file = open_local(w->job->request.local_path, O_RDONLY, "rb");
    if (w->file.file == nullptr) {
        log_errno("curl_func(729)");
        fail(w, FTPCD_ERR_LOCAL_READ);
        return;
    }
    if (prepare_upload(w))
        run(w, curl_upload_reset, nullptr);
    if (fclose(w->file.file) != 0)
        log_errno("curl_func(804)");
}

// --- File information

static bool prepare_look_up(worker_t *w)
{
    w->wanted = {basename_of(w->job->request.remote_path), &w->job->remote_file};
    curl_e_setopt_listfunc_data(&w->handle, cb_list, &w->wanted);
    return !failed(w) && show_progress(w, cb_progress_null);
}

// That there is no such file is an answer, too.
static void accept_missing_file(worker_t *w)
{
    curl_e_handle_t *handle = &w->handle;
    const bool missing =
        handle->curl_code == CURLE_REMOTE_ACCESS_DENIED || handle->curl_code == CURLE_REMOTE_FILE_NOT_FOUND;
    if (handle->error != FTPCD_ERR_NETWORK || !missing)
        return;
    log_info("curl_func(905)", "Ignore error(%d)", handle->curl_code);
    handle->error = FTPCD_ERR_NONE;
    handle->curl_code = CURLE_OK;
    handle->response_code = handle->response_code_type == RESPONSE_CODE_FTP    ? FTP_DONE
                            : handle->response_code_type == RESPONSE_CODE_HTTP ? HTTP_OK
                                                                               : 0;
    const job_lock lock;
    w->job->remote_file.looked_up = 1;
}

static void look_up(worker_t *w)
{
    w->timeout_info.operation_limit = LOOK_UP_LIMIT_S;
    w->timeout_info.timeout_retry_limit = ANY_NUMBER;
    if (w->job->request.proxy_type == PROXY_HTTP) {
        fail(w, FTPCD_ERR_NOT_SUPPORTED);
        return;
    }
    if (curl_ftp_setting(&w->handle, &w->auth) != 0 || !prepare_look_up(w))
        return;
    run(w, nullptr, nullptr);
    accept_missing_file(w);
}

// --- The job

static void transfer(worker_t *w)
{
    switch (w->job->module_info.exec) {
    case JOB_DOWNLOAD:
        download(w);
        break;
    case JOB_UPLOAD:
        upload(w);
        break;
    case JOB_DL_FILE_INFO:
        look_up(w);
        break;
    default:
        return;
    }
    if (w->handle.error == FTPCD_ERR_NONE && w->handle.curl_code != CURLE_OK)
        w->handle.error = FTPCD_ERR_NETWORK;
}

static void store_outcome(const worker_t *w)
{
    const job_lock lock;
    exec_info_t *exec_info = &w->job->exec_info;
    exec_info->curl_code = static_cast<uint32_t>(w->handle.curl_code);
    exec_info->response_code_type = static_cast<uint32_t>(w->handle.response_code_type);
    exec_info->response_code = static_cast<uint32_t>(w->handle.response_code);
    w->job->module_info.result = static_cast<uint32_t>(w->handle.error);
}

// So that a cancel waits for no server, be it for names or files. A refusal is logged, and ignored.
static void keep_cancel_quick(const worker_t *w)
{
    sockets_forget_all();
    curl_e_handle_t copy{};
    curl_e_copy_handle(&copy, &w->handle);
    curl_e_setopt_quick_exit(&copy, 1);
    curl_e_clear_result(&copy);
    curl_e_setopt_closesocketfunc_data(&copy, cb_close_noted, nullptr);
    if (!is_curl_error(&copy)) // who notes a socket must hear of its end
        curl_e_setopt_sockoptfunc_data(&copy, cb_note_socket, nullptr);
}

// Nothing is lost: what an SFTP server was sent it has confirmed. libcurl's own farewell takes round trips.
static void take_leave(worker_t *w)
{
    if (w->job->request.protocol == PROTOCOL_SFTP)
        sockets_break();
    curl_e_limit_farewell(&w->handle);
}

static void run_with_libcurl(worker_t *w)
{
    if (curl_e_init(&w->handle) != 0) {
        job_store_result(w->job, FTPCD_ERR_INTERNAL);
        return;
    }
    curl_e_setopt_verbose(&w->handle, 1);
    keep_cancel_quick(w);
    transfer(w);
    store_outcome(w);
    take_leave(w);
    curl_e_cleanup(&w->handle);
}

static void end_job(job_record_t *job)
{
#ifdef __GLIBC__
    malloc_trim(0); // else the heap keeps what the job took: megabytes after an SFTP upload
#endif
    const job_lock lock;
    job->module_info.running = 0;
}

void *th_exec(void *record)
{
    worker_t w{};
    w.job = static_cast<job_record_t *>(record);
    w.auth = {&w.handle, &w.job->request.server_auth};
    w.file = {&w.handle, nullptr};
    w.progress = {&w.handle, w.job, &w.job->exec_info, &w.timeout_info};

    const CURLcode code = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (code == CURLE_OK) {
        OSSL_LIB_CTX *context = crypto_context_enter();
        run_with_libcurl(&w);
        crypto_context_leave(context);
        curl_global_cleanup();
    } else {
        log_error("curl_func(508)", "curl_global_init(CURL_GLOBAL_DEFAULT): Failed(%d)", code);
        job_store_result(w.job, FTPCD_ERR_INTERNAL);
    }
    end_job(w.job);
    return nullptr;
}
