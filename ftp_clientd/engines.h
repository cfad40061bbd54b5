// A common interface to the two transfer engines; nothing else in this folder uses them directly. The
// protocol of the last requested job determines the active engine. For the main thread only.
#pragma once

#include "job_slot/job_record.h"
#include "wire/wire.h"

// Returns an ftpcd_err; see curl_func/curl_func.h.
using start_call = uint32_t (*)(const transfer_request_t *request);

struct engine_t {
    int (*init)(); // once; 0, or -1 after a logged failure
    start_call download;
    start_call upload;
    start_call dl_file_info;
    int (*finished)();               // 0 once for each job that has ended, otherwise not 0
    int (*cancel)();                 // waits until the job has stopped: 0, or FTPCD_ERR_NOT_RUNNING
    void (*get_state)(void *record); // fills the caller's job_record_t
    const remote_file_t *fixed_file; // the reply to command 6; NULL: what the last job found
    const char *library;             // its name in the log
    const char *no_kind_id;          // log id: a job of unknown kind has ended
};

// Prepares both engines; call it once, before the others. 0, or the first failure, which is logged: -1.
int engines_init();

// Makes the engine for this protocol, a transfer_protocol, the active one and returns it. A job of the other
// engine runs on, but is neither reported nor cancelled until that engine is active again.
const engine_t &engine_select(uint32_t protocol);

// The engine selected last; libcurl's before the first selection.
const engine_t &engine_active();

// A copy of the engine's job record.
job_record_t engine_state(const engine_t &engine);

// Sends a notice if the active engine's job has just ended. Does not wait for a job, but for the network
// manager, as notify does.
void engine_report_finished_job();
