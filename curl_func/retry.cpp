#include "curl_func/retry.h"

#include "strutil/log.h"
#include "wire/result_codes.h"

#include <unistd.h>

constexpr int TRIES_MAX = 5;
constexpr int PAUSE_STEPS = 50;
constexpr useconds_t PAUSE_STEP_US = 100000;
constexpr long RETRY_BASE_S = 60; // for a job without limits
constexpr long RETRY_GRACE_S = 60;
constexpr int32_t HTTP_EXPECTATION_FAILED = 417;

static void set_fresh_connect(const curl_e_handle_t *handle, long on)
{
    curl_e_handle_t copy = curl_e_copy_of(handle);
    curl_e_setopt_curlopt_fresh_connect(&copy, on);
}

static double transferred_size(const perform_info_t *info)
{
    const job_lock lock(info->job);
    return info->exec_info->transferred_size;
}

static void show_retries(const perform_info_t *info, uint32_t retries)
{
    if (info->exec_info == nullptr)
        return;
    const job_lock lock(info->job);
    info->exec_info->retry_count = retries;
}

static bool set_limits(curl_e_handle_t *handle, timeout_info_t *timeout)
{
    if (timeout != nullptr) {
        timeout->last_updated_time = 0;
        timeout->timed_out = 0;
        timeout->last_amount = 0;
    }
    curl_e_setopt_connect_timeout(handle, timeout == nullptr ? 0 : timeout->connection_limit);
    if (is_curl_error(handle))
        return false;
    curl_e_setopt_operation_timeout(handle, timeout == nullptr ? 0 : timeout->operation_limit);
    return !is_curl_error(handle);
}

// Some proxies refuse the "Expect: 100-continue" of HTTP/1.1: they get HTTP/1.0 next. False when libcurl
// does not allow that.
static bool meet_expectation(const curl_e_handle_t *handle)
{
    if (handle->curl_code != CURLE_HTTP_RETURNED_ERROR)
        return true;
    curl_e_handle_t copy = curl_e_copy_of(handle);
    curl_e_setopt_http_version(&copy, CURL_HTTP_VERSION_1_0);
    return !is_curl_error(&copy);
}

static bool may_pass(const curl_e_handle_t *handle)
{
    return handle->error == FTPCD_ERR_TIMEOUT || handle->error == FTPCD_ERR_NETWORK;
}

static void note_timeout(const curl_e_handle_t *handle, timeout_info_t *timeout)
{
    if (timeout != nullptr && may_pass(handle) && handle->curl_code == CURLE_OPERATION_TIMEDOUT)
        timeout->timed_out = 1;
}

static bool is_worth_another_try(const curl_e_handle_t *handle, const timeout_info_t *timeout)
{
    if (!may_pass(handle))
        return false;
    switch (handle->curl_code) {
    case CURLE_HTTP_RETURNED_ERROR:
        return handle->response_code == HTTP_EXPECTATION_FAILED;
    case CURLE_OPERATION_TIMEDOUT:
        return true;
    case CURLE_ABORTED_BY_CALLBACK: // for inactivity, not by a cancel or the size limit
        return timeout != nullptr && timeout->timed_out == 1;
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
        return true;
    default:
        return false;
    }
}

static long retry_time_limit_s(const timeout_info_t *timeout)
{
    if (timeout == nullptr)
        return RETRY_BASE_S + RETRY_GRACE_S;
    const bool operation_rules = timeout->connection_limit < timeout->operation_limit;
    return RETRY_GRACE_S + (operation_rules ? 2L * timeout->operation_limit : timeout->connection_limit);
}

// Always false.
static bool refuse_retry(const char *id, long elapsed_s, long limit_s)
{
    log_error(id, "Retry is not allowed. (last elapsed time: %ld > retry time limit: %ld)", elapsed_s,
              limit_s);
    return false;
}

// A long try is repeated only if it moved nothing, so that no progress is lost.
static bool short_enough_for_retry(const curl_e_handle_t *handle, const perform_info_t *info)
{
    const long elapsed_s = whole_number(elapsed_time_s(handle));
    const long limit_s = retry_time_limit_s(info->timeout_info);
    if (elapsed_s <= limit_s)
        return true;
    if (info->exec_info == nullptr)
        return refuse_retry("curl_func(1242)", elapsed_s, limit_s);
    if (transferred_size(info) > 0)
        return refuse_retry("curl_func(1248)", elapsed_s, limit_s);
    return true;
}

static bool local_file_reset(curl_e_handle_t *handle, const perform_info_t *info)
{
    if (info->reset == nullptr || info->reset(info->reset_arg) == 0)
        return true;
    log_error("curl_func(1258)", "curl_perform(): Failed to reset.");
    curl_e_clear_result(handle);
    handle->error = FTPCD_ERR_INTERNAL;
    return false;
}

static bool timeouts_left(timeout_info_t *timeout)
{
    if (timeout == nullptr || timeout->timed_out != 1)
        return true;
    if (timeout->timeout_retry_limit == 0) {
        log_error("curl_func(1272)", "Timeout retry limit reached.");
        return false;
    }
    if (timeout->timeout_retry_limit > 0)
        timeout->timeout_retry_limit--;
    timeout->connection_limit *= 2;
    timeout->operation_limit *= 2;
    log_info("curl_func(1283)", "[connection_limit] %ld, [operation_limit] %ld",
             static_cast<long>(timeout->connection_limit), static_cast<long>(timeout->operation_limit));
    return true;
}

// A cancel ends the pause; the progress callback of the next try then aborts the job.
static void pause_before_retry(job_slot_t *job)
{
    for (int step = 0; step < PAUSE_STEPS && !job_is_cancelled(job); step++)
        usleep(PAUSE_STEP_US);
}

static void begin_again(const perform_info_t *info)
{
    if (info->begin_again != nullptr)
        info->begin_again(info->reset_arg);
}

static void run_tries(curl_e_handle_t *handle, perform_info_t *info)
{
    for (int retry = 0;;) {
        show_retries(info, static_cast<uint32_t>(retry));
        if (!set_limits(handle, info->timeout_info))
            return;
        curl_e_perform(handle);
        note_timeout(handle, info->timeout_info);
        if (!is_worth_another_try(handle, info->timeout_info) || !meet_expectation(handle))
            return;
        retry++;
        log_error("curl_func(1364)", "curl_perform(%d, %d) ... retry(%d)", handle->error, handle->curl_code,
                  retry);
        if (retry == TRIES_MAX || !short_enough_for_retry(handle, info) || !local_file_reset(handle, info) ||
            !timeouts_left(info->timeout_info))
            return;
        set_fresh_connect(handle, 1);
        curl_e_clear_result(handle);
        pause_before_retry(info->job);
        begin_again(info);
    }
}

// Transferred bytes, -1 when they are unknown or not needed.
static double moved_bytes(const curl_e_handle_t *handle, uint32_t kind)
{
    if (kind != JOB_DOWNLOAD && kind != JOB_UPLOAD)
        return -1;
    curl_e_handle_t copy = curl_e_copy_of(handle);
    const double moved =
        kind == JOB_DOWNLOAD ? curl_e_getinfo_size_download(&copy) : curl_e_getinfo_size_upload(&copy);
    return is_curl_error(&copy) ? -1 : moved;
}

static void check_completeness(curl_e_handle_t *handle, const perform_info_t *info)
{
    const double moved = moved_bytes(handle, info->job->record.module_info.exec);
    if (moved < 0 || info->exec_info == nullptr)
        return;
    const job_lock lock(info->job);
    if (moved < info->exec_info->total_size) {
        handle->error = FTPCD_ERR_NETWORK;
        handle->curl_code = CURLE_PARTIAL_FILE;
    } else {
        info->exec_info->transferred_size = moved;
    }
}

void curl_perform(curl_e_handle_t *handle, perform_info_t *info)
{
    if (log_if_null("curl_func(1207)", "perform_info_t has not been set.", info)) {
        handle->error = FTPCD_ERR_INTERNAL;
        return;
    }
    set_fresh_connect(handle, 0);
    run_tries(handle, info);
    if (!is_curl_error(handle))
        check_completeness(handle, info);
}
