// The setters that install a callback and its context.
#include "curl_wrapper/listing_capture.h"
#include "curl_wrapper/record.h"
#include "curl_wrapper/set_option.h"

void curl_e_setopt_writefunc_data(curl_e_handle_t *rec, curl_write_callback function, void *data)
{
    SET(rec, "curl_wrapper(1480)", CURLOPT_WRITEFUNCTION, function) &&
        SET(rec, "curl_wrapper(1486)", CURLOPT_WRITEDATA, data);
}

void curl_e_setopt_readfunc_data(curl_e_handle_t *rec, curl_read_callback function, void *data)
{
    SET(rec, "curl_wrapper(1504)", CURLOPT_READFUNCTION, function) &&
        SET(rec, "curl_wrapper(1510)", CURLOPT_READDATA, data);
}

void curl_e_setopt_progressfunc_data(curl_e_handle_t *rec, curl_progress_callback function, void *data)
{
    SET(rec, "curl_wrapper(1528)", CURLOPT_PROGRESSFUNCTION, function) &&
        SET(rec, "curl_wrapper(1534)", CURLOPT_PROGRESSDATA, data) &&
        SET(rec, "curl_wrapper(1540)", CURLOPT_NOPROGRESS, 0L);
}

void curl_e_setopt_chunkfunc_data(curl_e_handle_t *rec, curl_chunk_bgn_callback begin,
                                  curl_chunk_end_callback end, void *data)
{
    SET(rec, "curl_wrapper(1561)", CURLOPT_CHUNK_BGN_FUNCTION, begin) &&
        SET(rec, "curl_wrapper(1567)", CURLOPT_CHUNK_END_FUNCTION, end) &&
        SET(rec, "curl_wrapper(1573)", CURLOPT_CHUNK_DATA, data);
}

void curl_e_setopt_sockoptfunc_data(curl_e_handle_t *rec, curl_sockopt_callback function, void *data)
{
    SET(rec, "curl_wrapper(1592)", CURLOPT_SOCKOPTFUNCTION, function) &&
        SET(rec, "curl_wrapper(1598)", CURLOPT_SOCKOPTDATA, data);
}

void curl_e_setopt_closesocketfunc_data(curl_e_handle_t *rec, curl_closesocket_callback function, void *data)
{
    // Set the data first: after a refusal the job continues, and the function must never run
    // without its data.
    SET(rec, "curl_wrapper(1611)", CURLOPT_CLOSESOCKETDATA, data) &&
        SET(rec, "curl_wrapper(1605)", CURLOPT_CLOSESOCKETFUNCTION, function);
}

void curl_e_setopt_ssh_keyfunc_data(curl_e_handle_t *rec, curl_sshkeycallback function, void *data)
{
    SET(rec, "curl_wrapper(1654)", CURLOPT_SSH_KEYFUNCTION, function) &&
        SET(rec, "curl_wrapper(1660)", CURLOPT_SSH_KEYDATA, data);
}

void curl_e_setopt_ssl_ctxfunc_data(curl_e_handle_t *rec, curl_ssl_ctx_callback function, void *data)
{
    SET(rec, "curl_wrapper(1680)", CURLOPT_SSL_CTX_FUNCTION, function) &&
        SET(rec, "curl_wrapper(1686)", CURLOPT_SSL_CTX_DATA, data);
}

void curl_e_setopt_listfunc_data(curl_e_handle_t *rec, list_callback_fn callback, void *context)
{
    if (rec->list_borrowed == 0)
        list_setting_free(rec->list_info);
    rec->list_borrowed = 0;
    rec->list_info = nullptr;
    if (callback == nullptr)
        return;
    list_setting_info_t *info = list_setting_malloc(callback, context);
    if (info == nullptr) {
        curl_e_out_of_memory(rec, "curl_wrapper(1626)", "list_setting_info_alloc");
        return;
    }
    // libcurl passes the settings as a void pointer, which is the same call.
    curl_e_setopt_writefunc_data(rec, reinterpret_cast<curl_write_callback>(cb_list_write), info);
    if (is_curl_error(rec))
        log_error("curl_wrapper(1635)", "curl_e_setopt_listfunc_data(): Failed(%d, %d)", rec->curl_code,
                  rec->error);
    rec->list_info = info; // after a refusal too: clean-up frees it
}
