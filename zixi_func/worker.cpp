#include "zixi_func/worker.h"

#include "platform/zixiFeeder.h"
#include "strutil/strutil.h"
#include "wire/result_codes.h"
#include "zixi_func/error_names.h"
#include "zixi_func/job.h"
#include "zixi_func/progress.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <libgen.h>
#include <sys/time.h>
#include <unistd.h>

namespace
{

constexpr uint32_t RESPONSE_CODE_ZIXI = 3; // told apart from the servers libcurl talks to
constexpr int LOG_LEVEL = 3;
constexpr int RETRY_BUDGET = 4;
constexpr unsigned RETRY_PAUSE_S = 1;
constexpr timespec PROGRESS_PERIOD = {1, 0};

// What is left to do when an upload has ended.
enum class ending_t {
    judge,  // a stored error makes the result FTPCD_ERR_NETWORK
    settled // the result stands
};

void store_error(int error)
{
    const zixif_lock held;
    zixif_info(held).job.exec_info.zixi_error = static_cast<uint32_t>(error);
}

void store_result(uint32_t result)
{
    const zixif_lock held;
    zixif_info(held).job.module_info.result = result;
}

// A line of the library's log goes to the console as it is.
void cb_log(void *, int, const char *line)
{
    fputs(line, stdout);
    fflush(stdout);
}

void set_up_failed(const char *id, const char *text, int error)
{
    log_error(id, "%s err=%d", text, error);
    zixif_log_error(error);
    store_result(FTPCD_ERR_INTERNAL);
    store_error(error);
}

bool configure()
{
    int error = zixi_configure_logging(LOG_LEVEL, cb_log, nullptr);
    if (error != ZIXI_ERROR_OK) {
        set_up_failed("zixi_func(557)", "Error configuring logging.", error);
        return false;
    }
    const auto request = reinterpret_cast<const char *>(&zixif_request());
    const char *user = request + ZIXI_USER_OFFSET;
    const char *password = request + ZIXI_PASSWORD_OFFSET;
    error = zixi_configure_credentials(user, static_cast<int>(strlen(user)), password,
                                       static_cast<int>(strlen(password)));
    if (error != ZIXI_ERROR_OK)
        set_up_failed("zixi_func(575)", "Error configuring credentials.", error);
    return error == ZIXI_ERROR_OK;
}

// The library wants the directory; the file keeps the local file's name there. A path without one is "."
// for dirname, which is then not in place.
void cut_remote_path()
{
    const zixif_lock held;
    auto &path = zixif_info(held).job.request.remote_path;
    const char *directory = dirname(path);
    if (directory != path)
        copy_string(path, sizeof path, directory);
}

uint8_t overwrite_byte()
{
    const zixif_lock held;
    uint8_t overwrite;
    memcpy(&overwrite, &zixif_info(held).job.remote_file, sizeof overwrite);
    return overwrite;
}

int start_stream(const uintptr_t configuration[2], void **stream)
{
    const transfer_request_t &request = zixif_request();
    zixi_upload_parameters parameters = {};
    parameters.port = static_cast<uint16_t>(request.port);
    parameters.setting_4 = 1430;
    parameters.remote_directory = request.remote_path;
    parameters.setting_24 = 50000000;
    parameters.setting_32 = 0;
    parameters.setting_36 = 3;
    parameters.overwrite = overwrite_byte();
    return zixi_upload_file(configuration[0], configuration[1], request.local_path, request.host, parameters,
                            stream);
}

int64_t clock_ms()
{
    timeval now;
    gettimeofday(&now, nullptr);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_usec / 1000;
}

// True when the job has been told to stop.
bool store_progress(uint64_t sent_bytes, uint64_t total_bytes, int64_t elapsed_ms)
{
    const zixif_lock held;
    job_record_t &job = zixif_info(held).job;
    if (total_bytes > 0)
        job.exec_info.total_size = static_cast<double>(total_bytes);
    if (sent_bytes > 0)
        job.exec_info.transferred_size = static_cast<double>(sent_bytes);
    if (elapsed_ms > 0)
        job.exec_info.elapsed_time = static_cast<double>(elapsed_ms) / 1000;
    return job.module_info.cancel != 0;
}

// Follows the upload until the library has ended it, or it is told to stop.
ending_t watch(void *stream)
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
            store_error(error);
            return ending_t::judge;
        }
        zixif_progress_sample(&progress, sent_bytes, total_bytes, clock_ms());
        if (store_progress(sent_bytes, total_bytes, progress.elapsed_ms)) {
            log_info("zixi_func(756)", "Zixi Upload : canceled.");
            store_error(ZIXI_ERROR_OK);
            store_result(FTPCD_ERR_CANCELED);
            return ending_t::settled;
        }
    } while (state == ZIXI_STATE_UPLOADING);
    return ending_t::judge;
}

ending_t follow(void *stream)
{
    const ending_t ending = watch(stream);
    const int error = zixi_close_stream(stream);
    if (error != ZIXI_ERROR_OK) {
        log_error("zixi_func(781)", "Error closing upload.");
        zixif_log_error(error);
    }
    log_info("zixi_func(784)", "Zixi FTP Done.");
    return ending;
}

bool may_pass(int error)
{
    return error == ZIXI_ERROR_FILE_REMOTE ||
           (error >= ZIXI_ERROR_INVALID_PARAMETER && error <= ZIXI_ERROR_RECONNECTING);
}

ending_t give_up(int error)
{
    log_info("zixi_func(650)", "Upload Error:%d", error);
    store_error(error);
    if (error != ZIXI_WARNING_REMOTE_FILE_EXISTS)
        return ending_t::judge;
    store_result(FTPCD_ERR_REMOTE_FILE_EXISTS);
    return ending_t::settled;
}

bool is_cancelled()
{
    const zixif_lock held;
    return zixif_info(held).job.module_info.cancel != 0;
}

ending_t upload()
{
    store_error(ZIXI_ERROR_OK);
    if (!configure())
        return ending_t::judge;
    cut_remote_path();
    int error = ZIXI_ERROR_OK;
    for (int budget = RETRY_BUDGET; budget >= 0;) {
        uintptr_t configuration[2] = {};
        error = zixi_prepare_configuration(0, 0, configuration);
        if (error != ZIXI_ERROR_OK) {
            set_up_failed("zixi_func(588)", "Error preparing configuration.", error);
            return ending_t::judge;
        }
        void *stream = nullptr;
        error = start_stream(configuration, &stream);
        if (error == ZIXI_ERROR_OK)
            return follow(stream);
        log_error("zixi_func(623)", "Error starting upload. err=%d", error);
        zixif_log_error(error);
        if (!may_pass(error))
            break;
        budget--;
        if (!is_cancelled()) // who waits for the cancel shall not wait for every pause
            sleep(RETRY_PAUSE_S);
    }
    return give_up(error);
}

uint32_t begin()
{
    const zixif_lock held;
    job_record_t &job = zixif_info(held).job;
    job.exec_info.response_code_type = RESPONSE_CODE_ZIXI;
    return job.module_info.exec;
}

ending_t run(uint32_t kind)
{
    switch (kind) {
    case JOB_UPLOAD:
        return upload();
    case JOB_DOWNLOAD:
    case JOB_DL_FILE_INFO:
        return ending_t::settled;
    default:
        return ending_t::judge;
    }
}

void judge()
{
    const zixif_lock held;
    job_record_t &job = zixif_info(held).job;
    if (job.exec_info.zixi_error == ZIXI_ERROR_OK)
        return;
    job.module_info.result = FTPCD_ERR_NETWORK;
    log_error("zixi_func(502)", "FTPCD_ERR_NETWORK");
}

} // namespace

void *zixif_worker(void *)
{
    if (run(begin()) == ending_t::judge)
        judge();
    const zixif_lock held;
    zixif_info(held).job.module_info.running = 0;
    return nullptr;
}
