#include "curl_func/curl_func.h"

#include "curl_func/features.h"
#include "curl_func/job_sockets.h"
#include "curl_func/worker.h"
#include "strutil/log.h"

#include <curl/curl.h>

constexpr job_engine_t LIBCURL = {
    .work = th_exec,
    .unjoined = unjoined_t::forgotten,
    .not_recursive_id = "curl_func(2101)",
    .lock_id = "curl_func(2124)",
    .unlock_id = "curl_func(2142)",
    .create_id = "curl_func(2046)",
    .not_started_id = "curl_func(458)",
    .no_thread_id = nullptr,
    .join_id = "curl_func(2075)",
};

static curl_job_t curlf_info_ = {{.engine = &LIBCURL}};

int curlf_init()
{
    if (job_init(&curlf_info_) != 0)
        return -1;
    log_info("curl_func(260)", "%s", curl_version());
    features_log_missing();
    return 0;
}

uint32_t curlf_download(const transfer_request_t *req)
{
    return job_start(&curlf_info_, JOB_DOWNLOAD, req, 0);
}

uint32_t curlf_upload(const transfer_request_t *req)
{
    return job_start(&curlf_info_, JOB_UPLOAD, req, static_cast<uint8_t>(req->resume)); // the low byte counts
}

uint32_t curlf_dl_file_info(const transfer_request_t *req)
{
    return job_start(&curlf_info_, JOB_DL_FILE_INFO, req, 0);
}

int curlf_finished() { return job_finished(&curlf_info_); }

void curlf_get_state(void *out) { job_get_state(&curlf_info_, out); }

static void break_sockets(job_slot_t *slot) { sockets_break(static_cast<curl_job_t *>(slot)); }

int curlf_cancel() { return job_cancel(&curlf_info_, break_sockets); }
