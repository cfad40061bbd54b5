// Only HTTP proxies are supported. Any other proxy is refused, or turns proxies off.
#include "curl_wrapper/set_option.h"
#include "curl_wrapper/url.h"
#include "wire/transfer_request.h"

static_assert(SCHEME_SOCKS - SCHEME_SOCKS4 + 1 == std::size({PROXY_SOCKS_PREFIXES}));

static bool is_socks(scheme_t scheme) { return scheme >= SCHEME_SOCKS4 && scheme <= SCHEME_SOCKS; }

// FTPCD_ERR_NONE, or the reason (logged) why these arguments are not a valid proxy.
static int refusal_of(int kind, const char *host, scheme_t scheme, long port)
{
    if (!curl_e_is_port(port)) {
        log_error("curl_wrapper(889)", "Illegal port number: %ld", port);
        return FTPCD_ERR_INTERNAL;
    }
    if (host == nullptr && kind != PROXY_NONE) {
        log_error("curl_wrapper(897)", "Proxy name or ip address is null: %d", kind);
        return FTPCD_ERR_INTERNAL;
    }
    if (scheme == SCHEME_HTTP && kind != PROXY_HTTP) {
        log_error("curl_wrapper(906)", "Specified proxy is not a http proxy: %d", kind);
        return FTPCD_ERR_INTERNAL;
    }
    if (is_socks(scheme)) {
        // The spelling "supprted" is fixed: devices log it so.
        log_error("curl_wrapper(916)", "'%s' proxy is not supprted", curl_e_scheme_prefix(scheme));
        return FTPCD_ERR_NOT_SUPPORTED;
    }
    return FTPCD_ERR_NONE;
}

static bool set_http_type(curl_e_handle_t *rec)
{
    if (try_option<CURLOPT_PROXYTYPE>(rec, static_cast<long>(CURLPROXY_HTTP)))
        return true;
    log_error("curl_wrapper(928)", "curl_easy_setopt(CURLOPT_PROXYTYPE): Failed(CURLPROXY_HTTP)");
    return false;
}

void curl_e_setopt_proxy(curl_e_handle_t *rec, int kind, const char *host, long port)
{
    const int refusal = refusal_of(kind, host, host != nullptr ? curl_e_scheme_of(host) : SCHEME_NONE, port);
    if (refusal != FTPCD_ERR_NONE) {
        rec->error = refusal;
        return;
    }
    const bool used = kind == PROXY_HTTP;
    if (used && !set_http_type(rec))
        return;
    // An empty name, unlike NULL, also disables the proxies of the environment.
    if (SET(rec, "curl_wrapper(944)", CURLOPT_PROXY, used ? host : "") &&
        SET(rec, "curl_wrapper(952)", CURLOPT_PROXYPORT, used ? port : 0L) &&
        SET(rec, "curl_wrapper(960)", CURLOPT_HTTPPROXYTUNNEL, 0L))
        rec->proxy_type = kind;
}
