// The limits of a job: 4096 bytes for a download, and the time limits. On the worker thread;
// nothing here waits.
#pragma once

#include "curl_wrapper/curl_wrapper.h"

#include <cstdint>

constexpr int32_t NO_LIMIT = 0;
constexpr int32_t ANY_NUMBER = -1; // of retries after timeouts

// The limits of a job, and the state of the current try for the progress callback.
struct timeout_info_t {
    int32_t connection_limit = NO_LIMIT; // seconds for connecting, and without any byte moved
    int32_t operation_limit = NO_LIMIT;  // seconds for the whole try
    int32_t timeout_retry_limit = 0;     // retries left after timeouts, or ANY_NUMBER
    int32_t spare = 0;                   // not used
    double last_updated_time = 0;        // seconds into the try, at the last sign of progress
    uint32_t timed_out = 0;              // 1 when the try ended by a timeout
    double last_amount = 0;              // bytes moved in the try, as last seen
};

// What each kind of job begins with. All are limited to five tries as well, see curl_perform.
constexpr timeout_info_t DOWNLOAD_LIMITS = {60, NO_LIMIT, 0};
constexpr timeout_info_t UPLOAD_LIMITS = {60, NO_LIMIT, ANY_NUMBER};
constexpr timeout_info_t LOOK_UP_LIMITS = {NO_LIMIT, 180, ANY_NUMBER};

// libcurl's amounts for one direction, in bytes. A total of 0 means unknown.
struct amount_t {
    double total;
    double now;
};

// True when more than the limit has arrived, or more is announced and something has arrived. It then sets
// FTPCD_ERR_SIZE_LIMIT in the handle, and logs it unless there was an error already.
bool exceeds_download_limit(curl_e_handle_t *handle, const amount_t &amount);

// True when something moved since the last call in the same try, or everything has moved.
bool is_active(timeout_info_t *timeout, const amount_t &amount);

// True when, `elapsed_s` into the try, nothing has moved for longer than connection_limit (0 = no
// limit). It then sets FTPCD_ERR_TIMEOUT in the handle and timed_out to 1, and logs it unless there was
// an error already.
bool is_idle_too_long(curl_e_handle_t *handle, timeout_info_t *timeout, double elapsed_s);

// Seconds of the current transfer, -1 when unknown. Does not change the handle's outcome.
double elapsed_time_s(const curl_e_handle_t *handle);

// For log lines: without the fraction, limited to the range of long.
long whole_number(double value);
