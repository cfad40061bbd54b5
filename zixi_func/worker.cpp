#include "zixi_func/worker.h"

#include "platform/zixiFeeder.h"
#include "strutil/log.h"
#include "strutil/strutil.h"
#include "wire/result_codes.h"
#include "zixi_func/error_names.h"
#include "zixi_func/progress.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <libgen.h>
#include <sys/time.h>
#include <unistd.h>

constexpr int LOG_LEVEL = 3;
constexpr int RETRY_BUDGET = 4;
constexpr unsigned RETRY_PAUSE_S = 1;
constexpr timespec PROGRESS_PERIOD = {1, 0};

namespace
{

// What to do when an upload has ended.
enum class ending_t {
    judge,  // a stored error makes the result FTPCD_ERR_NETWORK
    settled // the result stands
};

} // namespace

static void store_error(job_slot_t *slot, int error)
{
    const job_lock lock(slot);
    slot->record.exec_info.zixi_error = static_cast<uint32_t>(error);
}

// A line of the library's log goes to the console as it is.
static void cb_log(void *, int, const char *line)
{
    fputs(line, stdout);
    fflush(stdout);
}

// Always false.
static bool set_up_failed(job_slot_t *slot, const char *id, const char *text, int error)
{
    log_error(id, "%s err=%d", text, error);
    zixif_log_error(error);
    job_store_result(slot, FTPCD_ERR_INTERNAL);
    store_error(slot, error);
    return false;
}

static bool configure(job_slot_t *slot)
{
    int error = zixi_configure_logging(LOG_LEVEL, cb_log, nullptr);
    if (error != ZIXI_ERROR_OK)
        return set_up_failed(slot, "zixi_func(557)", "Error configuring logging.", error);
    const auto request = reinterpret_cast<const char *>(&slot->record.request);
    const char *user = request + ZIXI_USER_OFFSET;
    const char *password = request + ZIXI_PASSWORD_OFFSET;
    error = zixi_configure_credentials(user, static_cast<int>(strlen(user)), password,
                                       static_cast<int>(strlen(password)));
    return error == ZIXI_ERROR_OK ||
           set_up_failed(slot, "zixi_func(575)", "Error configuring credentials.", error);
}

// The library takes the remote directory; the file keeps its local name. For a path without a directory
// dirname returns a static ".".
static void cut_remote_path(job_slot_t *slot)
{
    const job_lock lock(slot);
    auto &path = slot->record.request.remote_path;
    const char *directory = dirname(path);
    if (directory != path)
        copy_string(path, sizeof path, directory);
}

static int start_stream(const job_slot_t *slot, const uintptr_t configuration[2], void **stream)
{
    const transfer_request_t &request = slot->record.request;
    zixi_upload_parameters parameters = {};
    parameters.port = static_cast<uint16_t>(request.port);
    parameters.setting_4 = 1430;
    parameters.remote_directory = request.remote_path;
    parameters.setting_24 = 50000000;
    parameters.setting_32 = 0;
    parameters.setting_36 = 3;
    parameters.overwrite = job_upload_flag(slot);
    return zixi_upload_file(configuration[0], configuration[1], request.local_path, request.host, parameters,
                            stream);
}

static int64_t clock_ms()
{
    timeval now;
    gettimeofday(&now, nullptr);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_usec / 1000;
}

// True when the job has been told to stop.
static bool store_progress(job_slot_t *slot, uint64_t sent_bytes, uint64_t total_bytes, int64_t elapsed_ms)
{
    const job_lock lock(slot);
    job_record_t &job = slot->record;
    if (total_bytes > 0)
        job.exec_info.total_size = static_cast<double>(total_bytes);
    if (sent_bytes > 0)
        job.exec_info.transferred_size = static_cast<double>(sent_bytes);
    if (elapsed_ms > 0)
        job.exec_info.elapsed_time = static_cast<double>(elapsed_ms) / 1000;
    return job.module_info.cancel != 0;
}

// Watches the upload until the library has ended it or a cancel stops it.
static ending_t watch(job_slot_t *slot, void *stream)
{
    zixif_progress_t progress = {clock_ms(), 0, 0};
    int state = 0;
    do {
        nanosleep(&PROGRESS_PERIOD, nullptr);
        uint64_t sent_bytes = 0;
        uint64_t total_bytes = 0;
        const int error = zixi_get_upload_progress(stream, &sent_bytes, &total_bytes, &state);
        if (error != ZIXI_ERROR_OK) {
            log_error("zixi_func(700)", "Error uploading.");
            zixif_log_error(error);
            store_error(slot, error);
            return ending_t::judge;
        }
        zixif_progress_sample(&progress, sent_bytes, total_bytes, clock_ms());
        if (store_progress(slot, sent_bytes, total_bytes, progress.elapsed_ms)) {
            log_info("zixi_func(756)", "Zixi Upload : canceled.");
            store_error(slot, ZIXI_ERROR_OK);
            job_store_result(slot, FTPCD_ERR_CANCELED);
            return ending_t::settled;
        }
    } while (state == ZIXI_STATE_UPLOADING);
    return ending_t::judge;
}

static ending_t follow(job_slot_t *slot, void *stream)
{
    const ending_t ending = watch(slot, stream);
    const int error = zixi_close_stream(stream);
    if (error != ZIXI_ERROR_OK) {
        log_error("zixi_func(781)", "Error closing upload.");
        zixif_log_error(error);
    }
    log_info("zixi_func(784)", "Zixi FTP Done.");
    return ending;
}

static bool may_pass(int error)
{
    return error == ZIXI_ERROR_FILE_REMOTE ||
           (error >= ZIXI_ERROR_INVALID_PARAMETER && error <= ZIXI_ERROR_RECONNECTING);
}

static ending_t give_up(job_slot_t *slot, int error)
{
    log_info("zixi_func(650)", "Upload Error:%d", error);
    store_error(slot, error);
    if (error != ZIXI_WARNING_REMOTE_FILE_EXISTS)
        return ending_t::judge;
    job_store_result(slot, FTPCD_ERR_REMOTE_FILE_EXISTS);
    return ending_t::settled;
}

static ending_t upload(job_slot_t *slot)
{
    store_error(slot, ZIXI_ERROR_OK);
    if (!configure(slot))
        return ending_t::judge;
    cut_remote_path(slot);
    int error = ZIXI_ERROR_OK;
    for (int budget = RETRY_BUDGET; budget >= 0;) {
        uintptr_t configuration[2] = {};
        error = zixi_prepare_configuration(0, 0, configuration);
        if (error != ZIXI_ERROR_OK) {
            set_up_failed(slot, "zixi_func(588)", "Error preparing configuration.", error);
            return ending_t::judge;
        }
        void *stream = nullptr;
        error = start_stream(slot, configuration, &stream);
        if (error == ZIXI_ERROR_OK)
            return follow(slot, stream);
        log_error("zixi_func(623)", "Error starting upload. err=%d", error);
        zixif_log_error(error);
        if (!may_pass(error))
            break;
        budget--;
        if (!job_is_cancelled(slot)) // a waiting cancel must not wait for every pause
            sleep(RETRY_PAUSE_S);
    }
    return give_up(slot, error);
}

static ending_t run(job_slot_t *slot)
{
    switch (slot->record.module_info.exec) {
    case JOB_UPLOAD:
        return upload(slot);
    case JOB_DOWNLOAD:
    case JOB_DL_FILE_INFO:
        return ending_t::settled;
    default:
        return ending_t::judge;
    }
}

static void mark_as_zixi(job_slot_t *slot)
{
    const job_lock lock(slot);
    slot->record.exec_info.response_code_type = RESPONSE_CODE_ZIXI;
}

static void judge(job_slot_t *slot)
{
    const job_lock lock(slot);
    if (slot->record.exec_info.zixi_error == ZIXI_ERROR_OK)
        return;
    slot->record.module_info.result = FTPCD_ERR_NETWORK;
    log_error("zixi_func(502)", "FTPCD_ERR_NETWORK");
}

void zixif_work(job_slot_t *slot)
{
    mark_as_zixi(slot);
    if (run(slot) == ending_t::judge)
        judge(slot);
}
