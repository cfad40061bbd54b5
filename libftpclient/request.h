/* A job to be: the record that travels, what the library does beside it, and the rules for names and other
 * strings: what the daemon would refuse, or another file or server be meant by, is refused here, in words. */
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

/* Stores the sentence that ftpclient_request_complaint() gives, and returns `error`; FTPCLIENT_ERR_ARGUMENT
 * without a request. */
FTPC int ftpc_refuse(ftpclient_request_t *request, int error, const char *format, ...)
    __attribute__((format(printf, 3, 4)));

/* Each returns FTPCLIENT_OK, or the error after a complaint that begins with `what`; FTPCLIENT_ERR_ARGUMENT
 * without a request. `size` is the field's, with the byte for the terminator. */
FTPC int ftpc_check_text(ftpclient_request_t *request, const char *what, const char *text, size_t size,
                         const char *taboos);
FTPC int ftpc_check_host(ftpclient_request_t *request, const char *what, const char *host, uint32_t port);
FTPC int ftpc_check_remote_path(ftpclient_request_t *request, const char *path);
FTPC int ftpc_check_local_path(ftpclient_request_t *request, const char *what, const char *path, size_t size);

/* Fills a field; `text` has passed a check. Nothing of a longer one before it stays. */
FTPC void ftpc_put(char *field, size_t size, const char *text);

/* FTPCLIENT_OK, or why this job cannot be started with this request. Without `wants_outcome` its wish to
 * resume or verify does not count. */
FTPC int ftpc_check_job(int job, const ftpclient_request_t *request, int wants_outcome);

#endif
