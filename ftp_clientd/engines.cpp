#include "ftp_clientd/engines.h"

#include "curl_func/curl_func.h"
#include "ftp_clientd/notice_content.h"
#include "zixi_func/zixi_func.h"

// The reply to command 6 while this engine is active: no file, and nothing known, because the feeder library
// has no look-up.
constexpr remote_file_t ZIXI_FILE = {.looked_up = 1,
                                     .exists = 0,
                                     .size = -1,
                                     .year = -1,
                                     .month = -1,
                                     .day = -1,
                                     .hour = -1,
                                     .minute = -1,
                                     .attributes = REMOTE_FILE_ATTRIBUTES_UNKNOWN,
                                     .is_link = 0,
                                     .unused = 0};

constexpr engine_t LIBCURL = {.init = curlf_init,
                              .download = curlf_download,
                              .upload = curlf_upload,
                              .dl_file_info = curlf_dl_file_info,
                              .finished = curlf_finished,
                              .cancel = curlf_cancel,
                              .get_state = curlf_get_state,
                              .fixed_file = nullptr,
                              .library = "libcurl",
                              .no_kind_id = "ftp_clientd(661)"};

constexpr engine_t ZIXI = {.init = zixif_init,
                           .download = zixif_download,
                           .upload = zixif_ftp_upload,
                           .dl_file_info = zixif_dl_file_info,
                           .finished = zixif_finished,
                           .cancel = zixif_cancel,
                           .get_state = zixif_get_state,
                           .fixed_file = &ZIXI_FILE,
                           .library = "libzixifeeder",
                           .no_kind_id = "ftp_clientd(797)"};

static uint32_t protocol_state_ = PROTOCOL_FTP;

int engines_init()
{
    const int failed = LIBCURL.init();
    return failed != 0 ? failed : ZIXI.init();
}

const engine_t &engine_select(uint32_t protocol)
{
    protocol_state_ = protocol;
    return engine_active();
}

const engine_t &engine_active() { return protocol_is_zixi(protocol_state_) ? ZIXI : LIBCURL; }

job_record_t engine_state(const engine_t &engine)
{
    job_record_t record = {};
    engine.get_state(&record);
    return record;
}

void engine_report_finished_job()
{
    const engine_t &engine = engine_active();
    if (engine.finished() == 0)
        notify(engine);
}
