/* A request: the record for the daemon, the settings for the library itself, and the checks of strings.
 * Strings that the daemon would refuse, or that would name another file or server, are refused here
 * with a message. */
#ifndef FTPC_REQUEST_H
#define FTPC_REQUEST_H

#include "libftpclient/ftpc.h"
#include "wire/transfer_request.h"

enum { FTPC_COMPLAINT_SIZE = 160 };

struct ftpclient_request {
    transfer_request_t wire;
    char proxy_host[sizeof(((transfer_request_t *)0)->proxy_host)]; /* without the login */
    /* "user:password@" in URL escapes, or "" */
    char proxy_login[sizeof(((transfer_request_t *)0)->proxy_host)];
    int resume;          /* 1 or 0 */
    int verify;          /* 1 or 0 */
    int turn_timeout_ms; /* negative: no limit */
    int silence_ms;      /* negative: no limit */
    char complaint[FTPC_COMPLAINT_SIZE];
};

/* Stores the message for ftpclient_request_complaint(), truncated to FTPC_COMPLAINT_SIZE - 1 bytes, and
 * returns `error`; FTPCLIENT_ERR_ARGUMENT without a request. */
FTPC int ftpc_refuse(ftpclient_request_t *request, int error, const char *format, ...)
    __attribute__((format(printf, 3, 4)));

/* Check a string, and store nothing but the message of a refusal, which begins with `what`. FTPCLIENT_OK;
 * FTPCLIENT_ERR_ARGUMENT without a request or a string; FTPCLIENT_ERR_TOO_LONG; FTPCLIENT_ERR_CHARACTER.
 * `size` is that of the field in bytes, including the terminator; `taboos` are characters that the text must
 * not contain. What hosts and paths may contain is in ftpclient.h. */
FTPC int ftpc_check_text(ftpclient_request_t *request, const char *what, const char *text, size_t size,
                         const char *taboos);
FTPC int ftpc_check_host(ftpclient_request_t *request, const char *what, const char *host, uint32_t port);
FTPC int ftpc_check_remote_path(ftpclient_request_t *request, const char *path);
FTPC int ftpc_check_local_path(ftpclient_request_t *request, const char *what, const char *path, size_t size);

/* Fills a field of `size` bytes with `text`, which must fit, and clears the rest of it. */
FTPC void ftpc_put(char *field, size_t size, const char *text);

/* FTPCLIENT_OK, or why this ftpclient_job cannot be started with this request: FTPCLIENT_ERR_ARGUMENT,
 * FTPCLIENT_ERR_INCOMPLETE. Without `wants_outcome` resume and verify are ignored. */
FTPC int ftpc_check_job(int job, const ftpclient_request_t *request, int wants_outcome);

#endif
