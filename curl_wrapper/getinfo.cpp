#include "curl_wrapper/record.h"
#include "curl_wrapper/url.h"
#include "strutil/log.h"
#include "strutil/strutil.h"
#include "wire/job_status.h"
#include "wire/result_codes.h"
#include "wire/transfer_request.h"

#include <cstring>
#include <type_traits>

template <CURLINFO info, typename Value> static constexpr bool info_gives()
{
    switch (info & CURLINFO_TYPEMASK) {
    case CURLINFO_STRING:
        return std::is_same_v<Value, char *>;
    case CURLINFO_LONG:
        return std::is_same_v<Value, long>;
    case CURLINFO_DOUBLE:
        return std::is_same_v<Value, double>;
    }
    return false;
}

// libcurl's value, or `otherwise` (logged) when it refuses; the CURLcode is stored either way.
template <CURLINFO info, typename Value>
static Value get_info(curl_e_handle_t *rec, const char *id, const char *name, Value otherwise)
{
    static_assert(info_gives<info, Value>(), "libcurl writes another type");
    Value value{};
    rec->curl_code = curl_easy_getinfo(rec->curl, info, &value);
    if (rec->curl_code == CURLE_OK)
        return value;
    log_error(id, "curl_easy_getinfo(%s): Failed(%d)", name, rec->curl_code);
    return otherwise;
}

#define GET(rec, id, info, otherwise) get_info<info>(rec, id, #info, otherwise)

double curl_e_getinfo_size_download(curl_e_handle_t *rec)
{
    return GET(rec, "curl_wrapper(1707)", CURLINFO_SIZE_DOWNLOAD, -1.0);
}

double curl_e_getinfo_size_upload(curl_e_handle_t *rec)
{
    return GET(rec, "curl_wrapper(1726)", CURLINFO_SIZE_UPLOAD, -1.0);
}

double curl_e_getinfo_total_time(curl_e_handle_t *rec)
{
    const double seconds = GET(rec, "curl_wrapper(1763)", CURLINFO_TOTAL_TIME, -1.0);
    return is_curl_error(rec) != 0 ? seconds : seconds + rec->total_time;
}

long curl_e_getinfo_response_code(curl_e_handle_t *rec)
{
    return GET(rec, "curl_wrapper(1822)", CURLINFO_RESPONSE_CODE, 0L);
}

const char *curl_e_getinfo_ftp_entry_path(curl_e_handle_t *rec)
{
    const char *path = GET(rec, "curl_wrapper(1841)", CURLINFO_FTP_ENTRY_PATH, static_cast<char *>(nullptr));
    if (path == nullptr && rec->curl_code == CURLE_OK)
        log_error("curl_wrapper(1845)", "Could not get ftp entry path: NULL");
    return path;
}

const char *curl_e_getinfo_effective_url(curl_e_handle_t *rec)
{
    const char *url = GET(rec, "curl_wrapper(1917)", CURLINFO_EFFECTIVE_URL, static_cast<char *>(nullptr));
    if (url == nullptr && rec->curl_code == CURLE_OK)
        log_error("curl_wrapper(1921)", "Could not get effective URL: NULL");
    return url;
}

int curl_e_getinfo_response_code_type(curl_e_handle_t *rec)
{
    const char *url = curl_e_getinfo_effective_url(rec);
    if (url == nullptr || rec->error != FTPCD_ERR_NONE)
        return RESPONSE_CODE_OTHER;
    if (rec->proxy_type == PROXY_HTTP)
        return RESPONSE_CODE_HTTP;
    switch (curl_e_scheme_of(url)) {
    case SCHEME_HTTP:
        return RESPONSE_CODE_HTTP;
    case SCHEME_FTP:
    case SCHEME_FTPS:
        return RESPONSE_CODE_FTP;
    default:
        return RESPONSE_CODE_OTHER;
    }
}

char *curl_e_getinfo_trimmed_ftp_entry_path(curl_e_handle_t *rec)
{
    const char *path = curl_e_getinfo_ftp_entry_path(rec);
    if (path == nullptr || rec->error != FTPCD_ERR_NONE)
        return nullptr;
    heap_string trimmed(malloc_str1(path));
    if (!trimmed) {
        curl_e_out_of_memory(rec, "curl_wrapper(1888)", "malloc_str1");
        return nullptr;
    }
    trim(trimmed.get());
    replace_char(trimmed.get(), '\\', '/');
    strip_char(trimmed.get(), '/');
    return *trimmed != '\0' ? trimmed.release() : nullptr;
}

// `url` with the directory `path` put in front of its own path. NULL when memory is exhausted.
static char *malloc_url_in(curl_e_handle_t *rec, const char *url, const char *path)
{
    const char *scheme_end = strstr(url, "://");
    const char *slash = strchr(scheme_end != nullptr ? scheme_end + 3 : url, '/');
    char *whole = slash != nullptr ? malloc_ins_str2(url, static_cast<size_t>(slash - url) + 1, path, "/")
                                   : malloc_str3(url, "/", path);
    if (whole != nullptr)
        return whole;
    if (slash != nullptr)
        curl_e_out_of_memory(rec, "curl_wrapper(1991)", "malloc_ins_str2");
    else
        curl_e_out_of_memory(rec, "curl_wrapper(1982)", "malloc_str3");
    return nullptr;
}

char *curl_e_getinfo_effective_sftp_url(curl_e_handle_t *rec)
{
    const char *escaped = curl_e_getinfo_effective_url(rec);
    if (escaped == nullptr && rec->curl_code == CURLE_OK)
        rec->error = FTPCD_ERR_INTERNAL;
    if (escaped == nullptr || rec->error != FTPCD_ERR_NONE)
        return nullptr;
    const curl_string url = curl_e_plain_url(rec, escaped);
    if (!url)
        return nullptr;
    const heap_string path(curl_e_getinfo_trimmed_ftp_entry_path(rec));
    if (is_curl_error(rec) != 0)
        return nullptr;
    return path ? malloc_url_in(rec, url.get(), path.get()) : malloc_str1(url.get());
}
