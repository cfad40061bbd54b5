#include "ftp_clientd/notices.h"
#include "curl_func/curl_func.h"
#include "ftp_clientd/ftp_clientd_if.h"
#include "ftp_clientd/reply.h"
#include "job_slot/job_record.h"
#include "strutil/strutil.h"
#include "zixi_func/zixi_func.h"

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

// Announces the job that `get_state` copies; one of no kind is logged under `id`, blamed on `library`.
static void announce(void (*get_state)(void *), const char *id, const char *library)
{
    job_record_t job = {};
    get_state(&job);
    if (job.module_info.cancel != 0)
        return;
    const int code = notice_for(job.module_info.exec);
    if (code == -1) {
        log_error(id, "%s was executed, but 'exec' is none.", library);
        return;
    }
    const completion_notice_t body = {reply_for(job.module_info.result), job.exec_info};
    ftp_clientd_if_notify(code, &body, sizeof body);
}

void notify() { announce(curlf_get_state, "ftp_clientd(661)", "libcurl"); }

void notify_zixi() { announce(zixif_get_state, "ftp_clientd(797)", "libzixifeeder"); }
