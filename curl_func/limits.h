// The limits of a job: 4096 bytes for a download, and how long it may take. On the worker thread; nothing
// here waits.
#pragma once

#include "curl_wrapper/curl_wrapper.h"

#include <cstdint>

// A download is refused past this: the device fetches small files only.
constexpr int DOWNLOAD_LIMIT_BYTES = 4096;

constexpr int32_t NO_LIMIT = 0;
constexpr int32_t ANY_NUMBER = -1; // of retries

// Limits of a job, and what the progress callback remembers of the current try.
struct timeout_info_t {
    int32_t connection_limit = NO_LIMIT; // seconds that connecting may take, and that no byte may move
    int32_t operation_limit = NO_LIMIT;  // seconds for the whole try
    int32_t timeout_retry_limit = 0;     // retries left after time-outs, or ANY_NUMBER
    int32_t spare = 0;
    double last_updated_time = 0; // seconds into the try, at the last sign of progress
    uint32_t timed_out = 0;       // 1 when the try ended by a time-out
    double last_amount = 0;       // bytes moved in the try, as last seen
};

constexpr timeout_info_t DOWNLOAD_LIMITS = {60, NO_LIMIT, 0};
constexpr timeout_info_t UPLOAD_LIMITS = {60, NO_LIMIT, ANY_NUMBER};
constexpr timeout_info_t LOOK_UP_LIMITS = {NO_LIMIT, 180, ANY_NUMBER};

// libcurl's amounts for one direction, in bytes. A total of 0 is an unknown one.
struct amount_t {
    double total;
    double now;
};

// True when more than the limit has come, or when more is announced and something has come. Then
// FTPCD_ERR_SIZE_LIMIT is in the handle. Logged unless there is an error already.
bool exceeds_download_limit(curl_e_handle_t *handle, const amount_t &amount);

// True when something moved since the last call of the same try, or everything has moved already.
bool is_active(timeout_info_t *timeout, const amount_t &amount);

// True, with FTPCD_ERR_TIMEOUT in the handle and timed_out 1, when nothing has moved for longer than
// connection_limit, `elapsed_s` into the try; never when that is 0. Logged unless there is an error already.
bool is_idle_too_long(curl_e_handle_t *handle, timeout_info_t *timeout, double elapsed_s);

// Seconds of the current transfer, -1 when they cannot be read. Leaves the handle's outcome alone.
double elapsed_time_s(const curl_e_handle_t *handle);

// For a log line: without the fraction, and within a long.
long whole_number(double value);
