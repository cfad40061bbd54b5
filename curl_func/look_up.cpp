#include "curl_func/jobs.h"
#include "curl_func/session.h"
#include "strutil/log.h"
#include "strutil/strutil.h"
#include "wire/result_codes.h"

constexpr int32_t FTP_DONE = 226;
constexpr int32_t HTTP_OK = 200;

static bool prepare_look_up(worker_t *w)
{
    w->wanted = {basename_of(w->job->record.request.remote_path), w->job};
    curl_e_setopt_listfunc_data(&w->handle, cb_list, &w->wanted);
    return !failed(w) && show_progress(w, cb_progress_null);
}

// A missing file is a successful answer, but no answer is not.
static void accept_missing_file(worker_t *w)
{
    curl_e_handle_t *handle = &w->handle;
    const bool missing =
        handle->curl_code == CURLE_REMOTE_ACCESS_DENIED || handle->curl_code == CURLE_REMOTE_FILE_NOT_FOUND;
    if (handle->error != FTPCD_ERR_NETWORK || !missing || handle->operation_timed_out != 0)
        return;
    log_info("curl_func(905)", "Ignore error(%d)", handle->curl_code);
    handle->error = FTPCD_ERR_NONE;
    handle->curl_code = CURLE_OK;
    handle->response_code = handle->response_code_type == RESPONSE_CODE_FTP    ? FTP_DONE
                            : handle->response_code_type == RESPONSE_CODE_HTTP ? HTTP_OK
                                                                               : 0;
    const job_lock lock(w->job);
    w->job->record.remote_file.looked_up = 1;
}

void look_up(worker_t *w)
{
    w->timeout_info = LOOK_UP_LIMITS;
    const transfer_request_t *request = &w->job->record.request;
    if (request->proxy_type == PROXY_HTTP) {
        fail(w, FTPCD_ERR_NOT_SUPPORTED);
        return;
    }
    if (curl_ftp_setting(&w->handle, request, &w->auth) != 0 || !prepare_look_up(w))
        return;
    run_transfer(w, nullptr, nullptr);
    accept_missing_file(w);
}
