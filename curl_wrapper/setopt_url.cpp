#include "curl_wrapper/record.h"
#include "curl_wrapper/set_option.h"
#include "curl_wrapper/url.h"
#include "strutil/strutil.h"
#include "wire/transfer_request.h"

void curl_e_setopt_url(curl_e_handle_t *rec, const char *url)
{
    if (log_if_null("curl_wrapper(758)", "url: NULL", url)) {
        rec->error = FTPCD_ERR_INTERNAL;
        return;
    }
    if (const heap_string escaped = curl_e_escaped_url(rec, url, RESERVED))
        SET(rec, "curl_wrapper(766)", CURLOPT_URL, static_cast<const char *>(escaped.get()));
}

void curl_e_setopt_file_url(curl_e_handle_t *rec, const char *url)
{
    if (const heap_string escaped = curl_e_escaped_url(rec, url, RESERVED_IN_PATH))
        SET(rec, "curl_wrapper(771)", CURLOPT_URL, static_cast<const char *>(escaped.get()));
}

static scheme_t scheme_of_protocol(int kind)
{
    switch (kind) {
    case PROTOCOL_FTPS_IMPLICIT:
        return SCHEME_FTPS;
    case PROTOCOL_SFTP:
        return SCHEME_SFTP;
    default:
        return SCHEME_FTP;
    }
}

void curl_e_setopt_url_ex(curl_e_handle_t *rec, int kind, const char *host, const char *path)
{
    const heap_string url(malloc_str4(curl_e_scheme_prefix(scheme_of_protocol(kind)), host, "/", path));
    if (url)
        curl_e_setopt_url(rec, url.get());
    else
        curl_e_out_of_memory(rec, "curl_wrapper(807)", "malloc_str4");
}
