#include "libftpclient/records.h"

#include <assert.h>

/* The public header includes nothing of wire/ and repeats its numbers: compilation stops when they differ.
 * The results are compared in words.c. */
#define SAME(ours, wire) static_assert((int)(ours) == (int)(wire), #ours " is not " #wire)
SAME(FTPCLIENT_FTP, PROTOCOL_FTP);
SAME(FTPCLIENT_FTPS_IMPLICIT, PROTOCOL_FTPS_IMPLICIT);
SAME(FTPCLIENT_FTPS_EXPLICIT, PROTOCOL_FTPS_EXPLICIT);
SAME(FTPCLIENT_SFTP, PROTOCOL_SFTP);
SAME(FTPCLIENT_ZIXI_4, PROTOCOL_ZIXI_4);
SAME(FTPCLIENT_ZIXI_5, PROTOCOL_ZIXI_5);
SAME(FTPCLIENT_NO_JOB, JOB_NONE);
SAME(FTPCLIENT_DOWNLOAD, JOB_DOWNLOAD);
SAME(FTPCLIENT_UPLOAD, JOB_UPLOAD);
SAME(FTPCLIENT_FILE_INFO, JOB_DL_FILE_INFO);
SAME(FTPCLIENT_RESPONSE_OTHER, RESPONSE_CODE_OTHER);
SAME(FTPCLIENT_RESPONSE_FTP, RESPONSE_CODE_FTP);
SAME(FTPCLIENT_RESPONSE_HTTP, RESPONSE_CODE_HTTP);
SAME(FTPCLIENT_RESPONSE_ZIXI, RESPONSE_CODE_ZIXI);
SAME(FTPCLIENT_PIN_NONE, SERVER_AUTH_NONE);
SAME(FTPCLIENT_PIN_MD5, SERVER_AUTH_MD5);
SAME(FTPCLIENT_PIN_SHA1, SERVER_AUTH_SHA1);
SAME(FTPCLIENT_MD5_SIZE, DIGEST_MD5_BYTES);
SAME(FTPCLIENT_SHA1_SIZE, DIGEST_SHA1_BYTES);
SAME(FTPCLIENT_DOWNLOAD_MAX, DOWNLOAD_LIMIT_BYTES);
SAME(FTPCLIENT_NOTICE_DOWNLOAD_DONE, NOTICE_DOWNLOAD_DONE);
SAME(FTPCLIENT_NOTICE_UPLOAD_DONE, NOTICE_UPLOAD_DONE);
SAME(FTPCLIENT_NOTICE_FILE_INFO_DONE, NOTICE_FILE_INFO_DONE);
SAME(FTPCLIENT_NOTICE_STARTED, NOTICE_STARTED);

FTPC int ftpc_verdict(const reply_t *reply)
{
    if (reply->result == 0)
        return FTPCLIENT_OK;
    return reply->detail > 0 && reply->detail <= INT32_MAX ? (int)reply->detail : FTPCLIENT_ERR_PROTOCOL;
}

/* As a whole number; 0 for a value that counts nothing: negative, not finite or too large. */
static int64_t count_of(double value) { return value > 0 && value < 9.2e18 ? (int64_t)value : 0; }

FTPC ftpclient_progress_t ftpc_progress(const exec_info_t *info)
{
    ftpclient_progress_t progress;
    memset(&progress, 0, sizeof progress);
    progress.total_bytes = count_of(info->total_size);
    progress.transferred_bytes = count_of(info->transferred_size);
    progress.elapsed_ms = count_of(info->elapsed_time * 1000);
    progress.curl_code = (int32_t)info->curl_code;
    progress.zixi_error = (int32_t)info->zixi_error;
    progress.response_type = (int32_t)info->response_code_type;
    progress.response_code = (int32_t)info->response_code;
    progress.retries = (int32_t)info->retry_count;
    return progress;
}

FTPC ftpclient_state_t ftpc_state(const state_reply_t *reply)
{
    ftpclient_state_t state;
    memset(&state, 0, sizeof state);
    state.running = (int32_t)reply->module_info.running;
    state.job = (int32_t)reply->module_info.exec;
    state.result = (int32_t)reply->module_info.result;
    state.cancelled = (int32_t)reply->module_info.cancel;
    state.progress = ftpc_progress(&reply->exec_info);
    return state;
}

static int32_t known(int32_t value, int32_t unknown)
{
    return value < 0 || value == unknown ? FTPCLIENT_UNKNOWN : value;
}

/* Seconds since 1970; the calendar repeats every 400 years and its years begin in March. */
static int64_t seconds_of(const ftpclient_file_info_t *info)
{
    if (info->year < 0 || info->month < 1 || info->month > 12 || info->day < 1)
        return FTPCLIENT_UNKNOWN;
    const int64_t year = info->year - (info->month <= 2 ? 1 : 0) + 400;
    const int64_t month = (info->month + 9) % 12;
    const int64_t days =
        year * 365 + year / 4 - year / 100 + year / 400 + (153 * month + 2) / 5 + info->day - 1;
    const int64_t hours = (days - 719468 - 146097) * 24 + (info->hour > 0 ? info->hour : 0);
    return (hours * 60 + (info->minute > 0 ? info->minute : 0)) * 60;
}

FTPC ftpclient_file_info_t ftpc_file_info(const remote_file_t *file)
{
    ftpclient_file_info_t found;
    memset(&found, 0, sizeof found);
    found.looked_up = (int32_t)file->looked_up;
    found.exists = (int32_t)file->exists;
    found.size_bytes = file->size < 0 ? FTPCLIENT_UNKNOWN : file->size;
    found.year = known(file->year, REMOTE_FILE_YEAR_UNKNOWN);
    found.month = known(file->month, REMOTE_FILE_UNKNOWN);
    found.day = known(file->day, REMOTE_FILE_UNKNOWN);
    found.hour = known(file->hour, REMOTE_FILE_UNKNOWN);
    found.minute = known(file->minute, REMOTE_FILE_UNKNOWN);
    found.attributes = known(file->attributes, REMOTE_FILE_ATTRIBUTES_UNKNOWN);
    found.is_link = (int32_t)file->is_link;
    found.modified_s = seconds_of(&found);
    return found;
}
