#include "libftpclient/request.h"

#include <stdarg.h>
#include <stdio.h>

FTPC int ftpc_refuse(ftpclient_request_t *request, int error, const char *format, ...)
{
    if (!request)
        return FTPCLIENT_ERR_ARGUMENT;
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(request->complaint, sizeof request->complaint, format, arguments);
    va_end(arguments);
    return error;
}

static int refuse_character(ftpclient_request_t *request, const char *what, char c)
{
    const char *name = c == '\r'                               ? "a carriage return"
                       : c == '\n'                             ? "a line feed"
                       : c == ' '                              ? "a blank"
                       : c == '\x7f' || (unsigned char)c < ' ' ? "a control character"
                                                               : NULL;
    if (name)
        return ftpc_refuse(request, FTPCLIENT_ERR_CHARACTER, "%s: must not hold %s", what, name);
    return ftpc_refuse(request, FTPCLIENT_ERR_CHARACTER, "%s: must not hold '%c'", what, c);
}

FTPC int ftpc_check_text(ftpclient_request_t *request, const char *what, const char *text, size_t size,
                         const char *taboos)
{
    if (!request || !text)
        return ftpc_refuse(request, FTPCLIENT_ERR_ARGUMENT, "%s: is missing", what);
    const size_t length = strlen(text);
    if (length >= size)
        return ftpc_refuse(request, FTPCLIENT_ERR_TOO_LONG, "%s: %zu bytes are too many, at most %zu fit",
                           what, length, size - 1);
    const char *found = strpbrk(text, taboos);
    return found ? refuse_character(request, what, *found) : FTPCLIENT_OK;
}

/* ':' and '%' are allowed inside the brackets of an IPv6 address. */
FTPC int ftpc_check_host(ftpclient_request_t *request, const char *what, const char *host, uint32_t port)
{
    const int error = ftpc_check_text(request, what, host, sizeof request->wire.host, REFUSED_IN_HOST);
    if (error != FTPCLIENT_OK)
        return error;
    int in_brackets = host[0] == '[';
    for (const char *c = host; *c; c++) {
        in_brackets = in_brackets && *c != ']';
        if (!in_brackets && *c == '%')
            return refuse_character(request, what, *c);
        if (!in_brackets && *c == ':')
            return ftpc_refuse(request, FTPCLIENT_ERR_CHARACTER,
                               "%s: must not hold ':'; an IPv6 address needs brackets", what);
    }
    if (port > 65535)
        return ftpc_refuse(request, FTPCLIENT_ERR_ARGUMENT, "%s: the port must be at most 65535", what);
    return FTPCLIENT_OK;
}

FTPC int ftpc_check_remote_path(ftpclient_request_t *request, const char *path)
{
    static const char *const WHAT = "remote path";
    if (!request)
        return FTPCLIENT_ERR_ARGUMENT;
    const int is_zixi = protocol_is_zixi(request->wire.protocol);
    const int error = ftpc_check_text(request, WHAT, path, sizeof request->wire.remote_path,
                                      is_zixi ? "" : REFUSED_IN_REMOTE_PATH);
    if (error != FTPCLIENT_OK)
        return error;
    if (!protocol_is_ftp(request->wire.protocol))
        return FTPCLIENT_OK;
    if (strcasestr(path, REFUSED_IN_FTP_PATH_TEXT))
        return ftpc_refuse(request, FTPCLIENT_ERR_CHARACTER, "%s: must not hold ';type='", WHAT);
    if (strpbrk(path, REFUSED_IN_FTP_PATH))
        return ftpc_refuse(request, FTPCLIENT_ERR_CHARACTER, "%s: must not hold the byte 255", WHAT);
    return FTPCLIENT_OK;
}

FTPC int ftpc_check_local_path(ftpclient_request_t *request, const char *what, const char *path, size_t size)
{
    const int error = ftpc_check_text(request, what, path, size, "");
    if (error == FTPCLIENT_OK && path[0] != '/' && path[0] != '\0')
        return ftpc_refuse(request, FTPCLIENT_ERR_ARGUMENT,
                           "%s: must begin with '/', because the daemon runs in /", what);
    return error;
}

FTPC void ftpc_put(char *field, size_t size, const char *text)
{
    explicit_bzero(field, size);
    memcpy(field, text, strlen(text) + 1);
}
