#include "curl_wrapper/url.h"
#include "curl_wrapper/record.h"

#include "strutil/log.h"
#include "wire/result_codes.h"
#include "wire/transfer_request.h"

#include <cstring>
#include <strings.h>

constexpr const char *PREFIXES[] = {
    "http://", "ftp://", "ftps://", "sftp://", PROXY_SOCKS_PREFIXES,
};
static_assert(std::size(PREFIXES) == SCHEME_NONE);

const char *curl_e_scheme_prefix(scheme_t scheme) { return PREFIXES[scheme]; }

scheme_t curl_e_scheme_of(const char *url)
{
    int scheme = 0;
    while (scheme != SCHEME_NONE && strncasecmp(url, PREFIXES[scheme], strlen(PREFIXES[scheme])) != 0)
        ++scheme;
    return static_cast<scheme_t>(scheme);
}

// Writes `url` to dst with everything except the `kept` characters escaped; dst has three bytes for each
// character and a terminator.
static bool escape(CURL *curl, const char *url, const char *kept, char *dst)
{
    while (*url != '\0') {
        const size_t run = strcspn(url, kept);
        if (run == 0) {
            *dst++ = *url++;
            continue;
        }
        const curl_string escaped(curl_easy_escape(curl, url, static_cast<int>(run)));
        if (!escaped)
            return false;
        dst = stpcpy(dst, escaped.get());
        url += run;
    }
    *dst = '\0';
    return true;
}

heap_string curl_e_escaped_url(curl_e_handle_t *rec, const char *url, const char *kept)
{
    heap_string escaped(static_cast<char *>(malloc(strlen(url) * 3 + 1)));
    if (!escaped) {
        curl_e_out_of_memory(rec, "curl_wrapper(2717)", "malloc");
        return nullptr;
    }
    if (!escape(rec->curl, url, kept, escaped.get())) {
        log_error("curl_wrapper(2734)", "curl_easy_escape(): Failed(%s)", url);
        rec->error = FTPCD_ERR_NO_MEMORY;
        return nullptr;
    }
    return escaped;
}

curl_string curl_e_plain_url(curl_e_handle_t *rec, const char *escaped)
{
    curl_string plain(curl_easy_unescape(rec->curl, escaped, 0, nullptr));
    if (!plain) {
        log_error("curl_wrapper(2745)", "curl_easy_unescape(): Failed(%s)", escaped);
        rec->error = FTPCD_ERR_NO_MEMORY;
    }
    return plain;
}
