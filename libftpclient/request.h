/* A request: the record for the daemon, the settings for the library itself, and the checks of strings.
 * Strings that the daemon would refuse, or that would name another file or server, are refused here with a
 * message. */
#ifndef FTPC_REQUEST_H
#define FTPC_REQUEST_H

#include "libftpclient/ftpc.h"
#include "wire/transfer_request.h"

enum { FTPC_COMPLAINT_SIZE = 160 };

struct ftpclient_request {
    transfer_request_t wire;
    char proxy_host[sizeof(((transfer_request_t *)0)->proxy_host)]; /* without the login */
    char proxy_login[sizeof(
        ((transfer_request_t *)0)->proxy_host)]; /* "user:password@" in URL escapes, or "" */
    int resume;
    int verify;
    int turn_timeout_ms;
    int silence_ms;
    char complaint[FTPC_COMPLAINT_SIZE];
};

/* Stores the message for ftpclient_request_complaint(), and returns `error`; FTPCLIENT_ERR_ARGUMENT
 * without a request. */
FTPC int ftpc_refuse(ftpclient_request_t *request, int error, const char *format, ...)
    __attribute__((format(printf, 3, 4)));

/* Each returns FTPCLIENT_OK, or the error after a message that begins with `what`; FTPCLIENT_ERR_ARGUMENT
 * without a request. `size` is that of the field, including the terminator. */
FTPC int ftpc_check_text(ftpclient_request_t *request, const char *what, const char *text, size_t size,
                         const char *taboos);
FTPC int ftpc_check_host(ftpclient_request_t *request, const char *what, const char *host, uint32_t port);
FTPC int ftpc_check_remote_path(ftpclient_request_t *request, const char *path);
FTPC int ftpc_check_local_path(ftpclient_request_t *request, const char *what, const char *path, size_t size);

/* Fills a field with `text`, which has been checked, and clears the rest of the field. */
FTPC void ftpc_put(char *field, size_t size, const char *text);

/* FTPCLIENT_OK, or why this job cannot be started with this request. Without `wants_outcome` resume and
 * verify are ignored. */
FTPC int ftpc_check_job(int job, const ftpclient_request_t *request, int wants_outcome);

#endif
