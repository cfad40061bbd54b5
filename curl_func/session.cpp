#include "curl_func/session.h"

#include "curl_func/features.h"
#include "strutil/log.h"
#include "wire/result_codes.h"

#include <span>

constexpr long KEEPALIVE_IDLE_S = 60;
constexpr long KEEPALIVE_INTERVAL_S = 60;
constexpr long CONNECTIONS_KEPT = 1;

namespace
{

struct session_t {
    curl_e_handle_t *handle;
    const transfer_request_t *request;
    cb_auth_info_t *auth;
};

} // namespace

using setting_fn = void (*)(const session_t &);

// libcurl 7.87.0 to 7.88.1 leaves active data connections without TLS: downloads stall, uploads are
// not encrypted.
static bool active_mode_loses_tls()
{
    const unsigned version = curl_version_info(CURLVERSION_NOW)->version_num;
    return version >= 0x075700 && version <= 0x075801;
}

static void take_paths_as_they_are(const session_t &s) { curl_e_setopt_path_as_is(s.handle, 1); }

static void set_url(const session_t &s)
{
    const transfer_request_t *r = s.request;
    curl_e_setopt_url_ex(s.handle, static_cast<int>(r->protocol), r->host, r->remote_path);
}

static void set_port(const session_t &s) { curl_e_setopt_port(s.handle, static_cast<long>(s.request->port)); }

static void set_login(const session_t &s)
{
    curl_e_setopt_username_password(s.handle, s.request->username, s.request->password);
}

static void set_proxy(const session_t &s)
{
    const transfer_request_t *r = s.request;
    if (r->proxy_type == PROXY_NONE)
        curl_e_setopt_proxy(s.handle, PROXY_NONE, "", 0); // also disables a proxy of the environment
    else
        curl_e_setopt_proxy(s.handle, static_cast<int>(r->proxy_type), r->proxy_host,
                            static_cast<int32_t>(r->proxy_port));
}

static void set_proxy_details(const session_t &s)
{
    if (s.request->proxy_type == PROXY_HTTP)
        curl_e_setopt_failonerror(s.handle, 1);
    else if (s.request->proxy_type == PROXY_NONE)
        curl_e_setopt_tcp_keepalive(s.handle, 1, KEEPALIVE_IDLE_S, KEEPALIVE_INTERVAL_S);
}

static void set_mode(const session_t &s)
{
    if (s.request->passive_mode != 0)
        return;
    if (protocol_has_tls(s.request->protocol) && active_mode_loses_tls())
        log_info("curl_func(1092)", "libcurl %s: no TLS in active mode, passive mode is used.",
                 curl_version_info(CURLVERSION_NOW)->version);
    else
        curl_e_setopt_ftpport(s.handle);
}

static void set_connections_kept(const session_t &s)
{
    curl_e_setopt_curlopt_maxconnects(s.handle, CONNECTIONS_KEPT);
}

static void set_plain_commands(const session_t &s) { curl_e_setopt_curlopt_ftp_use_eprt_epsv(s.handle, 0); }

static void require_tls(const session_t &s)
{
    curl_e_setopt_use_ssl(s.handle, CURLUSESSL_ALL, CURLFTPAUTH_DEFAULT);
}

static void set_no_ca_file(const session_t &s) { curl_e_setopt_cainfo(s.handle, nullptr); }

static void set_no_ca_path(const session_t &s) { curl_e_setopt_capath(s.handle, nullptr); }

static void verify_peer_only(const session_t &s) { curl_e_setopt_ssl_verify(s.handle, 1, 0); }

static void judge_certificate(const session_t &s)
{
    curl_e_setopt_ssl_ctxfunc_data(s.handle, cb_ssl_ctx, s.auth);
}

// Empty, not NULL: with NULL libcurl accepts any host without calling the key function.
static void set_no_known_hosts(const session_t &s) { curl_e_setopt_ssh_knownhosts(s.handle, ""); }

static void judge_host_key(const session_t &s)
{
    curl_e_setopt_ssh_keyfunc_data(s.handle, cb_sshkey, s.auth);
}

static void allow_password_only(const session_t &s)
{
    curl_e_setopt_ssh_auth_types(s.handle, CURLSSH_AUTH_PASSWORD);
}

constexpr setting_fn COMMON[] = {
    take_paths_as_they_are,
    set_url,
    set_port,
    set_login,
    set_proxy,
    set_proxy_details,
    set_mode,
    set_connections_kept,
    set_plain_commands,
};
constexpr setting_fn FTPS[] = {
    require_tls, set_no_ca_file, set_no_ca_path, verify_peer_only, judge_certificate,
};
constexpr setting_fn SFTP[] = {set_no_known_hosts, judge_host_key, allow_password_only};

static bool apply(const session_t &session, std::span<const setting_fn> settings)
{
    for (const setting_fn set : settings) {
        set(session);
        if (is_curl_error(session.handle))
            return false;
    }
    return true;
}

static std::span<const setting_fn> security_settings(const transfer_request_t *request)
{
    if (protocol_has_tls(request->protocol))
        return FTPS;
    if (request->protocol == PROTOCOL_SFTP)
        return SFTP;
    return {};
}

int curl_ftp_setting(curl_e_handle_t *handle, const transfer_request_t *request, cb_auth_info_t *auth)
{
    const session_t session{handle, request, auth};
    if (!features_allow(request->protocol)) {
        log_error("curl_func(1055)", "This libcurl lacks what protocol %u needs.", request->protocol);
        return handle->error = FTPCD_ERR_NOT_SUPPORTED;
    }
    if (session.request->protocol == PROTOCOL_FTPS_EXPLICIT && session.request->proxy_type == PROXY_HTTP) {
        log_error("curl_func(1061)", "Explicit FTPS through an HTTP proxy is not supported: no TLS.");
        return handle->error = FTPCD_ERR_NOT_SUPPORTED;
    }
    if (apply(session, COMMON))
        apply(session, security_settings(session.request));
    return handle->error;
}
