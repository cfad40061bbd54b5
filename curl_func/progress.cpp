#include "curl_func/callbacks.h"

#include "curl_func/perform.h"
#include "curl_func/sockets.h"
#include "strutil/strutil.h"
#include "wire/result_codes.h"

#include <cstring>

size_t cb_write(char *data, size_t size, size_t count, void *context)
{
    if (data == nullptr) {
        log_error("curl_func(1442)", "Download data pointer is null.");
        return 0;
    }
    if (context == nullptr) {
        log_error("curl_func(1448)", "CURLOPT_WRITEDATA has not been set.");
        return 0;
    }
    const auto *info = static_cast<const cb_file_info_t *>(context);
    const size_t written = fwrite(data, size, count, info->file);
    if (written < count) {
        log_errno("curl_func(1454)");
        info->handle->error = FTPCD_ERR_LOCAL_WRITE;
    }
    return written;
}

size_t cb_write_null(char *, size_t size, size_t count, void *) { return size * count; }

size_t cb_read(char *buffer, size_t size, size_t count, void *context)
{
    if (buffer == nullptr) {
        log_error("curl_func(1491)", "Upload data pointer is null.");
        return 0;
    }
    if (context == nullptr) {
        log_error("curl_func(1497)", "CURLOPT_READDATA has not been set.");
        return 0;
    }
    const auto *info = static_cast<const cb_file_info_t *>(context);
    const size_t got = fread(buffer, size, count, info->file);
    if (got == count || ferror(info->file) == 0)
        return got;
    log_errno("curl_func(1504)");
    info->handle->error = FTPCD_ERR_LOCAL_READ;
    return CURL_READFUNC_ABORT;
}

static void take_over(job_slot_t *job, const list_info_t *entry)
{
    const job_lock lock(job);
    remote_file_t *remote_file = &job->record.remote_file;
    remote_file->looked_up = 1;
    remote_file->exists = 1;
    remote_file->size = entry->size;
    remote_file->year = entry->year;
    remote_file->month = entry->month;
    remote_file->day = entry->day;
    remote_file->hour = entry->hour;
    remote_file->minute = entry->minute;
    remote_file->attributes = entry->attributes;
    remote_file->is_link = entry->is_link;
}

int cb_list(list_info_t *entry, void *context, int)
{
    if (entry == nullptr) {
        log_error("curl_func(1754)", "'struct list_info_t' is not available.");
        return 0;
    }
    if (context == nullptr) {
        log_error("curl_func(1760)", "'struct cb_list_info_t' has not been set.");
        return 1;
    }
    const auto *wanted = static_cast<const cb_list_info_t *>(context);
    if (entry->is_link != 0 || entry->kind != LIST_KIND_FILE || entry->name == nullptr ||
        wanted->name == nullptr)
        return 0;
    if (strcmp(entry->name, wanted->name) == 0)
        take_over(wanted->job, entry);
    log_info("curl_func(1778)", "%s, size: %lld", entry->name, static_cast<long long>(entry->size));
    return 0;
}

// libcurl's amounts for one direction, in bytes. A total of 0 is an unknown one.
struct amount_t {
    double total;
    double now;
};

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

// Something moved since the last call of the same try, or everything has moved already.
static bool is_active(timeout_info_t *timeout, const amount_t &amount)
{
    const double last = timeout->last_amount;
    timeout->last_amount = amount.now;
    return amount.now <= last - 1 || amount.now >= last + 1 ||
           (amount.total > 0 && amount.now >= amount.total);
}

static bool exceeds_limit(curl_e_handle_t *handle, const amount_t &amount)
{
    const bool announced = amount.total > DOWNLOAD_LIMIT_BYTES && amount.now > 0;
    if (!announced && !(amount.now > DOWNLOAD_LIMIT_BYTES))
        return false;
    if (handle->error == FTPCD_ERR_NONE)
        log_error("curl_func(1569)", "Download file size limit exceeded. size:%ld of %ld, limit: %d",
                  whole_number(amount.now), whole_number(amount.total), DOWNLOAD_LIMIT_BYTES);
    handle->error = FTPCD_ERR_SIZE_LIMIT;
    return true;
}

static bool idle_too_long(const progress_info_t *info, double elapsed_s)
{
    timeout_info_t *timeout = info->timeout_info;
    if (timeout->connection_limit <= 0 || elapsed_s - timeout->last_updated_time <= timeout->connection_limit)
        return false;
    if (info->handle->error == FTPCD_ERR_NONE)
        log_error("curl_func(1619)", "Timeout has occurred: [elapsed_time] %ld, [last_updated_time] %ld",
                  whole_number(elapsed_s), whole_number(timeout->last_updated_time));
    timeout->timed_out = 1;
    info->handle->error = FTPCD_ERR_TIMEOUT;
    return true;
}

// Under the lock. True when the job is to be cancelled.
static bool cancel_seen(const progress_info_t *info)
{
    if (info->job->record.module_info.cancel == 0)
        return false;
    info->handle->error = FTPCD_ERR_CANCELED;
    return true;
}

// True when the job is to be cancelled. What is not above 0 is not known and not stored.
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

// libcurl takes leave of an SFTP server for a second at most; when that stays silent, it drops the session
// with all the session holds, a megabyte in the middle of an upload. On a broken socket it ends at once, and
// frees it.
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
    bool abort = kind == JOB_DOWNLOAD && exceeds_limit(info->handle, amount);

    const double elapsed_s = elapsed_time_s(info->handle);
    if (elapsed_s >= 0) {
        if (active)
            timeout->last_updated_time = elapsed_s;
        else if (!abort)
            abort = idle_too_long(info, elapsed_s);
    }
    if (publish(info, amount, elapsed_s))
        abort = true;
    return abort ? give_up(info->job) : 0;
}

int cb_progress_null(void *context, double, double, double, double)
{
    if (context == nullptr) {
        log_error("curl_func(1726)", "CURLOPT_PROGRESSDATA has not been set.");
        return 0;
    }
    const auto *info = static_cast<const progress_info_t *>(context);
    if (info->handle->operation_timed_out != 0)
        sockets_break(info->job);
    const job_lock lock(info->job);
    return cancel_seen(info) ? give_up(info->job) : 0;
}
