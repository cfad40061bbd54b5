#include "curl_wrapper/listing_capture.h"
#include "curl_wrapper/record.h"
#include "curl_wrapper/set_option.h"

int curl_e_init(curl_e_handle_t *rec)
{
    rec->proxy_type = 0;
    rec->connect_only = 0;
    rec->total_time = 0;
    rec->list_borrowed = 0;
    rec->list_info = nullptr;
    rec->operation_timed_out = 0;
    rec->on_close = nullptr;
    rec->close_context = nullptr;
    curl_e_clear_result(rec);
    rec->curl = curl_easy_init();
    return log_if_null("curl_wrapper(140)", "curl_easy_init(): NULL", rec->curl) ? 1 : 0;
}

void curl_e_clear_result(curl_e_handle_t *rec)
{
    rec->curl_code = CURLE_OK;
    rec->error = FTPCD_ERR_NONE;
    rec->response_code_type = 0;
    rec->response_code = 0;
}

int is_curl_error(const curl_e_handle_t *rec)
{
    return rec->curl_code != CURLE_OK || rec->error != FTPCD_ERR_NONE ? 1 : 0;
}

void curl_e_copy_handle(curl_e_handle_t *dst, const curl_e_handle_t *src)
{
    *dst = *src;
    dst->list_borrowed = 1;
    curl_e_clear_result(dst);
}

void curl_e_move_handle(curl_e_handle_t *dst, curl_e_handle_t *src)
{
    if (dst->list_info == src->list_info)
        src->list_borrowed = 0; // dst gets back the settings that src borrowed from it
    else
        list_setting_free(dst->list_info);
    *dst = *src;
    src->curl = nullptr;
    src->list_borrowed = 0;
    src->list_info = nullptr;
}

bool curl_e_out_of_memory(curl_e_handle_t *rec, const char *id, const char *call)
{
    log_error(id, "%s(): NULL", call);
    rec->error = FTPCD_ERR_NO_MEMORY;
    return false;
}

CURLcode curl_e_perform_once(curl_e_handle_t *rec)
{
    rec->callback_aborted_logged = 0;
    rec->operation_timed_out = 0;
    const CURLcode code = curl_easy_perform(rec->curl);
    rec->curl_code = code;
    return code;
}

static void drop_list_setting(curl_e_handle_t *rec)
{
    list_setting_free(rec->list_info);
    rec->list_borrowed = 0;
    rec->list_info = nullptr;
}

void curl_e_reset(curl_e_handle_t *rec)
{
    curl_easy_reset(rec->curl);
    drop_list_setting(rec);
}

void curl_e_limit_farewell(curl_e_handle_t *rec)
{
    if (rec->curl == nullptr)
        return;
    curl_e_handle_t copy = curl_e_copy_of(rec);
    // Not after a refusal: if the URL is still set, a perform would start a transfer.
    if (SET(&copy, "curl_wrapper(171)", CURLOPT_VERBOSE, 0L) &&
        SET(&copy, "curl_wrapper(172)", CURLOPT_NOPROGRESS, 1L) &&
        SET(&copy, "curl_wrapper(173)", CURLOPT_URL, static_cast<const char *>(nullptr)) &&
        SET(&copy, "curl_wrapper(174)", CURLOPT_SERVER_RESPONSE_TIMEOUT, 2L))
        curl_easy_perform(copy.curl);
}

void curl_e_cleanup(curl_e_handle_t *rec)
{
    curl_easy_cleanup(rec->curl);
    rec->curl = nullptr;
    drop_list_setting(rec);
}
