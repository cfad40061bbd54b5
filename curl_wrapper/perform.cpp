#include "curl_wrapper/connect_pass.h"
#include "curl_wrapper/listing_capture.h"
#include "curl_wrapper/record.h"
#include "curl_wrapper/redact.h"
#include "curl_wrapper/url.h"
#include "strutil/log.h"
#include "strutil/strutil.h"
#include "wire/job_status.h"
#include "wire/result_codes.h"

#include <utility>

// Takes over the result of a call on a copy of the record.
static void adopt_failure(curl_e_handle_t *rec, const curl_e_handle_t &copy, int32_t unexplained)
{
    if (copy.error != FTPCD_ERR_NONE)
        rec->error = copy.error;
    else if (copy.curl_code != CURLE_OK)
        rec->error = unexplained;
}

// Sets the URL of the file's directory, and the file's name as the search pattern.
static bool set_up_listing(perform_t &run)
{
    curl_e_handle_t *rec = run.rec;
    log_info("curl_wrapper(311)", "Setup to directory listening.");
    const char *url = curl_e_getinfo_effective_url(rec);
    if (url == nullptr)
        return false;
    curl_string plain = curl_e_plain_url(rec, url);
    if (!plain)
        return false;
    const heap_string directory(malloc_directory_of(plain.get(), '/'));
    if (!directory)
        return curl_e_out_of_memory(rec, "curl_wrapper(322)", "malloc_directory_of");
    run.specified.reset(malloc_str1(url));
    if (!run.specified)
        return curl_e_out_of_memory(rec, "curl_wrapper(330)", "malloc_str1");
    run.plain = std::move(plain);
    curl_e_setopt_url(rec, directory.get());
    if (is_curl_error(rec) != 0)
        return false;
    run.list->pattern = basename_of(run.plain.get());
    log_info("curl_wrapper(344)", "Search pattern: %s", run.list->pattern);
    return list_capture_start(run.list) || curl_e_out_of_memory(rec, "curl_wrapper(2096)", "list_tmp_alloc");
}

// A listing without a match means a missing file.
static void end_listing(curl_e_handle_t *rec, list_setting_info_t *list)
{
    if (!list_capture_end(list) && rec->curl_code == CURLE_OK)
        rec->curl_code = CURLE_REMOTE_FILE_NOT_FOUND;
}

static bool read_response(curl_e_handle_t *rec)
{
    curl_e_handle_t copy = curl_e_copy_of(rec);
    rec->response_code_type = curl_e_getinfo_response_code_type(&copy);
    adopt_failure(rec, copy, FTPCD_ERR_RESPONSE_CODE);
    rec->response_code = static_cast<int32_t>(curl_e_getinfo_response_code(&copy));
    if (copy.curl_code == CURLE_OK)
        return true;
    rec->error = FTPCD_ERR_RESPONSE_CODE;
    return false;
}

static bool is_refusal(int32_t type, int32_t code)
{
    return type != RESPONSE_CODE_OTHER && code != 0 && (code < 200 || code > 299);
}

static void judge(curl_e_handle_t *rec)
{
    if (rec->error == FTPCD_ERR_NONE &&
        (rec->curl_code != CURLE_OK || is_refusal(rec->response_code_type, rec->response_code)))
        rec->error = FTPCD_ERR_NETWORK;
}

static void transfer(perform_t &run)
{
    curl_e_handle_t *rec = run.rec;
    const char *url = curl_e_getinfo_effective_url(rec);
    if (url == nullptr)
        return;
    heap_string loggable; // a host may contain a login
    if (run.specified)
        log_info("curl_wrapper(427)", "Specified URL: %s", curl_e_loggable(run.specified.get(), &loggable));
    log_info("curl_wrapper(429)", "Actual URL   : %s", curl_e_loggable(url, &loggable));
    curl_e_perform_once(rec);
    if (run.list != nullptr)
        end_listing(rec, run.list);
    if (read_response(rec))
        judge(rec);
}

static void restore_url(perform_t &run)
{
    if (!run.specified)
        return;
    curl_e_handle_t copy = curl_e_copy_of(run.rec);
    curl_e_setopt_url(&copy, run.plain.get());
    adopt_failure(run.rec, copy, FTPCD_ERR_URL_RESTORE);
}

static void clean_up(perform_t &run)
{
    if (run.list == nullptr)
        return;
    list_capture_free(run.list);
    run.list->pattern = nullptr; // it points into run.plain
}

void curl_e_perform(curl_e_handle_t *rec)
{
    perform_t run{.rec = rec, .list = rec->list_info};
    rec->total_time = 0;
    if ((run.list == nullptr || set_up_listing(run)) && curl_e_find_login_directory(run))
        transfer(run);
    restore_url(run);
    clean_up(run);
}
