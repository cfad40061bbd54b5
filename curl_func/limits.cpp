#include "curl_func/limits.h"

#include "strutil/log.h"
#include "wire/result_codes.h"
#include "wire/transfer_request.h"

#include <climits>

constexpr int LIMIT_BYTES = DOWNLOAD_LIMIT_BYTES; // comparable with a double

bool exceeds_download_limit(curl_e_handle_t *handle, const amount_t &amount)
{
    const bool announced = amount.total > LIMIT_BYTES && amount.now > 0;
    if (!announced && !(amount.now > LIMIT_BYTES))
        return false;
    if (handle->error == FTPCD_ERR_NONE)
        log_error("curl_func(1569)", "Download file size limit exceeded. size:%ld of %ld, limit: %d",
                  whole_number(amount.now), whole_number(amount.total), LIMIT_BYTES);
    handle->error = FTPCD_ERR_SIZE_LIMIT;
    return true;
}

bool is_active(timeout_info_t *timeout, const amount_t &amount)
{
    const double last = timeout->last_amount;
    timeout->last_amount = amount.now;
    return amount.now <= last - 1 || amount.now >= last + 1 ||
           (amount.total > 0 && amount.now >= amount.total);
}

bool is_idle_too_long(curl_e_handle_t *handle, timeout_info_t *timeout, double elapsed_s)
{
    if (timeout->connection_limit <= 0 || elapsed_s - timeout->last_updated_time <= timeout->connection_limit)
        return false;
    if (handle->error == FTPCD_ERR_NONE)
        log_error("curl_func(1619)", "Timeout has occurred: [elapsed_time] %ld, [last_updated_time] %ld",
                  whole_number(elapsed_s), whole_number(timeout->last_updated_time));
    timeout->timed_out = 1;
    handle->error = FTPCD_ERR_TIMEOUT;
    return true;
}

double elapsed_time_s(const curl_e_handle_t *handle)
{
    curl_e_handle_t copy = curl_e_copy_of(handle);
    const double elapsed_s = curl_e_getinfo_total_time(&copy);
    return is_curl_error(&copy) ? -1 : elapsed_s;
}

long whole_number(double value)
{
    if (value >= static_cast<double>(LONG_MAX))
        return LONG_MAX;
    return value > static_cast<double>(LONG_MIN) ? static_cast<long>(value) : LONG_MIN;
}
