#include "libftpclient/request.h"

#include <stdio.h>
#include <stdlib.h>

static int is_zixi(const ftpclient_request_t *request) { return protocol_is_zixi(request->wire.protocol); }

int ftpclient_request_new(int protocol, ftpclient_request_t **request)
{
    if (!request)
        return FTPCLIENT_ERR_ARGUMENT;
    *request = NULL;
    if (protocol < FTPCLIENT_FTP || protocol > FTPCLIENT_ZIXI_5)
        return FTPCLIENT_ERR_ARGUMENT;
    ftpclient_request_t *made = (ftpclient_request_t *)calloc(1, sizeof *made);
    if (!made)
        return FTPCLIENT_ERR_NO_MEMORY;
    made->wire.protocol = (uint32_t)protocol;
    made->wire.passive_mode = 1;
    made->turn_timeout_ms = -1;
    made->silence_ms = -1;
    *request = made;
    return FTPCLIENT_OK;
}

void ftpclient_request_free(ftpclient_request_t *request)
{
    if (request)
        explicit_bzero(request, sizeof *request);
    free(request);
}

const char *ftpclient_request_complaint(const ftpclient_request_t *request)
{
    return request ? request->complaint : "";
}

int ftpclient_request_set_server(ftpclient_request_t *request, const char *host, uint32_t port)
{
    const int error = ftpc_check_host(request, "host", host, port);
    if (error != FTPCLIENT_OK)
        return error;
    if (host[0] == '\0')
        return ftpc_refuse(request, FTPCLIENT_ERR_ARGUMENT, "host: is missing");
    ftpc_put(request->wire.host, sizeof request->wire.host, host);
    request->wire.port = port;
    return FTPCLIENT_OK;
}

int ftpclient_request_set_login(ftpclient_request_t *request, const char *user, const char *password)
{
    if (!request)
        return FTPCLIENT_ERR_ARGUMENT;
    const int zixi = is_zixi(request);
    transfer_request_t *wire = &request->wire;
    char *user_field = zixi ? (char *)wire + ZIXI_USER_OFFSET : wire->username;
    char *password_field = zixi ? (char *)wire + ZIXI_PASSWORD_OFFSET : wire->password;
    const size_t user_size = zixi ? (size_t)ZIXI_USER_SIZE : sizeof wire->username;
    const size_t password_size = zixi ? (size_t)ZIXI_PASSWORD_SIZE : sizeof wire->password;
    const char *taboos = zixi ? "" : REFUSED_IN_LOGIN;
    int error = ftpc_check_text(request, "user name", user, user_size, taboos);
    if (error != FTPCLIENT_OK)
        return error;
    error = ftpc_check_text(request, "password", password, password_size, taboos);
    if (error != FTPCLIENT_OK)
        return error;
    ftpc_put(user_field, user_size, user);
    ftpc_put(password_field, password_size, password);
    return FTPCLIENT_OK;
}

int ftpclient_request_set_remote_path(ftpclient_request_t *request, const char *path)
{
    const int error = ftpc_check_remote_path(request, path);
    if (error == FTPCLIENT_OK)
        ftpc_put(request->wire.remote_path, sizeof request->wire.remote_path, path);
    return error;
}

int ftpclient_request_set_local_path(ftpclient_request_t *request, const char *path)
{
    const size_t size = sizeof request->wire.local_path;
    const int error = ftpc_check_local_path(request, "local path", path, size);
    if (error != FTPCLIENT_OK)
        return error;
    if (path[0] == '\0')
        return ftpc_refuse(request, FTPCLIENT_ERR_ARGUMENT, "local path: is missing");
    ftpc_put(request->wire.local_path, size, path);
    return FTPCLIENT_OK;
}

int ftpclient_request_set_passive(ftpclient_request_t *request, int passive)
{
    if (!request)
        return FTPCLIENT_ERR_ARGUMENT;
    request->wire.passive_mode = passive ? 1 : 0;
    return FTPCLIENT_OK;
}

static int check_proxy_size(ftpclient_request_t *request, const char *login, const char *host)
{
    const size_t length = strlen(login) + strlen(host);
    const size_t most = sizeof request->wire.proxy_host - 1;
    if (length > most)
        return ftpc_refuse(request, FTPCLIENT_ERR_TOO_LONG,
                           "proxy: host and login take %zu bytes, at most %zu fit", length, most);
    return FTPCLIENT_OK;
}

/* libcurl expects a proxy's login before its host, as in a URL (CURLOPT_PROXY). */
static void put_proxy(ftpclient_request_t *request)
{
    transfer_request_t *wire = &request->wire;
    const int has_proxy = request->proxy_host[0] != '\0';
    ftpc_put(wire->proxy_host, sizeof wire->proxy_host, has_proxy ? request->proxy_login : "");
    memcpy(wire->proxy_host + strlen(wire->proxy_host), request->proxy_host, strlen(request->proxy_host));
    wire->proxy_type = has_proxy ? PROXY_HTTP : PROXY_NONE;
}

int ftpclient_request_set_proxy(ftpclient_request_t *request, const char *host, uint32_t port)
{
    if (!request || is_zixi(request))
        return ftpc_refuse(request, FTPCLIENT_ERR_ARGUMENT, "proxy: zixi cannot use one");
    int error = ftpc_check_host(request, "proxy host", host, port);
    if (error != FTPCLIENT_OK)
        return error;
    error = check_proxy_size(request, request->proxy_login, host);
    if (error != FTPCLIENT_OK)
        return error;
    ftpc_put(request->proxy_host, sizeof request->proxy_host, host);
    put_proxy(request);
    request->wire.proxy_port = port;
    return FTPCLIENT_OK;
}

static int is_unreserved(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || strchr("-._~", c);
}

/* Writes `text` in URL escapes, at most three bytes for each of its bytes, then `mark` and a terminator.
 * Returns a pointer to the terminator. */
static char *put_escaped(char *to, const char *text, char mark)
{
    for (; *text; text++)
        to += snprintf(to, 4, is_unreserved(*text) ? "%c" : "%%%02X", (unsigned char)*text);
    *to++ = mark;
    *to = '\0';
    return to;
}

int ftpclient_request_set_proxy_login(ftpclient_request_t *request, const char *user, const char *password)
{
    if (!request || is_zixi(request))
        return ftpc_refuse(request, FTPCLIENT_ERR_ARGUMENT, "proxy: zixi cannot use one");
    if (!user || !password)
        return ftpc_refuse(request, FTPCLIENT_ERR_ARGUMENT, "proxy login: is missing");
    enum { LONGEST = sizeof request->proxy_login - 2 }; /* leaves a byte for the host */
    char login[3 * sizeof request->proxy_login] = "";   /* even if all bytes are escaped */
    const int is_short = strlen(user) + strlen(password) <= LONGEST;
    if (is_short && (user[0] != '\0' || password[0] != '\0'))
        put_escaped(put_escaped(login, user, ':'), password, '@');
    const int error = is_short && strlen(login) <= LONGEST
                          ? check_proxy_size(request, login, request->proxy_host)
                          : ftpc_refuse(request, FTPCLIENT_ERR_TOO_LONG, "proxy: the login does not fit");
    if (error == FTPCLIENT_OK) {
        ftpc_put(request->proxy_login, sizeof request->proxy_login, login);
        put_proxy(request);
    }
    explicit_bzero(login, sizeof login);
    return error;
}

static int is_pin_allowed(const ftpclient_request_t *request, int pin, const uint8_t *digest, size_t size)
{
    const int is_md5 = pin == FTPCLIENT_PIN_MD5 && request->wire.protocol == PROTOCOL_SFTP;
    const int is_sha1 = pin == FTPCLIENT_PIN_SHA1 && protocol_has_tls(request->wire.protocol);
    if (size == 0)
        return is_md5 || is_sha1 || pin == FTPCLIENT_PIN_NONE;
    return digest && ((is_md5 && size == DIGEST_MD5_BYTES) || (is_sha1 && size == DIGEST_SHA1_BYTES));
}

int ftpclient_request_set_pin(ftpclient_request_t *request, int pin, const uint8_t *digest, size_t size)
{
    if (!request || !is_pin_allowed(request, pin, digest, size))
        return ftpc_refuse(
            request, FTPCLIENT_ERR_ARGUMENT,
            "pin: SFTP servers are pinned by 16 bytes of MD5, FTPS servers by 20 bytes of SHA-1");
    server_auth_t *auth = &request->wire.server_auth;
    memset(auth->digest, 0, sizeof auth->digest);
    if (size > 0)
        memcpy(auth->digest, digest, size);
    auth->digest_length = (uint8_t)size;
    auth->auth_type = (uint32_t)pin;
    return FTPCLIENT_OK;
}

int ftpclient_request_set_save_path(ftpclient_request_t *request, const char *path)
{
    if (!request || !protocol_has_identity(request->wire.protocol))
        return ftpc_refuse(request, FTPCLIENT_ERR_ARGUMENT,
                           "identity file: only FTPS and SFTP servers have an identity");
    const size_t size = sizeof request->wire.server_auth.save_path;
    const int error = ftpc_check_local_path(request, "identity file", path, size);
    if (error == FTPCLIENT_OK)
        ftpc_put(request->wire.server_auth.save_path, size, path);
    return error;
}

int ftpclient_request_set_resume(ftpclient_request_t *request, int resume)
{
    if (!request || is_zixi(request))
        return ftpc_refuse(request, FTPCLIENT_ERR_ARGUMENT, "resume: zixi cannot resume");
    request->resume = resume ? 1 : 0;
    return FTPCLIENT_OK;
}

int ftpclient_request_set_verify(ftpclient_request_t *request, int verify)
{
    if (!request || is_zixi(request))
        return ftpc_refuse(request, FTPCLIENT_ERR_ARGUMENT,
                           "verify: zixi servers do not report a remote file's size");
    request->verify = verify ? 1 : 0;
    return FTPCLIENT_OK;
}

int ftpclient_request_set_overwrite(ftpclient_request_t *request, int overwrite)
{
    if (!request || !is_zixi(request))
        return ftpc_refuse(request, FTPCLIENT_ERR_ARGUMENT, "overwrite: only for zixi");
    request->wire.resume = overwrite ? 0 : 1;
    return FTPCLIENT_OK;
}

int ftpclient_request_set_turn_timeout(ftpclient_request_t *request, int timeout_ms)
{
    if (!request)
        return FTPCLIENT_ERR_ARGUMENT;
    request->turn_timeout_ms = timeout_ms;
    return FTPCLIENT_OK;
}

int ftpclient_request_set_silence(ftpclient_request_t *request, int limit_ms)
{
    if (!request)
        return FTPCLIENT_ERR_ARGUMENT;
    request->silence_ms = limit_ms;
    return FTPCLIENT_OK;
}

static int can_use_its_proxy(int job, const ftpclient_request_t *request, int wants_outcome)
{
    if (request->wire.proxy_type == PROXY_NONE)
        return 1;
    /* An HTTP proxy offers no way to look up a remote file. */
    if (job == FTPCLIENT_FILE_INFO ||
        (wants_outcome && job == FTPCLIENT_UPLOAD && (request->resume || request->verify)))
        return 0;
    /* The proxy would let the server choose a name for the file. */
    const char *path = request->wire.remote_path; /* not empty */
    return job != FTPCLIENT_UPLOAD || path[strlen(path) - 1] != '/';
}

FTPC int ftpc_check_job(int job, const ftpclient_request_t *request, int wants_outcome)
{
    const transfer_request_t *wire = &request->wire;
    if (job < FTPCLIENT_DOWNLOAD || job > FTPCLIENT_FILE_INFO ||
        (is_zixi(request) && job != FTPCLIENT_UPLOAD))
        return FTPCLIENT_ERR_ARGUMENT;
    if (!wire->host[0] || !wire->remote_path[0] || (job != FTPCLIENT_FILE_INFO && !wire->local_path[0]))
        return FTPCLIENT_ERR_INCOMPLETE;
    return can_use_its_proxy(job, request, wants_outcome) ? FTPCLIENT_OK : FTPCLIENT_ERR_ARGUMENT;
}
