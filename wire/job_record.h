/* The record each engine keeps of its one job. Both engines lay it out alike, so the daemon reads both alike.
 */
#ifndef WIRE_JOB_RECORD_H
#define WIRE_JOB_RECORD_H

#include "wire/job_init.h"
#include "wire/transfer_request.h"

typedef struct job_record_t {
    module_info_t module_info;
    transfer_request_t request; /* a copy; its `resume` word is left unused here */
    exec_info_t exec_info;
    remote_file_t remote_file; /* its first byte doubles as the upload's resume or overwrite flag */
} job_record_t;

WIRE_FIELD(job_record_t, module_info, 0, 16);
WIRE_FIELD(job_record_t, request, 16, 2080);
WIRE_FIELD(job_record_t, exec_info, 2096, 48);
WIRE_FIELD(job_record_t, remote_file, 2144, 48);
WIRE_SIZE(job_record_t, 2192);

/* What a start copies of a request: everything up to `resume`. */
enum { JOB_REQUEST_COPIED = offsetof(transfer_request_t, resume) };
static_assert(JOB_REQUEST_COPIED == 2076, "the copied request ends before resume");

#endif
