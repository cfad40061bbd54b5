// The setters that hand their arguments to libcurl as they are.
#include "curl_wrapper/set_option.h"

// Hands its parameter on as the option's value.
#define SETTER(name, type, parameter, id, option)                                                            \
    void name(curl_e_handle_t *rec, type parameter) { set_option<option>(rec, id, #option, parameter); }

SETTER(curl_e_setopt_interface, const char *, name, "curl_wrapper(741)", CURLOPT_INTERFACE)
SETTER(curl_e_setopt_path_as_is, long, on, "curl_wrapper(776)", CURLOPT_PATH_AS_IS)
SETTER(curl_e_setopt_upload_buffersize, long, bytes, "curl_wrapper(1045)", CURLOPT_UPLOAD_BUFFERSIZE)
SETTER(curl_e_setopt_nosignal, long, on, "curl_wrapper(552)", CURLOPT_NOSIGNAL)
SETTER(curl_e_setopt_failonerror, long, on, "curl_wrapper(1054)", CURLOPT_FAILONERROR)
SETTER(curl_e_setopt_http_version, long, version, "curl_wrapper(1070)", CURLOPT_HTTP_VERSION)
SETTER(curl_e_setopt_curlopt_fresh_connect, long, on, "curl_wrapper(1152)", CURLOPT_FRESH_CONNECT)
SETTER(curl_e_setopt_curlopt_maxconnects, long, n, "curl_wrapper(1168)", CURLOPT_MAXCONNECTS)
SETTER(curl_e_setopt_curlopt_wildcardmatch, long, on, "curl_wrapper(1184)", CURLOPT_WILDCARDMATCH)
SETTER(curl_e_setopt_ssh_knownhosts, const char *, path, "curl_wrapper(1257)", CURLOPT_SSH_KNOWNHOSTS)
SETTER(curl_e_setopt_ssh_auth_types, long, mask, "curl_wrapper(1279)", CURLOPT_SSH_AUTH_TYPES)
SETTER(curl_e_setopt_ftp_skip_pasv_ip, long, on, "curl_wrapper(1380)", CURLOPT_FTP_SKIP_PASV_IP)
SETTER(curl_e_setopt_ftp_ssl_ccc, long, mode, "curl_wrapper(1399)", CURLOPT_FTP_SSL_CCC)
SETTER(curl_e_setopt_cainfo, const char *, file, "curl_wrapper(1416)", CURLOPT_CAINFO)
SETTER(curl_e_setopt_capath, const char *, directory, "curl_wrapper(1433)", CURLOPT_CAPATH)

static const char *or_empty(const char *s) { return s != nullptr ? s : ""; }

void curl_e_setopt_port(curl_e_handle_t *rec, long port)
{
    if (!curl_e_is_port(port)) {
        log_error("curl_wrapper(826)", "Illegal port number: %ld", port);
        rec->error = FTPCD_ERR_INTERNAL;
        return;
    }
    SET(rec, "curl_wrapper(832)", CURLOPT_PORT, port);
}

void curl_e_setopt_username_password(curl_e_handle_t *rec, const char *user, const char *password)
{
    SET(rec, "curl_wrapper(856)", CURLOPT_USERNAME, or_empty(user)) &&
        SET(rec, "curl_wrapper(866)", CURLOPT_PASSWORD, or_empty(password));
}

void curl_e_setopt_ftpport(curl_e_handle_t *rec) { SET(rec, "curl_wrapper(979)", CURLOPT_FTPPORT, "-"); }

// This log line has the refused value, not the CURLcode.
void curl_e_setopt_append(curl_e_handle_t *rec, long on)
{
    if (!try_option<CURLOPT_APPEND>(rec, on))
        log_error("curl_wrapper(994)", "curl_easy_setopt(CURLOPT_APPEND): Failed(%ld)", on);
}

void curl_e_setopt_quick_exit(curl_e_handle_t *rec, long on)
{
#if LIBCURL_VERSION_NUM >= 0x075700
    SET(rec, "curl_wrapper(545)", CURLOPT_QUICK_EXIT, on);
#else
    (void)rec, (void)on;
#endif
}

void curl_e_setopt_operation_timeout(curl_e_handle_t *rec, long seconds)
{
    SET(rec, "curl_wrapper(1090)", CURLOPT_TIMEOUT, seconds > 0 ? seconds : 0L);
}

void curl_e_setopt_connect_timeout(curl_e_handle_t *rec, long seconds)
{
    const long limit_s = seconds > 0 ? seconds : 0;
    // libcurl refuses limits above 2147483 s, so an accepted limit also fits in milliseconds.
    SET(rec, "curl_wrapper(1110)", CURLOPT_CONNECTTIMEOUT, limit_s) &&
        SET(rec, "curl_wrapper(1116)", CURLOPT_ACCEPTTIMEOUT_MS, limit_s * 1000);
}

void curl_e_setopt_curlopt_connect_only(curl_e_handle_t *rec, long on)
{
    if (SET(rec, "curl_wrapper(1133)", CURLOPT_CONNECT_ONLY, on))
        rec->connect_only = on != 0 ? 1 : 0;
}

void curl_e_setopt_curlopt_ftp_use_eprt_epsv(curl_e_handle_t *rec, long on)
{
    SET(rec, "curl_wrapper(1200)", CURLOPT_FTP_USE_EPRT, on) &&
        SET(rec, "curl_wrapper(1206)", CURLOPT_FTP_USE_EPSV, on);
}

void curl_e_setopt_tcp_keepalive(curl_e_handle_t *rec, long on, long idle, long interval)
{
    if (SET(rec, "curl_wrapper(1225)", CURLOPT_TCP_KEEPALIVE, on != 0 ? 1L : 0L) && on != 0)
        SET(rec, "curl_wrapper(1232)", CURLOPT_TCP_KEEPIDLE, idle) &&
            SET(rec, "curl_wrapper(1238)", CURLOPT_TCP_KEEPINTVL, interval);
}

void curl_e_setopt_ssh_keyfile(curl_e_handle_t *rec, const char *public_key, const char *private_key,
                               const char *pass_phrase)
{
    SET(rec, "curl_wrapper(1303)", CURLOPT_SSH_PUBLIC_KEYFILE, or_empty(public_key)) &&
        SET(rec, "curl_wrapper(1312)", CURLOPT_SSH_PRIVATE_KEYFILE, or_empty(private_key)) &&
        SET(rec, "curl_wrapper(1321)", CURLOPT_KEYPASSWD, or_empty(pass_phrase));
}

void curl_e_setopt_use_ssl(curl_e_handle_t *rec, long level, long auth)
{
    SET(rec, "curl_wrapper(1348)", CURLOPT_USE_SSL, level) &&
        SET(rec, "curl_wrapper(1355)", CURLOPT_FTPSSLAUTH, auth) &&
        SET(rec, "curl_wrapper(1362)", CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_DEFAULT));
}

void curl_e_setopt_ssl_verify(curl_e_handle_t *rec, long peer, long host)
{
    SET(rec, "curl_wrapper(1453)", CURLOPT_SSL_VERIFYPEER, peer) &&
        SET(rec, "curl_wrapper(1462)", CURLOPT_SSL_VERIFYHOST, host != 0 ? 2L : 0L);
}
