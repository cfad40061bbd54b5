#include "curl_func/progress.h"

#include "curl_func/job_sockets.h"
#include "strutil/log.h"
#include "wire/result_codes.h"

static amount_t amount_of(uint32_t kind, const amount_t &download, const amount_t &upload)
{
    switch (kind) {
    case JOB_DOWNLOAD:
        return download;
    case JOB_UPLOAD:
        return upload;
    default:
        return {0, 0};
    }
}

// Under the lock. True when the job is to be cancelled.
static bool cancel_seen(const progress_info_t *info)
{
    if (info->job->record.module_info.cancel == 0)
        return false;
    info->handle->error = FTPCD_ERR_CANCELED;
    return true;
}

// True when the job is to be cancelled. Amounts that are not above 0 are unknown and not stored.
static bool publish(const progress_info_t *info, const amount_t &amount, double elapsed_s)
{
    exec_info_t *shown = &info->job->record.exec_info;
    const job_lock lock(info->job);
    if (amount.total > 0)
        shown->total_size = amount.total;
    if (amount.now > shown->transferred_size)
        shown->transferred_size = amount.now;
    if (elapsed_s > 0)
        shown->elapsed_time = elapsed_s;
    return cancel_seen(info);
}

// libcurl gives an SFTP server one second to end the session, and leaks the session if the server stays
// silent: a megabyte in the middle of an upload. With a broken socket it ends at once and frees the session.
static int give_up(curl_job_t *job)
{
    sockets_break(job);
    return 1;
}

int cb_progress(void *context, double dltotal, double dlnow, double ultotal, double ulnow)
{
    const auto *info = static_cast<const progress_info_t *>(context);
    timeout_info_t *timeout = info->timeout_info;
    const uint32_t kind = info->job->record.module_info.exec;
    const bool moves_data = kind == JOB_DOWNLOAD || kind == JOB_UPLOAD;
    const amount_t amount = amount_of(kind, {dltotal, dlnow}, {ultotal, ulnow});

    const bool active = !moves_data || is_active(timeout, amount);
    bool abort = kind == JOB_DOWNLOAD && exceeds_download_limit(info->handle, amount);

    const double elapsed_s = elapsed_time_s(info->handle);
    if (elapsed_s >= 0) {
        if (active)
            timeout->last_updated_time = elapsed_s;
        else if (!abort)
            abort = is_idle_too_long(info->handle, timeout, elapsed_s);
    }
    if (publish(info, amount, elapsed_s))
        abort = true;
    return abort ? give_up(info->job) : 0;
}

int cb_progress_null(void *context, double, double, double, double)
{
    if (log_if_null("curl_func(1726)", "CURLOPT_PROGRESSDATA has not been set.", context))
        return 0;
    const auto *info = static_cast<const progress_info_t *>(context);
    if (info->handle->operation_timed_out != 0)
        sockets_break(info->job);
    const job_lock lock(info->job);
    return cancel_seen(info) ? give_up(info->job) : 0;
}
