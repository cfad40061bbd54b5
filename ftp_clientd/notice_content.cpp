#include "ftp_clientd/notice_content.h"

#include "ftp_clientd/ftp_clientd_if.h"
#include "strutil/log.h"

void notify_start_up(uint32_t code)
{
    const reply_t body = reply_for(code);
    ftp_clientd_if_notify(NOTICE_STARTED, &body, sizeof body);
}

// The notice_code for a job of this kind, -1 when it is none.
static int notice_for(uint32_t kind)
{
    switch (kind) {
    case JOB_DOWNLOAD:
        return NOTICE_DOWNLOAD_DONE;
    case JOB_UPLOAD:
        return NOTICE_UPLOAD_DONE;
    case JOB_DL_FILE_INFO:
        return NOTICE_FILE_INFO_DONE;
    default:
        return -1;
    }
}

void notify(const engine_t &engine)
{
    const job_record_t job = engine_state(engine);
    if (job.module_info.cancel != 0)
        return;
    const int code = notice_for(job.module_info.exec);
    if (code == -1) {
        log_error(engine.no_kind_id, "%s was executed, but 'exec' is none.", engine.library);
        return;
    }
    const completion_notice_t body = {reply_for(job.module_info.result), job.exec_info};
    ftp_clientd_if_notify(code, &body, sizeof body);
}
