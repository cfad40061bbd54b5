/* The initial state of a job. The functions neither lock nor fail. */
#ifndef WIRE_JOB_INIT_H
#define WIRE_JOB_INIT_H

#include "wire/job_status.h"

/* Resets a job's status: idle, no job, no result, not cancelled. */
static inline void ftp_clientd_if_module_info_init(module_info_t *info)
{
    info->running = 0;
    info->exec = JOB_NONE;
    info->result = 0;
    info->cancel = 0;
}

/* Resets a progress block, except zixi_error, which only the Zixi engine clears, and the unused tail. */
static inline void ftp_clientd_if_exec_info_init(exec_info_t *info)
{
    info->total_size = 0;
    info->transferred_size = 0;
    info->elapsed_time = 0;
    info->curl_code = 0;
    info->response_code_type = RESPONSE_CODE_OTHER;
    info->response_code = 0;
    info->retry_count = 0;
}

#endif
