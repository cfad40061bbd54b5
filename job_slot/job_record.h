// The record of an engine's only job, the running or the last one. The daemon reads a copy of it; it is never
// sent as a whole.
#pragma once

#include "wire/job_init.h"
#include "wire/transfer_request.h"

struct job_record_t {
    module_info_t module_info;
    transfer_request_t request; // a copy; its `resume` word is left unused here
    exec_info_t exec_info;
    remote_file_t remote_file; // its first byte doubles as an upload's flag, see job_start
};

WIRE_FIELD(job_record_t, module_info, 0, 16);
WIRE_FIELD(job_record_t, request, 16, 2080);
WIRE_FIELD(job_record_t, exec_info, 2096, 48);
WIRE_FIELD(job_record_t, remote_file, 2144, 48);
WIRE_SIZE(job_record_t, 2192);
