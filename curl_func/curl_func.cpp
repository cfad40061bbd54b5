#include "curl_func/curl_func.h"

#include "curl_func/job.h"
#include "curl_func/sockets.h"
#include "curl_func/worker.h"
#include "strutil/strutil.h"

#include <cerrno>
#include <cstring>
#include <curl/curl.h>
#include <pthread.h>
#include <unistd.h>

constexpr useconds_t CANCEL_POLL_US = 100000;
constexpr int PATIENT_POLLS = 15; // libcurl asks about a cancel once a second, where it asks at all

struct worker_thread_t {
    uint32_t started; // 1 while there is a worker that has not been joined
    pthread_t id;
};

static worker_thread_t thread_;

int curlf_init()
{
    if (job_mutex_init() != 0)
        return -1;
    const job_lock lock;
    ftp_clientd_if_module_info_init(&curlf_info_.module_info);
    thread_.started = 0;
    log_info("curl_func(260)", "%s", curl_version());
    return 0;
}

static uint32_t not_started()
{
    log_errno("curl_func(458)");
    thread_.started = 0;
    curlf_info_.module_info.running = 0;
    curlf_info_.module_info.result = FTPCD_ERR_INTERNAL;
    return FTPCD_ERR_INTERNAL;
}

// A worker that ended without being seen by curlf_finished is forgotten, and this start with it: its job is
// never reported, and the next start finds the way free.
static uint32_t exec_start(job_kind kind)
{
    const job_lock lock;
    module_info_t *head = &curlf_info_.module_info;
    ftp_clientd_if_module_info_init(head);
    head->running = 1;
    head->exec = kind;
    if (thread_.started == 1) {
        const uint32_t result = not_started();
        pthread_detach(thread_.id); // its stack goes back to the system
        return result;
    }
    const int rc = pthread_create(&thread_.id, nullptr, th_exec, &curlf_info_);
    if (rc != 0) {
        errno = rc;
        log_errno("curl_func(2046)");
        return not_started();
    }
    thread_.started = 1;
    return FTPCD_ERR_NONE;
}

// What each kind of job does to what is known of the remote file.
static void prepare_remote_file(job_kind kind, const transfer_request_t *req)
{
    remote_file_t *remote_file = &curlf_info_.remote_file;
    if (kind == JOB_UPLOAD) {
        job_set_resume(&curlf_info_, req->resume);
    } else if (kind == JOB_DL_FILE_INFO) {
        remote_file->looked_up = 0;
        remote_file->exists = 0;
        remote_file->size = 0;
    }
}

static uint32_t start(job_kind kind, const transfer_request_t *req)
{
    const job_lock lock;
    if (curlf_info_.module_info.running != 0)
        return FTPCD_ERR_BUSY;
    memcpy(&curlf_info_.request, req, JOB_REQUEST_COPIED);
    prepare_remote_file(kind, req);
    ftp_clientd_if_exec_info_init(&curlf_info_.exec_info);
    return exec_start(kind);
}

uint32_t curlf_download(const transfer_request_t *req) { return start(JOB_DOWNLOAD, req); }

uint32_t curlf_upload(const transfer_request_t *req) { return start(JOB_UPLOAD, req); }

uint32_t curlf_dl_file_info(const transfer_request_t *req) { return start(JOB_DL_FILE_INFO, req); }

int curlf_finished()
{
    const job_lock lock;
    if (curlf_info_.module_info.running != 0 || thread_.started == 0)
        return -1;
    const int rc = pthread_join(thread_.id, nullptr);
    if (rc != 0) {
        errno = rc;
        log_errno("curl_func(2075)");
    }
    thread_.started = 0;
    return rc;
}

void curlf_get_state(void *out)
{
    const job_lock lock;
    memcpy(out, &curlf_info_, sizeof curlf_info_);
}

int curlf_cancel()
{
    {
        const job_lock lock;
        curlf_info_.module_info.cancel = 1;
        if (curlf_info_.module_info.running == 0)
            return FTPCD_ERR_NOT_RUNNING;
    }
    int polls = 0;
    do {
        if (polls++ >= PATIENT_POLLS)
            sockets_break();
        usleep(CANCEL_POLL_US);
    } while (job_running(&curlf_info_));
    return 0;
}
