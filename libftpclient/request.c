#include "libftpclient/request.h"

#include "libftpclient/names.h"

#include <stdio.h>
#include <stdlib.h>

static int is_zixi(const ftpclient_request_t *request) { return protocol_is_zixi(request->wire.protocol); }

static int has_tls(const ftpclient_request_t *request) { return protocol_has_tls(request->wire.protocol); }

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
    if (!request)
        return FTPCLIENT_ERR_ARGUMENT;
    int error = ftpc_check_host(request, "host", host, port);
    if (error == FTPCLIENT_OK && host[0] == '\0')
        error = ftpc_refuse(request, FTPCLIENT_ERR_ARGUMENT, "host: is missing");
    if (error != FTPCLIENT_OK)
        return error;
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
    const char *taboos = zixi ? "" : "\r\n"; /* would be a command of its own on an FTP connection */
    int error = ftpc_check_text(request, "user name", user, user_size, taboos);
    if (error == FTPCLIENT_OK)
        error = ftpc_check_text(request, "password", password, password_size, taboos);
    if (error != FTPCLIENT_OK)
        return error;
    ftpc_put(user_field, user_size, user);
    ftpc_put(password_field, password_size, password);
    return FTPCLIENT_OK;
}

int ftpclient_request_set_remote_path(ftpclient_request_t *request, const char *path)
{
    const int error = request ? ftpc_check_remote_path(request, path) : FTPCLIENT_ERR_ARGUMENT;
    if (error == FTPCLIENT_OK)
        ftpc_put(request->wire.remote_path, sizeof request->wire.remote_path, path);
    return error;
}

int ftpclient_request_set_local_path(ftpclient_request_t *request, const char *path)
{
    if (!request)
        return FTPCLIENT_ERR_ARGUMENT;
    char *field = request->wire.local_path;
    const size_t size = sizeof request->wire.local_path;
    int error = ftpc_check_local_path(request, "local path", path, size);
    if (error == FTPCLIENT_OK && path[0] == '\0')
        error = ftpc_refuse(request, FTPCLIENT_ERR_ARGUMENT, "local path: is missing");
    if (error == FTPCLIENT_OK)
        ftpc_put(field, size, path);
    return error;
}

int ftpclient_request_set_passive(ftpclient_request_t *request, int passive)
{
    if (!request)
        return FTPCLIENT_ERR_ARGUMENT;
    request->wire.passive_mode = passive ? 1 : 0;
    return FTPCLIENT_OK;
}

/* libcurl takes a proxy's login in front of its host, as in a URL (CURLOPT_PROXY). */
static int put_proxy(ftpclient_request_t *request)
{
    transfer_request_t *wire = &request->wire;
    const size_t length = strlen(request->proxy_login) + strlen(request->proxy_host);
    if (length >= sizeof wire->proxy_host)
        return ftpc_refuse(request, FTPCLIENT_ERR_TOO_LONG,
                           "proxy: host and login take %zu bytes, at most %zu fit", length,
                           sizeof wire->proxy_host - 1);
    explicit_bzero(wire->proxy_host, sizeof wire->proxy_host);
    if (request->proxy_host[0] != '\0') {
        memcpy(wire->proxy_host, request->proxy_login, strlen(request->proxy_login));
        memcpy(wire->proxy_host + strlen(request->proxy_login), request->proxy_host,
               strlen(request->proxy_host));
    }
    wire->proxy_type = request->proxy_host[0] != '\0' ? PROXY_HTTP : PROXY_NONE;
    return FTPCLIENT_OK;
}

int ftpclient_request_set_proxy(ftpclient_request_t *request, const char *host, uint32_t port)
{
    if (!request)
        return FTPCLIENT_ERR_ARGUMENT;
    if (is_zixi(request))
        return ftpc_refuse(request, FTPCLIENT_ERR_ARGUMENT, "proxy: zixi goes through no proxy");
    const int error = ftpc_check_host(request, "proxy host", host, port);
    if (error != FTPCLIENT_OK)
        return error;
    char before[sizeof request->proxy_host];
    memcpy(before, request->proxy_host, sizeof before);
    ftpc_put(request->proxy_host, sizeof request->proxy_host, host);
    const int put_error = put_proxy(request);
    if (put_error != FTPCLIENT_OK)
        memcpy(request->proxy_host, before, sizeof before);
    else
        request->wire.proxy_port = port;
    return put_error;
}

static int is_unreserved(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
           (c != '\0' && strchr("-._~", c));
}

/* Appends `text` in URL escapes; 0 when it does not fit. */
static int append_escaped(char *to, size_t size, const char *text)
{
    size_t length = strlen(to);
    for (; *text; text++) {
        if (length + (is_unreserved(*text) ? 1 : 3) >= size)
            return 0;
        if (is_unreserved(*text))
            to[length++] = *text;
        else
            length += (size_t)snprintf(to + length, size - length, "%%%02X", (unsigned char)*text);
        to[length] = '\0';
    }
    return 1;
}

static void append_mark(char *to, char mark)
{
    const size_t length = strlen(to);
    to[length] = mark;
    to[length + 1] = '\0';
}

int ftpclient_request_set_proxy_login(ftpclient_request_t *request, const char *user, const char *password)
{
    if (!request)
        return FTPCLIENT_ERR_ARGUMENT;
    if (is_zixi(request))
        return ftpc_refuse(request, FTPCLIENT_ERR_ARGUMENT, "proxy: zixi goes through no proxy");
    if (!user || !password)
        return ftpc_refuse(request, FTPCLIENT_ERR_ARGUMENT, "proxy login: is missing");
    char before[sizeof request->proxy_login];
    memcpy(before, request->proxy_login, sizeof before);
    char *login = request->proxy_login;
    const size_t room = sizeof request->proxy_login - 2; /* for ':' and '@' */
    explicit_bzero(login, sizeof request->proxy_login);
    int error = FTPCLIENT_OK;
    if (user[0] != '\0' || password[0] != '\0') {
        int fits = append_escaped(login, room, user);
        append_mark(login, ':');
        fits = fits && append_escaped(login, room, password);
        append_mark(login, '@');
        if (!fits)
            error = ftpc_refuse(request, FTPCLIENT_ERR_TOO_LONG, "proxy: the login does not fit");
    }
    if (error == FTPCLIENT_OK)
        error = put_proxy(request);
    if (error != FTPCLIENT_OK)
        memcpy(login, before, sizeof before);
    explicit_bzero(before, sizeof before);
    return error;
}

static int is_pin_allowed(const ftpclient_request_t *request, int pin, const uint8_t *digest, size_t size)
{
    switch (pin) {
    case FTPCLIENT_PIN_NONE:
        return size == 0;
    case FTPCLIENT_PIN_MD5:
        return (digest || size == 0) && (size == 0 || size == 16) && request->wire.protocol == PROTOCOL_SFTP;
    case FTPCLIENT_PIN_SHA1:
        return (digest || size == 0) && (size == 0 || size == 20) && has_tls(request);
    default:
        return 0;
    }
}

int ftpclient_request_set_pin(ftpclient_request_t *request, int pin, const uint8_t *digest, size_t size)
{
    if (!request)
        return FTPCLIENT_ERR_ARGUMENT;
    if (!is_pin_allowed(request, pin, digest, size))
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
    if (!request)
        return FTPCLIENT_ERR_ARGUMENT;
    if (!has_tls(request) && request->wire.protocol != PROTOCOL_SFTP)
        return ftpc_refuse(request, FTPCLIENT_ERR_ARGUMENT,
                           "identity file: only FTPS and SFTP servers have an identity");
    char *field = request->wire.server_auth.save_path;
    const size_t size = sizeof request->wire.server_auth.save_path;
    const int error = ftpc_check_local_path(request, "identity file", path, size);
    if (error == FTPCLIENT_OK)
        ftpc_put(field, size, path);
    return error;
}

int ftpclient_request_set_resume(ftpclient_request_t *request, int resume)
{
    if (!request)
        return FTPCLIENT_ERR_ARGUMENT;
    if (is_zixi(request))
        return ftpc_refuse(request, FTPCLIENT_ERR_ARGUMENT, "resume: zixi cannot resume");
    request->resume = resume ? 1 : 0;
    return FTPCLIENT_OK;
}

int ftpclient_request_set_verify(ftpclient_request_t *request, int verify)
{
    if (!request)
        return FTPCLIENT_ERR_ARGUMENT;
    if (is_zixi(request))
        return ftpc_refuse(request, FTPCLIENT_ERR_ARGUMENT,
                           "verify: zixi servers do not tell a remote file's size");
    request->verify = verify ? 1 : 0;
    return FTPCLIENT_OK;
}

int ftpclient_request_set_overwrite(ftpclient_request_t *request, int overwrite)
{
    if (!request)
        return FTPCLIENT_ERR_ARGUMENT;
    if (!is_zixi(request))
        return ftpc_refuse(request, FTPCLIENT_ERR_ARGUMENT, "overwrite: only zixi has a choice");
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

static int ends_in_slash(const char *path)
{
    const size_t length = strlen(path);
    return length > 0 && path[length - 1] == '/';
}

static int can_use_its_proxy(int job, const ftpclient_request_t *request, int wants_outcome)
{
    if (request->wire.proxy_type == PROXY_NONE)
        return 1;
    /* A remote file's size cannot be asked for through a proxy. */
    if (job == FTPCLIENT_FILE_INFO ||
        (wants_outcome && job == FTPCLIENT_UPLOAD && (request->resume || request->verify)))
        return 0;
    /* The proxy would have the server choose a name for the file. */
    return job != FTPCLIENT_UPLOAD || !ends_in_slash(request->wire.remote_path);
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
