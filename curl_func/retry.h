// Runs a transfer, with retries.
#pragma once

#include "curl_func/limits.h"
#include "job_slot/job_slot.h"

struct perform_info_t {
    timeout_info_t *timeout_info; // NULL = no limits
    exec_info_t *exec_info;       // NULL = progress is neither published nor checked
    job_slot_t *job;
    int (*reset)(void *arg); // rewinds the local file after a failed try; 0 = success; NULL = nothing to do
    int (*begin_again)(void *arg); // called when the next try begins; NULL = nothing to do
    void *reset_arg;               // passed to both; a cb_file_info_t
};

// Runs the transfer that the handle is set up for, in up to five tries. Retried are timeouts, broken
// connections, and an HTTP proxy's 417. Between two tries it pauses for 5 s, which a cancel cuts short. A
// timeout doubles the limits and uses up one of timeout_retry_limit. A try that moved bytes is not retried if
// it took longer than 60 s plus connection_limit (or plus twice operation_limit, if operation_limit is
// greater). A failed reset is FTPCD_ERR_INTERNAL; the result of begin_again is ignored. A transfer that
// succeeded but moved less than the announced size fails (FTPCD_ERR_NETWORK, CURLE_PARTIAL_FILE). The outcome
// is the handle's result block. Blocks until the last try has ended.
void curl_perform(curl_e_handle_t *handle, perform_info_t *info);
