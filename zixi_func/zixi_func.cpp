#include "zixi_func/zixi_func.h"

#include "job_slot/job_slot.h"
#include "platform/zixiFeeder.h"
#include "strutil/log.h"
#include "zixi_func/error_names.h"
#include "zixi_func/worker.h"

constexpr job_engine_t ZIXI = {
    .work = zixif_work,
    .unjoined = unjoined_t::kept,
    .not_recursive_id = "zixi_func(921)",
    .lock_id = "zixi_func(944)",
    .unlock_id = "zixi_func(962)",
    .create_id = "zixi_func(853)",
    .not_started_id = "zixi_func(394)",
    .no_thread_id = "zixi_func(401)",
    .join_id = "zixi_func(882)",
};

static job_slot_t zixif_info_ = {.engine = &ZIXI};

int zixif_init()
{
    if (job_init(&zixif_info_) != 0)
        return -1;
    int major = 0;
    int minor = 0;
    int patch = 0;
    int build = 0;
    const int error = zixi_version(&major, &minor, &patch, &build);
    if (error == ZIXI_ERROR_OK)
        log_info("zixi_func(180)", "libZixifeeder/%d.%d.%d.%d", major, minor, patch, build);
    else
        zixif_log_error(error);
    return 0;
}

uint32_t zixif_download(const transfer_request_t *) { return FTPCD_ERR_NOT_SUPPORTED; }

uint32_t zixif_ftp_upload(const transfer_request_t *req)
{
    const uint8_t overwrite = req->resume == 0 ? 1 : 0;
    return job_start(&zixif_info_, JOB_UPLOAD, req, overwrite);
}

uint32_t zixif_dl_file_info(const transfer_request_t *req)
{
    return job_start(&zixif_info_, JOB_DL_FILE_INFO, req, 0);
}

int zixif_finished() { return job_finished(&zixif_info_); }

uint32_t zixif_is_alive()
{
    const job_lock lock(&zixif_info_);
    return zixif_info_.started;
}

void zixif_get_state(void *out) { job_get_state(&zixif_info_, out); }

int zixif_cancel() { return job_cancel(&zixif_info_, nullptr); }
