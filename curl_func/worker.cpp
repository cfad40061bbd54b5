#include "curl_func/worker.h"

#include "curl_func/crypto_context.h"
#include "curl_func/job_sockets.h"
#include "curl_func/jobs.h"
#include "strutil/guards.h"
#include "strutil/log.h"
#include "wire/result_codes.h"

#include <csignal>
#include <malloc.h>
#include <pthread.h>

namespace
{

struct libcurl_cleanup {
    ~libcurl_cleanup() { curl_global_cleanup(); }
};

} // namespace

static void transfer(worker_t *w)
{
    switch (w->job->record.module_info.exec) {
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
    const job_lock lock(w->job);
    exec_info_t *exec_info = &w->job->record.exec_info;
    exec_info->curl_code = static_cast<uint32_t>(w->handle.curl_code);
    exec_info->response_code_type = static_cast<uint32_t>(w->handle.response_code_type);
    exec_info->response_code = static_cast<uint32_t>(w->handle.response_code);
    w->job->record.module_info.result = static_cast<uint32_t>(w->handle.error);
}

// Lets a cancel interrupt DNS look-ups and socket waits; best effort: a refusal is logged, and ignored.
static void keep_cancel_quick(const worker_t *w)
{
    sockets_forget_all(w->job);
    curl_e_handle_t copy = curl_e_copy_of(&w->handle);
    curl_e_setopt_quick_exit(&copy, 1);
    curl_e_setopt_nosignal(&copy, 1);
    curl_e_clear_result(&copy);
    curl_e_setopt_closesocketfunc_data(&copy, cb_close_noted, w->job);
    if (!is_curl_error(&copy)) // a socket that is noted must be forgotten when it is closed
        curl_e_setopt_sockoptfunc_data(&copy, cb_note_socket, w->job);
}

static bool is_sftp(const worker_t *w) { return w->job->record.request.protocol == PROTOCOL_SFTP; }

// At the end of a transfer an SFTP server has confirmed all data, so the connection can be broken without
// loss, which saves the round trips of an orderly disconnect: for the transfer's connection when libcurl
// closes it, for the others when the job ends.
static void leave_without_farewell(worker_t *w)
{
    if (!is_sftp(w))
        return;
    w->handle.on_close = [](void *job) { sockets_break_newest(static_cast<curl_job_t *>(job)); };
    w->handle.close_context = w->job;
}

static void end_session(worker_t *w)
{
    if (is_sftp(w))
        sockets_break(w->job);
    curl_e_limit_farewell(&w->handle);
}

static void run_with_libcurl(worker_t *w)
{
    const CURLcode code = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (code != CURLE_OK) {
        log_error("curl_func(508)", "curl_global_init(CURL_GLOBAL_DEFAULT): Failed(%d)", code);
        job_store_result(w->job, FTPCD_ERR_INTERNAL);
        return;
    }
    const libcurl_cleanup at_end;
    const job_crypto context;
    if (curl_e_init(&w->handle) != 0) {
        job_store_result(w->job, FTPCD_ERR_INTERNAL);
        return;
    }
    const closing_owner<curl_e_handle_t *, nullptr, curl_e_cleanup> owned(&w->handle);
    curl_e_setopt_verbose(&w->handle, 1);
    keep_cancel_quick(w);
    leave_without_farewell(w);
    transfer(w);
    store_outcome(w);
    end_session(w);
}

static void return_memory()
{
#ifdef __GLIBC__
    malloc_trim(0); // an SFTP upload would leave megabytes in the heap
#endif
}

// With CURLOPT_NOSIGNAL libcurl does not ignore SIGPIPE. Blocked, a write to a closed peer fails with an
// error instead. It stays blocked until the thread ends: unblocked, a pending one would end the process.
static void block_broken_pipe()
{
    const sigset_t broken_pipe = signal_set({SIGPIPE});
    pthread_sigmask(SIG_BLOCK, &broken_pipe, nullptr);
}

void th_exec(job_slot_t *slot)
{
    block_broken_pipe();
    worker_t w{};
    w.job = static_cast<curl_job_t *>(slot);
    w.auth = {&w.handle, &w.job->record.request.server_auth};
    w.file = {&w.handle, nullptr};
    w.progress = {&w.handle, w.job, &w.timeout_info};

    run_with_libcurl(&w);
    return_memory();
}
