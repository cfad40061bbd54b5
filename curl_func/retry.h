// Runs a transfer, again where that is worth it.
#pragma once

#include "curl_wrapper/curl_wrapper.h"
#include "job_slot/job_slot.h"

#include <cstdint>

// Limits of a job, and what the progress callback remembers of the current try.
struct timeout_info_t {
    int32_t connection_limit = 0;    // seconds to connect, and without a byte moving; 0 = none
    int32_t operation_limit = 0;     // seconds for the whole try; 0 = none
    int32_t timeout_retry_limit = 0; // retries left after time-outs; -1 = any number
    int32_t spare = 0;
    double last_updated_time = 0; // seconds into the try, at the last sign of progress
    uint32_t timed_out = 0;       // 1 when the try ended by a time-out
    double last_amount = 0;       // bytes moved in the try, as last seen
};

struct perform_info_t {
    timeout_info_t *timeout_info; // NULL = no limits
    exec_info_t *exec_info;       // NULL = neither shown nor checked
    job_slot_t *job;
    int (*reset)(void *arg); // rewinds the local file after a failed try, 0 = done; NULL = nothing to do
    int (*begin_again)(void *arg); // when the next try begins; NULL = nothing to do
    void *reset_arg;               // of both; the cb_file_info_t
};

// Runs the transfer that the handle is set up for, in up to five tries. Worth another try are time-outs, data
// connections that break, and an HTTP proxy's 417. Between two tries lie 5 s, cut short by a cancel; a
// time-out doubles the limits. A transfer that ended well but short of the size learnt on its way fails
// (FTPCD_ERR_NETWORK, libcurl 18). The outcome is the handle's result block.
void curl_perform(curl_e_handle_t *handle, perform_info_t *info);

// Back to the start of the local file, arg a cb_file_info_t. 0, or what fseeko returned (logged). An upload
// that resumes goes to the very start too.
int curl_download_reset(void *arg);
int curl_upload_reset(void *arg);

// Empties the local file: a second body shorter than the first must not keep its tail. A file that cannot be
// cut, such as a device, stays as it is: not 0.
int curl_download_empty(void *arg);

// Seconds of the current transfer, -1 when they cannot be read. Leaves the handle's outcome alone.
double elapsed_time_s(const curl_e_handle_t *handle);

// For a log line: without the fraction, and within a long.
long whole_number(double value);
