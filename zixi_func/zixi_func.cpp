#include "zixi_func/zixi_func.h"

#include "platform/zixiFeeder.h"
#include "strutil/strutil.h"
#include "zixi_func/error_names.h"
#include "zixi_func/job.h"
#include "zixi_func/worker.h"

#include <cerrno>
#include <cstring>
#include <ctime>

static constexpr timespec CANCEL_POLL = {0, 100000000}; // 100 ms
static constexpr size_t LOOKED_UP_BYTES = 16;           // of remote_file: its flags and size

int zixif_init()
{
    if (zixif_job_init() == -1)
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

// pthread_create and pthread_join return their error; the log wants it in errno.
static bool succeeded(const char *id, int rc)
{
    if (rc == 0)
        return true;
    errno = rc;
    log_errno(id);
    return false;
}

static uint32_t exec_start(zixif_info_t *info, uint32_t kind)
{
    ftp_clientd_if_module_info_init(&info->job.module_info);
    info->job.module_info.running = 1;
    info->job.module_info.exec = kind;
    if (info->started == 0 &&
        succeeded("zixi_func(853)", pthread_create(&info->thread, nullptr, zixif_worker, nullptr))) {
        info->started = 1;
        return FTPCD_ERR_NONE;
    }
    log_errno("zixi_func(394)");
    log_error("zixi_func(401)", "failed to create thread.");
    info->job.module_info.running = 0;
    info->job.module_info.result = FTPCD_ERR_INTERNAL;
    return FTPCD_ERR_INTERNAL;
}

static void take_request(job_record_t *job, const transfer_request_t *req)
{
    memcpy(&job->request, req, JOB_REQUEST_COPIED);
    ftp_clientd_if_exec_info_init(&job->exec_info);
}

uint32_t zixif_download(const transfer_request_t *) { return FTPCD_ERR_NOT_SUPPORTED; }

uint32_t zixif_ftp_upload(const transfer_request_t *req)
{
    const zixif_lock held;
    zixif_info_t &info = zixif_info(held);
    if (info.job.module_info.running != 0)
        return FTPCD_ERR_BUSY;
    take_request(&info.job, req);
    const uint8_t overwrite = req->resume == 0 ? 1 : 0;
    memcpy(&info.job.remote_file, &overwrite, sizeof overwrite);
    return exec_start(&info, JOB_UPLOAD);
}

uint32_t zixif_dl_file_info(const transfer_request_t *req)
{
    const zixif_lock held;
    zixif_info_t &info = zixif_info(held);
    if (info.job.module_info.running != 0)
        return FTPCD_ERR_BUSY;
    take_request(&info.job, req);
    memset(&info.job.remote_file, 0, LOOKED_UP_BYTES);
    return exec_start(&info, JOB_DL_FILE_INFO);
}

int zixif_finished()
{
    const zixif_lock held;
    zixif_info_t &info = zixif_info(held);
    if (info.job.module_info.running != 0 || info.started == 0)
        return -1;
    const int rc = pthread_join(info.thread, nullptr);
    succeeded("zixi_func(882)", rc);
    info.started = 0;
    return rc;
}

uint32_t zixif_is_alive()
{
    const zixif_lock held;
    return zixif_info(held).started;
}

void zixif_get_state(void *out)
{
    const zixif_lock held;
    memcpy(out, &zixif_info(held).job, sizeof(job_record_t));
}

static bool is_running()
{
    const zixif_lock held;
    return zixif_info(held).job.module_info.running != 0;
}

int zixif_cancel()
{
    {
        const zixif_lock held;
        zixif_info(held).job.module_info.cancel = 1;
        if (zixif_info(held).job.module_info.running == 0)
            return FTPCD_ERR_NOT_RUNNING;
    }
    while (is_running())
        nanosleep(&CANCEL_POLL, nullptr);
    return 0;
}
