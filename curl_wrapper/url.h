// URL schemes and URL escaping.
#pragma once

#include "curl_wrapper/curl_wrapper.h"
#include "strutil/guards.h"

struct curl_deleter {
    void operator()(char *text) const { curl_free(text); }
};
using curl_string = std::unique_ptr<char, curl_deleter>; // allocated by libcurl

enum scheme_t {
    SCHEME_HTTP,
    SCHEME_FTP,
    SCHEME_FTPS,
    SCHEME_SFTP,
    SCHEME_SOCKS4,
    SCHEME_SOCKS4A,
    SCHEME_SOCKS5,
    SCHEME_SOCKS5H,
    SCHEME_SOCKS, // libcurl treats it as SOCKS4
    SCHEME_NONE,  // any other, or none at all
};

// The scheme with its "://". Not for SCHEME_NONE.
const char *curl_e_scheme_prefix(scheme_t scheme);

// The scheme of `url`, ignoring case.
scheme_t curl_e_scheme_of(const char *url);

// What is never escaped: the reserved characters of RFC 3986; without '#' and '?' for a URL in which everything
// after the host is the path.
constexpr char RESERVED[] = "!#$&'()*+,/:;=?@[]";
constexpr char RESERVED_IN_PATH[] = "!$&'()*+,/:;=@[]";

// `url` with everything but the `kept` characters percent-escaped, '%' too. NULL when memory is exhausted:
// logged, and recorded as FTPCD_ERR_NO_MEMORY.
heap_string curl_e_escaped_url(curl_e_handle_t *rec, const char *url, const char *kept);

// The exact inverse, for a URL returned by libcurl. Unescape such a URL before you change it or set it again;
// otherwise its names are escaped twice. NULL as above.
curl_string curl_e_plain_url(curl_e_handle_t *rec, const char *escaped);
