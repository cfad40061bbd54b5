// Runs a transfer, again where that is worth it.
#pragma once

#include "curl_func/limits.h"
#include "job_slot/job_slot.h"

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
// time-out doubles the limits and uses up one of timeout_retry_limit. A try that moved bytes is the last one
// when it took longer than 60 s plus connection_limit (or plus twice operation_limit, when that is the
// greater). A failed reset is FTPCD_ERR_INTERNAL; what begin_again returns is ignored. A transfer that ended
// well but short of the size learnt on its way fails (FTPCD_ERR_NETWORK, CURLE_PARTIAL_FILE). The outcome is
// the handle's result block. Blocks until the last try has ended.
void curl_perform(curl_e_handle_t *handle, perform_info_t *info);
