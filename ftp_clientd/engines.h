// The two transfer engines, seen alike: nothing else in this folder knows them. The protocol of the last job
// asked for says which one is active. For the main thread only.
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
    int (*finished)();               // 0 once for each job that has ended, else not 0
    int (*cancel)();                 // waits until the job has stopped: 0, or FTPCD_ERR_NOT_RUNNING
    void (*get_state)(void *record); // fills the caller's job_record_t
    const remote_file_t *fixed_file; // what command 6 answers; NULL: what the last job found
    const char *library;             // its name in the log
    const char *no_kind_id;          // log id: a job of no kind has ended
};

// Prepares both engines: 0, or the first failure.
int engines_init();

// The engine for this protocol, which is the active one from now on.
const engine_t &engine_select(uint32_t protocol);

// The engine that was selected last, libcurl's before the first selection.
const engine_t &engine_active();

// A copy of the engine's job record.
job_record_t engine_state(const engine_t &engine);

// Announces the active engine's job when it has just ended. Does not wait for a job; see notify for how long
// the announcement may take.
void engine_report_finished_job();
