/* A job to be: the record that travels, and what the library does beside it. */
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

/* FTPCLIENT_OK, or why this job cannot be started with this request. Without `wants_outcome` its wish to
 * resume or verify does not count. */
FTPC int ftpc_check_job(int job, const ftpclient_request_t *request, int wants_outcome);

#endif
